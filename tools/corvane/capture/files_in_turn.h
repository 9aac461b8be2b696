#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace corvane::tools {

// The name of file `number`, from 1, of a capture into files in turn, at this time (milliseconds
// since 1601-01-01 UTC): "drive_00001_2026-03-01_10-00-00.isf" for "drive.isf".
[[nodiscard]] std::string NameInTurn(const std::string& output, std::uint64_t number,
                                     std::uint64_t time);

// Of the files of one run the newest stay, the older ones are removed together with their markers.
// Files that are not of the run are never touched.
class cKeptFiles {
 public:
  // `most` files stay; 0: all.
  explicit cKeptFiles(std::size_t most) : limit(most) {}

  // A file, newer than all before.
  void Add(const std::string& path) { files.push_back(path); }

  struct sRemoval {
    std::vector<std::string> removed;
    std::vector<std::string> problems;  // sentences for the user
  };
  // Removes what is too much. A file that cannot be removed is tried again at the next call.
  [[nodiscard]] sRemoval RemoveOld();

 private:
  std::size_t limit;
  std::deque<std::string> files;  // oldest first
};

}  // namespace corvane::tools
