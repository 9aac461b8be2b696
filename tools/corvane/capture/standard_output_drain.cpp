#include "corvane/capture/standard_output_drain.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <tuple>
#include <utility>

#include "corvane/capture/descriptors.h"

namespace corvane::tools {
namespace {

constexpr int kStandardOutputDescriptor = 1;
constexpr int kStandardError = 2;

[[noreturn]] void Throw(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// All of the text; what a system takes in one piece stands there in one piece.
[[nodiscard]] bool WriteWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const auto written = WriteDescriptor(descriptor, text);
    if (!written || *written == 0) {
      return false;
    }
    text.remove_prefix(*written);
  }
  return true;
}

}  // namespace

void cLineCutter::Add(std::string_view bytes) {
  for (const char character : bytes) {
    if (character == '\n') {
      if (line.ends_with('\r')) {
        line.pop_back();
      }
      Give();
      continue;
    }
    if (line.size() == kLongestLine) {
      Give();
    }
    line += character;
  }
}

void cLineCutter::Finish() {
  if (!line.empty()) {
    Give();
  }
}

void cLineCutter::Give() {
  take(line);
  line.clear();
}

cStandardOutputDrain::cStandardOutputDrain(cLineCutter::LineTaker take) : cutter(std::move(take)) {
  std::fflush(stdout);
  const auto pipe = MakePipe();
  if (!pipe) {
    Throw("there is no pipe for what the library prints");
  }
  readEnd = pipe->readEnd;
  // A program may be started without standard output: then there is nothing to keep.
  original = CopyDescriptor(kStandardOutputDescriptor);
  const bool replaced = PutDescriptor(pipe->writeEnd, kStandardOutputDescriptor);
  if (!replaced) {
    const int why = errno;
    CloseDescriptor(pipe->writeEnd);
    CloseDescriptor(readEnd);
    errno = why;
    Throw("standard output cannot be redirected");
  }
  CloseDescriptor(pipe->writeEnd);
  // Each message is in the pipe as soon as it is printed.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  thread = std::thread([this] { ReadAll(); });
}

cStandardOutputDrain::~cStandardOutputDrain() {
  std::fflush(stdout);
  // The pipe's last writer goes, and its end is what the thread reads behind the last line.
  if (original < 0 || !PutDescriptor(original, kStandardOutputDescriptor)) {
    CloseDescriptor(kStandardOutputDescriptor);
  }
  if (original >= 0) {
    CloseDescriptor(original);
  }
  thread.join();
  CloseDescriptor(readEnd);
}

void cStandardOutputDrain::ReadAll() {
  std::array<char, 4096> buffer{};
  for (;;) {
    const std::size_t length = ReadDescriptor(readEnd, buffer);
    if (length == 0) {
      break;
    }
    cutter.Add({buffer.data(), length});
  }
  cutter.Finish();
}

std::function<bool(const std::string&)> KeepStandardOutput() {
  // A program may be started without it.
  return [kept = CopyDescriptor(kStandardOutputDescriptor)](const std::string& text) {
    return kept >= 0 && WriteWhole(kept, text);
  };
}

bool WriteStandardError(const std::string& text) { return WriteWhole(kStandardError, text); }

}  // namespace corvane::tools
