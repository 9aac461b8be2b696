#include "reader/markers.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/file_names.h"
#include "platform/files.h"
#include "reader/utc_time.h"

namespace corvane {
namespace {

// A longer line is no marker: nobody types that much.
constexpr std::size_t kLongestLine = 65536;

// The whole characters of UTF-8 text that a marker has room for.
[[nodiscard]] std::string CutToMarker(const std::string& text) {
  std::size_t end = std::min(text.size(), kLongestMarker);
  const auto continues = [&text](std::size_t place) {
    return place < text.size() && (static_cast<unsigned char>(text[place]) & 0xC0) == 0x80;
  };
  // Three bytes at most follow the first one of a character.
  for (int step = 0; step < 3 && continues(end); ++step) {
    --end;
  }
  return text.substr(0, end);
}

[[nodiscard]] std::optional<sMarker> ParseLine(std::string_view line) {
  if (line.ends_with('\r')) {  // somebody edited the file
    line.remove_suffix(1);
  }
  const std::size_t blank = line.find(' ');
  const auto time = ParseUtc(line.substr(0, blank));
  // A time of this file names its Z: one without it was written by something else.
  if (!time || blank == 0 || line[std::min(blank, line.size()) - 1] != 'Z') {
    return std::nullopt;
  }
  return sMarker{*time, std::string(blank == line.npos ? "" : line.substr(blank + 1))};
}

[[nodiscard]] bool EndsAmidALine(const std::string& path) {
  std::error_code ignored;  // what cannot be looked at has no line
  if (!std::filesystem::is_regular_file(PathOf(path), ignored)) {
    return false;  // a pipe would be waited for
  }
  std::ifstream file(path, std::ios::binary);
  return file.seekg(-1, std::ios::end) && file.peek() != '\n';
}

// What a waiting marker takes of the room for them: short texts cost memory too.
[[nodiscard]] std::size_t BytesWaiting(const std::string& text) {
  return sizeof(sMarker) + text.size();
}

}  // namespace

std::string MarkerPath(const std::string& capturePath) { return capturePath + ".marks"; }

std::string MarkerLine(const sMarker& marker) {
  std::string line = FormatUtc(marker.time) + ' ' + CutToMarker(marker.text);
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  std::replace_if(line.begin(), line.end(), isControl, ' ');
  return line + '\n';
}

bool AddMarker(const std::string& capturePath, const sMarker& marker) {
  const std::string path = MarkerPath(capturePath);
  // Behind a line that somebody could not end the marker would be the rest of that line.
  std::error_code ignored;  // what cannot be looked at is told by opening it
  const bool isNew = !std::filesystem::exists(PathOf(path), ignored);
  const std::string line = MarkerLine(marker);
  if (AppendToFile(path, EndsAmidALine(path) ? '\n' + line : line)) {
    return true;
  }
  const int reason = errno;
  if (isNew && std::filesystem::is_empty(PathOf(path), ignored)) {
    std::filesystem::remove(PathOf(path), ignored);
  }
  errno = reason;
  return false;
}

std::optional<std::string> FindMarkerProblem(const std::string& capturePath) {
  if (capturePath.empty()) {
    return std::nullopt;
  }
  const std::string path = MarkerPath(capturePath);
  std::error_code ignored;  // what cannot be looked at is told by opening it
  const auto status = std::filesystem::status(PathOf(path), ignored);
  if (status.type() == std::filesystem::file_type::not_found) {
    return std::nullopt;
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    return path + " is no file";
  }
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) {
    return path + " cannot be read";
  }
  std::uint64_t number = 1;
  std::uint64_t first = 0;
  std::uint64_t count = 0;
  std::string line;
  for (char character = 0; file.get(character);) {
    if (character != '\n') {
      line.append(line.size() <= kLongestLine ? 1 : 0, character);
      continue;
    }
    const bool isBlank = line.empty() || line == "\r";
    if (!isBlank && (line.size() > kLongestLine || !ParseLine(line))) {
      first = count++ == 0 ? number : first;
    }
    line.clear();
    ++number;
  }
  if (count <= 1) {
    return count == 0
               ? std::nullopt
               : std::optional("line " + std::to_string(first) + " of " + path + " is no marker");
  }
  return std::to_string(count) + " lines of " + path + " are no markers; the first is line " +
         std::to_string(first);
}

cMarkerReader::cMarkerReader(const std::string& capturePath)
    : path(capturePath.empty() ? std::string() : MarkerPath(capturePath)) {
  LookAgain();
}

void cMarkerReader::LookAgain() {
  // Opened anew: the file may not have been there, and a stream at its end stays there.
  std::error_code ignored;  // what cannot be looked at is not there
  // A pipe would be waited for, and a device need not end.
  if (!std::filesystem::is_regular_file(PathOf(path), ignored)) {
    atEnd = true;
    return;
  }
  file = std::ifstream(path, std::ios::binary);
  file.seekg(position);
  atEnd = !file.is_open();
}

bool cMarkerReader::ReadLine(std::string& line) {
  line.clear();
  std::streamoff read = 0;
  for (char character = 0; file.get(character);) {
    ++read;
    if (character == '\n') {
      position += read;
      return true;
    }
    if (line.size() <= kLongestLine) {
      line += character;
    }
  }
  return false;
}

void cMarkerReader::ReadAhead() {
  for (std::string line; !atEnd && waitingBytes < kMostWaitingMarkers;) {
    atEnd = !ReadLine(line);
    if (atEnd || line.size() > kLongestLine) {
      continue;
    }
    if (auto marker = ParseLine(line)) {
      waitingBytes += BytesWaiting(marker->text);
      waiting.emplace(marker->time, std::move(marker->text));
    }
  }
}

std::optional<sMarker> cMarkerReader::NextUntil(std::uint64_t itemTime) {
  ReadAhead();
  if (waiting.empty() || waiting.begin()->first > itemTime) {
    return std::nullopt;
  }
  auto due = waiting.extract(waiting.begin());
  waitingBytes -= BytesWaiting(due.mapped());
  return sMarker{due.key(), std::move(due.mapped())};
}

}  // namespace corvane
