#pragma once

#include <cstdint>

namespace corvane {

// A clock for stores (sStoreSeams::now): it tells what the test has set and stands still in
// between. There is one for the whole program, safe to use from several threads.
[[nodiscard]] std::uint64_t ControllableFileTime();

// Where the clock stands at the start of the program: 2024-01-17 21:20:00 UTC, a whole millisecond.
inline constexpr std::uint64_t kClockStart = 133'500'000'000'000'000;

// `fileTime` counts units of 100 ns since 1601-01-01 UTC.
void SetFileTime(std::uint64_t fileTime);

// Sets the clock to so many milliseconds after (or, negative, before) kClockStart.
void SetClockFromStart(std::int64_t milliseconds);

// Moves the clock on (or, negative, back).
void AdvanceClock(std::int64_t milliseconds);

}  // namespace corvane
