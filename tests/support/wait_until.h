#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace corvane::test {

// Longer than any machine needs.
inline constexpr std::chrono::seconds kLongestWait(60);

// Waits for `condition`, which other threads bring about. After kLongestWait the test fails, with
// the words "waited in vain until ..." and `what`, and this returns false.
template <typename Condition>
[[nodiscard]] bool WaitUntil(const char* what, const Condition& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "waited in vain until " << what;
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

}  // namespace corvane::test
