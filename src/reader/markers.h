#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <optional>
#include <string>

// Markers that a user sets during a capture. They stand in a file beside it, because the capture
// has only what the recorder writes.
namespace corvane {

struct sMarker {
  std::uint64_t time = 0;  // milliseconds since 1601-01-01 UTC
  std::string text;        // UTF-8 as a rule, one line; may be empty
};

// The most bytes of a marker's text: its line stays far below what a system writes in one piece.
inline constexpr std::size_t kLongestMarker = 1000;

// "drive.isf.marks" for "drive.isf".
[[nodiscard]] std::string MarkerPath(const std::string& capturePath);

// A marker as a line of its file, line end included: its time as FormatUtc writes it, a blank and
// the text. A control character of the text, a line break among them, becomes a blank. Of a text
// above kLongestMarker the first whole characters are taken.
[[nodiscard]] std::string MarkerLine(const sMarker& marker);

// Adds a marker behind those that the capture has; makes the file where there is none. The line is
// written whole, in one piece: several programs may add markers at once. It begins a new line where
// the file ends amid one. No empty file is left, and errno says why where the system does. False
// when it cannot be written, or would be written where a link leads.
[[nodiscard]] bool AddMarker(const std::string& capturePath, const sMarker& marker);

// What of the markers of a capture cannot be read, as a sentence for the user: "line 3 of
// drive.isf.marks is no marker"; or that what has their name is no file, or cannot be opened.
// Nothing where all can, or there are none. A last line without its end may still be written.
[[nodiscard]] std::optional<std::string> FindMarkerProblem(const std::string& capturePath);

// How many bytes of markers are sorted at once: tens of thousands, more than anybody sets.
inline constexpr std::size_t kMostWaitingMarkers = 4U << 20U;

// The markers of a capture, to be shown between its items: by time, and those of one millisecond in
// the order in which they were set. A marker may be set late for a time that is past, so all are
// read before the first is given. Of a file with more than kMostWaitingMarkers that much is in
// memory: a marker that stands further behind its place in the file comes late.
class cMarkerReader {
 public:
  // A capture without markers has none to give, nor has one without a name. Where what has the name
  // is no file there are none.
  explicit cMarkerReader(const std::string& capturePath);

  // The next marker that belongs in front of an item of this time: set before it, or in the same
  // millisecond. Nothing when there is none. Lines that are no markers are passed over, and so is a
  // last line without its end, which may still be written.
  [[nodiscard]] std::optional<sMarker> NextUntil(std::uint64_t itemTime);

  // Takes up what was added since the last marker was found to be the last. What was added for a
  // time that is past is the next to be given.
  void LookAgain();

 private:
  [[nodiscard]] bool ReadLine(std::string& line);
  void ReadAhead();

  std::string path;
  std::ifstream file;
  std::streamoff position = 0;  // behind the last whole line
  bool atEnd = false;
  std::multimap<std::uint64_t, std::string>
      waiting;  // texts by time; belong behind the items so far
  std::size_t waitingBytes = 0;
};

}  // namespace corvane
