#include "corvane/capture/run_options.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <string>

#include "common/quantities.h"

namespace corvane::tools {
namespace {

// A file has 57 kB before its first item: with less, each would hold next to nothing.
constexpr std::uint64_t kSmallestFile = 100'000;

[[noreturn]] void Refuse(const char* option, const std::string& what) {
  throw CLI::ValidationError(option, what);
}

[[nodiscard]] std::uint64_t ReadSize(const char* option, const std::string& text) {
  const auto size = ParseByteCount(text);
  if (!size || *size == 0) {
    Refuse(option, fmt::format("\"{}\" is no size: write 500k, 200M or 1G", text));
  }
  return *size;
}

[[nodiscard]] std::uint64_t ReadCount(const char* option, const std::string& text) {
  const auto count = ParseUnsigned<std::uint64_t>(text);
  if (!count || *count == 0) {
    Refuse(option, fmt::format("\"{}\" is no number of 1 or more", text));
  }
  return *count;
}

// The size of a file that holds something.
[[nodiscard]] std::uint64_t ReadFileSize(const char* option, const std::string& text) {
  const std::uint64_t size = ReadSize(option, text);
  if (size < kSmallestFile) {
    Refuse(option, "a file takes at least 100k");
  }
  return size;
}

void AddLimits(CLI::App& command, sCaptureRequest& request) {
  command
      .add_option_function<std::string>(
          "--wait",
          [&request](const std::string& text) {
            request.wait = ParseDuration(text);
            if (!request.wait) {
              Refuse("--wait", fmt::format("\"{}\" is no duration: write 10s, 5m or 2h", text));
            }
          },
          "Wait so long for the device to be connected first; without it, as long as --duration, "
          "or until Ctrl-C")
      ->type_name("TIME");
  command
      .add_option_function<std::string>(
          "--items",
          [&request](const std::string& text) { request.items = ReadCount("--items", text); },
          "End the capture when it has so many items of the device, or a few more")
      ->type_name("N");
  command
      .add_option_function<std::string>(
          "--size",
          [&request](const std::string& text) { request.size = ReadFileSize("--size", text); },
          "End the capture when it has so many bytes, or a few more: 500k, 200M or 1G")
      ->type_name("SIZE");
}

void AddRotation(CLI::App& command, sCaptureRequest& request) {
  command
      .add_option_function<std::string>(
          "--rotate-size",
          [&request](const std::string& text) {
            request.rotateSize = ReadFileSize("--rotate-size", text);
          },
          "Go on in the next file when one has so many bytes: 100M gives "
          "NAME_00001_DATE_TIME.isf and so on")
      ->type_name("SIZE");
  command
      .add_option_function<std::string>(
          "--rotate-time",
          [&request](const std::string& text) {
            request.rotateTime = ParseDuration(text);
            if (!request.rotateTime || *request.rotateTime < std::chrono::seconds(1)) {
              Refuse("--rotate-time",
                     fmt::format("\"{}\" is no duration of 1s or more: write 10s, 5m or 2h", text));
            }
          },
          "Go on in the next file when one is so old")
      ->type_name("TIME");
  command
      .add_option_function<std::string>(
          "--keep",
          [&request](const std::string& text) {
            request.keep = static_cast<std::size_t>(ReadCount("--keep", text));
          },
          "Keep only the newest N files of this capture, with their markers")
      ->type_name("N");
}

}  // namespace

void AddRunOptions(CLI::App& command, sCaptureRequest& request) {
  AddLimits(command, request);
  AddRotation(command, request);
  command.add_flag("-q,--quiet", request.quiet, "Tell of problems only");
  command.add_flag("--json", request.json,
                   "Tell a supervising program on standard output what happens, a JSON object a "
                   "line");
}

void CheckRunOptions(const sCaptureRequest& request) {
  if (request.keep != 0 && !request.IsInTurn()) {
    Refuse("--keep", "there is one file only without --rotate-size or --rotate-time");
  }
}

}  // namespace corvane::tools
