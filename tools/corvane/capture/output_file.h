#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// The file that a capture goes into: its name, and how it comes to replace another one.
namespace corvane::tools {

// A time in milliseconds since 1601-01-01 UTC as it stands in names: "2024-05-17", "14-30-05".
[[nodiscard]] std::string DateInName(std::uint64_t time);
[[nodiscard]] std::string TimeInName(std::uint64_t time);

// What is wrong with the placeholders of an output's name, as a sentence for the user, or nothing:
// {date}, {time} and {device} are known.
[[nodiscard]] std::optional<std::string> FindWrongPlaceholder(std::string_view name);

// Whether the name holds {device}.
[[nodiscard]] bool NamesDevice(std::string_view name);

// The name with this time (as above) and this device for its placeholders. What a file name cannot
// hold of the device becomes "-", and one is added to a name that is reserved by that: "COM7-.isf"
// for "{device}.isf".
[[nodiscard]] std::string ExpandName(std::string_view name, std::uint64_t time,
                                     std::string_view device);

// A capture file from before its start to its end. A file that it replaces stays as it is until the
// new one is whole: that one has a name beside it so long ("drive.isf.part"). What has taken the
// place of that file meanwhile is not replaced: it may be another capture. The markers of a
// capture (reader/markers.h) belong to it, and come and go with it. Unless it was kept, nothing is
// left of the new file.
class cOutputFile {
 public:
  cOutputFile(std::string path, bool mayReplace) : wanted(std::move(path)), replaces(mayReplace) {}
  cOutputFile(const cOutputFile&) = delete;
  cOutputFile& operator=(const cOutputFile&) = delete;
  ~cOutputFile();

  // Chooses the name to record to, and makes an empty file of that name: nothing had it, no link
  // either.
  // Returns why that cannot be, as a sentence for the user, or nothing.
  [[nodiscard]] std::optional<std::string> Begin();

  // What the capture is to be called.
  [[nodiscard]] const std::string& Path() const { return wanted; }
  // Where to record to, once Begin found nothing against it.
  [[nodiscard]] const std::string& WritePath() const { return written; }
  // Whether there is a file that is replaced in the end.
  [[nodiscard]] bool Replaces() const { return written != wanted; }

  // The recording stays under the name where it was recorded to: it is not whole, and what it would
  // have replaced stays too.
  void KeepApart() { isKept = true; }
  // The recording is whole, and open no more: it gets its name. Returns why that failed, as a
  // sentence for the user; it is kept where it was recorded to then.
  [[nodiscard]] std::optional<std::string> Keep();

 private:
  [[nodiscard]] static std::string IsThere(const std::string& path);
  [[nodiscard]] std::optional<std::string> MakeEmpty();
  [[nodiscard]] std::optional<std::string> MakeEmptyBeside();
  void Remove();

  // By which a file is known again, where it can be looked at.
  struct sStamp {
    std::uintmax_t size = 0;
    std::filesystem::file_time_type written;

    friend bool operator==(const sStamp&, const sStamp&) = default;
  };
  [[nodiscard]] static std::optional<sStamp> StampOf(const std::string& path);

  std::string wanted;
  const bool replaces;
  std::string written;
  std::optional<sStamp> replaced;  // the file that is to be replaced
  bool isMade = false;             // by Begin: what was there before is never removed
  bool isKept = false;
};

}  // namespace corvane::tools
