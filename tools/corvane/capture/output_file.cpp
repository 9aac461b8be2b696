#include "corvane/capture/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iterator>
#include <system_error>

#include "corvane/command/reserved_name.h"
#include "platform/file_names.h"
#include "platform/files.h"
#include "reader/markers.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDate = "date";
constexpr std::string_view kTime = "time";
constexpr std::string_view kDevice = "device";

// Calls `take` with each piece of the name: its text, and whether it stood in braces, which are
// taken off. A brace without its partner is text.
void ForEachPiece(std::string_view name,
                  const std::function<void(std::string_view text, bool isPlaceholder)>& take) {
  while (!name.empty()) {
    const std::size_t open = std::min(name.find('{'), name.size());
    const std::size_t close = name.find('}', open);
    if (close == std::string_view::npos) {
      take(name, false);
      return;
    }
    take(name.substr(0, open), false);
    take(name.substr(open + 1, close - open - 1), true);
    name.remove_prefix(close + 1);
  }
}

// As Windows has it, and on every system: what is captured here may be copied there.
[[nodiscard]] bool FitsFileName(char character) {
  constexpr std::string_view kForbidden = R"(<>:"/\|?*)";
  return static_cast<unsigned char>(character) >= ' ' &&
         kForbidden.find(character) == std::string_view::npos;
}

[[nodiscard]] std::string FileNamePart(std::string_view text) {
  std::string part(text);
  std::replace_if(
      part.begin(), part.end(), [](char character) { return !FitsFileName(character); }, '-');
  return part;
}

// A link has the name, too, wherever it leads.
[[nodiscard]] bool IsTaken(const std::string& path) {
  std::error_code ignored;  // what cannot be looked at is told by opening it
  return fs::exists(fs::symlink_status(PathOf(path), ignored));
}

// Removes a file that may not be there.
void RemoveFile(const std::string& path) {
  std::error_code ignored;  // it stays, and there is something else to tell
  fs::remove(PathOf(path), ignored);
}

}  // namespace

std::string DateInName(std::uint64_t time) {
  const std::string text = FormatUtc(time);
  return text.substr(0, text.find('T'));
}

std::string TimeInName(std::uint64_t time) {
  const std::string text = FormatUtc(time);
  return FileNamePart(text.substr(text.find('T') + 1, std::string_view("14:30:05").size()));
}

std::optional<std::string> FindWrongPlaceholder(std::string_view name) {
  std::optional<std::string> wrong;
  ForEachPiece(name, [&wrong](std::string_view text, bool isPlaceholder) {
    if (isPlaceholder && text != kDate && text != kTime && text != kDevice && !wrong) {
      wrong = fmt::format("{{{}}} is none of {{date}}, {{time}} and {{device}}", text);
    }
  });
  return wrong;
}

bool NamesDevice(std::string_view name) {
  bool names = false;
  ForEachPiece(name, [&names](std::string_view text, bool isPlaceholder) {
    names = names || (isPlaceholder && text == kDevice);
  });
  return names;
}

std::string ExpandName(std::string_view name, std::uint64_t time, std::string_view device) {
  std::string expanded;
  ForEachPiece(name, [&](std::string_view text, bool isPlaceholder) {
    if (!isPlaceholder) {
      expanded += text;
    } else if (text == kDate) {
      expanded += DateInName(time);
    } else if (text == kTime) {
      expanded += TimeInName(time);
    } else if (text == kDevice) {
      expanded += FileNamePart(device);
    }
  });
  const std::string_view reserved = ReservedPart(expanded);
  if (NamesDevice(name) && !reserved.empty()) {
    const auto end = reserved.data() - expanded.data() + std::ssize(reserved);
    expanded.insert(static_cast<std::size_t>(end), 1, '-');
  }
  return expanded;
}

cOutputFile::~cOutputFile() {
  if (!isKept) {
    Remove();
  }
}

void cOutputFile::Remove() {
  if (isMade) {
    RemoveFile(written);
    RemoveFile(MarkerPath(written));
  }
}

std::optional<std::string> cOutputFile::Begin() {
  std::error_code ignored;  // what cannot be looked at is told by opening it
  const fs::file_status status = fs::status(PathOf(wanted), ignored);
  if (fs::is_directory(status)) {
    return fmt::format("the capture file {} is a folder", wanted);
  }
  written = wanted;
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    // What is written to a device or a pipe replaces nothing, and a pipe could not even be opened
    // before somebody reads it.
    return std::nullopt;
  }
  const bool isThere = IsTaken(wanted);
  if (!isThere && !IsTaken(MarkerPath(wanted))) {
    return MakeEmpty();
  }
  if (!replaces) {
    return IsThere(isThere ? wanted : MarkerPath(wanted));
  }
  if (fs::is_symlink(PathOf(wanted), ignored) && fs::exists(status)) {
    // The link stays, and the file that it leads to is replaced.
    wanted = TextOf(fs::canonical(PathOf(wanted)));
  }
  return MakeEmptyBeside();
}

std::string cOutputFile::IsThere(const std::string& path) {
  return fmt::format("{} is there already; --overwrite replaces it", path);
}

std::optional<std::string> cOutputFile::MakeEmpty() {
  switch (MakeNewFile(written)) {
    case eMaking::Made:
      isMade = true;
      return std::nullopt;
    case eMaking::NameIsTaken:
      return IsThere(written);  // someone else has made it in the meantime
    case eMaking::Failed:
      break;
  }
  return fmt::format("the capture file {} cannot be written: {}", written,
                     std::generic_category().message(errno));
}

std::optional<std::string> cOutputFile::MakeEmptyBeside() {
  replaced = StampOf(wanted);
  written = wanted + ".part";
  // Nor may a file have the name of its markers. A capture that was ended by force leaves both.
  for (int number = 2; IsTaken(written) || IsTaken(MarkerPath(written)); ++number) {
    written = fmt::format("{}.part{}", wanted, number);
  }
  return MakeEmpty();
}

std::optional<cOutputFile::sStamp> cOutputFile::StampOf(const std::string& path) {
  std::error_code sizeError;
  std::error_code timeError;
  const sStamp stamp{fs::file_size(PathOf(path), sizeError),
                     fs::last_write_time(PathOf(path), timeError)};
  return sizeError || timeError ? std::nullopt : std::optional(stamp);
}

std::optional<std::string> cOutputFile::Keep() {
  isKept = true;
  if (!Replaces()) {
    return std::nullopt;
  }
  if (const auto stamp = StampOf(wanted); stamp && stamp != replaced) {
    return fmt::format("{} is no longer the file that was to be replaced; the capture is {}",
                       wanted, written);
  }
  std::error_code error;
  fs::rename(PathOf(written), PathOf(wanted), error);
  if (error) {
    return fmt::format("{} could not be replaced: {}; the capture is {}", wanted, error.message(),
                       written);
  }
  // The markers of the file that is gone go too.
  RemoveFile(MarkerPath(wanted));
  if (IsTaken(MarkerPath(written))) {
    fs::rename(PathOf(MarkerPath(written)), PathOf(MarkerPath(wanted)), error);
    if (error) {
      return fmt::format("the markers of {} could not be given their name: {}; they are in {}",
                         wanted, error.message(), MarkerPath(written));
    }
  }
  written = wanted;
  return std::nullopt;
}

}  // namespace corvane::tools
