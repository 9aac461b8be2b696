#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <memory>

namespace corvane {

// Whether the members of one object stand in memory in the order of the arguments.
template <class... Members>
[[nodiscard]] bool AreInMemoryOrder(const Members&... members) {
  const std::array<const void*, sizeof...(members)> addresses = {std::addressof(members)...};
  return std::adjacent_find(addresses.begin(), addresses.end(),
                            std::greater_equal<const void*>()) == addresses.end();
}

}  // namespace corvane
