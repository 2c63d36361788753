#pragma once

// A table of values by subnet, with a lookup by the longest prefix, as in a routing table.

#include <array>
#include <unordered_map>
#include <utility>

#include "cli/lint/ipv4.h"

template <typename Value>
class PrefixTable {
 public:
  // Adds a value for the subnet, unless it already has one. Returns the value of the subnet, and whether it
  // is the new one.
  std::pair<Value&, bool> add(const Subnet& subnet, Value value) {
    const auto [entry, is_new] = by_prefix_[index_of(subnet)].emplace(subnet.address, std::move(value));
    return {entry->second, is_new};
  }

  // The value of exactly this subnet; null if there is none.
  const Value* at(const Subnet& subnet) const {
    const auto& values = by_prefix_[index_of(subnet)];
    const auto found = values.find(subnet.address);
    return found != values.end() ? &found->second : nullptr;
  }

  // The value of the smallest subnet that contains the address and whose prefix length is less than `below`;
  // null if there is none.
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
