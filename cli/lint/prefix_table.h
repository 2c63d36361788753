#pragma once

// Values by subnet, found by the longest prefix, as the kernel finds a route.

#include <array>
#include <unordered_map>
#include <utility>

#include "cli/lint/ipv4.h"

template <typename Value>
class PrefixTable {
 public:
  // Adds the value of a subnet, unless it has one. Returns the value that the subnet has, and whether it is
  // the new one.
  std::pair<Value&, bool> add(const Subnet& subnet, Value value) {
    const auto [entry, is_new] = by_prefix_[index_of(subnet)].emplace(subnet.address, std::move(value));
    return {entry->second, is_new};
  }

  // The value of exactly this subnet; null without one.
  const Value* at(const Subnet& subnet) const {
    const auto& values = by_prefix_[index_of(subnet)];
    const auto found = values.find(subnet.address);
    return found != values.end() ? &found->second : nullptr;
  }

  // The value of the smallest subnet that contains the address and is larger than `below`, a prefix length;
  // null without one.
  const Value* find(Ipv4 address, int below = kAddressBits + 1) const {
    for (int prefix = below - 1; prefix >= 0; --prefix) {
      if (const Value* value = at(*subnet_with(address, prefix))) return value;
    }
    return nullptr;
  }

 private:
  static constexpr int kAddressBits = 32;

  static std::size_t index_of(const Subnet& subnet) {
    return static_cast<std::size_t>(subnet.prefix);
  }

  std::array<std::unordered_map<Ipv4, Value>, kAddressBits + 1> by_prefix_;
};
