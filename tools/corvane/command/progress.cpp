#include "corvane/command/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>

#include "corvane/command/readable_text.h"
#include "corvane/command/standard_streams.h"

namespace corvane::tools {
namespace {

constexpr std::size_t kBarWidth = 30;
constexpr std::chrono::milliseconds kRedraw(200);
// The clock is looked at once in so many calls: it costs more than what is usually counted.
constexpr std::uint32_t kCallsBetweenLooks = 64;

cProgressByClock::Clock clockOfTest = nullptr;

[[nodiscard]] std::chrono::steady_clock::time_point Now() {
  return clockOfTest == nullptr ? std::chrono::steady_clock::now() : clockOfTest();
}

[[nodiscard]] bool IsShown() { return clockOfTest != nullptr || StandardErrorIsTerminal(); }

// The bar goes to standard error by std::clog: std::cerr lets no carriage return through
// (inert_messages.h).

// The end of a long name: a bar that does not fit into a line of the terminal could not be redrawn.
[[nodiscard]] std::string Shortened(const std::string& name) {
  constexpr std::size_t kLongest = 36;
  if (name.size() <= kLongest) {
    return name;
  }
  std::size_t begin = name.size() - kLongest;
  while (begin < name.size() && (static_cast<unsigned char>(name[begin]) & 0xC0U) == 0x80U) {
    ++begin;  // not within a letter of UTF-8
  }
  return "..." + name.substr(begin);
}

}  // namespace

cProgress::cProgress(const std::string& work, std::uint64_t total)
    : name(Shortened(Readable(work))),
      all(total),
      isShown(total != 0 && IsShown()),
      next(isShown ? Now() + std::chrono::seconds(1) : std::chrono::steady_clock::time_point()) {}

cProgress::~cProgress() { Wipe(); }

void cProgress::Show(std::uint64_t done) {
  if (!isShown || ++calls < kCallsBetweenLooks) {
    return;
  }
  calls = 0;
  ShowNow(done);
}

void cProgress::ShowNow(std::uint64_t done) {
  if (!isShown) {
    return;
  }
  const auto now = Now();
  if (now >= next) {
    next = now + kRedraw;
    Draw(done);
  }
}

void cProgress::Draw(std::uint64_t done) {
  const double part = static_cast<double>(std::min(done, all)) / static_cast<double>(all);
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBarWidth));
  const std::string bar =
      fmt::format("{}  [{:<{}}] {:3.0f} %", name, std::string(filled, '#'), kBarWidth, part * 100);
  std::clog << '\r' << bar << std::flush;
  length = std::max(length, bar.size());
}

void cProgress::Wipe() {
  if (length != 0) {
    std::clog << '\r' << std::string(length, ' ') << '\r' << std::flush;
    length = 0;
  }
}

cProgressByClock::cProgressByClock(Clock clock) { clockOfTest = clock; }

cProgressByClock::~cProgressByClock() { clockOfTest = nullptr; }

}  // namespace corvane::tools
