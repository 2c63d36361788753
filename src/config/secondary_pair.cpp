#include "config/secondary_pair.h"

const SecondaryPair* secondary_pair_of(const std::string& port) {
  static constexpr SecondaryPair kEth0Pair{"169.254.0.1", "169.254.0.2"};
  static constexpr SecondaryPair kEth1Pair{"169.254.0.129", "169.254.0.130"};
  if (port == "eth0") return &kEth0Pair;
  if (port == "eth1") return &kEth1Pair;
  return nullptr;
}
