#include "corvane/capture/files_in_turn.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <tuple>
#include <utility>

#include "corvane/capture/output_file.h"
#include "reader/markers.h"

namespace corvane::tools {
namespace {

// Where the ending of a file's name begins: its end where there is none.
[[nodiscard]] std::size_t EndingOf(const std::string& path) {
  const std::size_t folder = path.find_last_of("/\\");
  const std::size_t name = folder == path.npos ? 0 : folder + 1;
  const std::size_t dot = path.find_last_of('.');
  return dot == path.npos || dot <= name ? path.size() : dot;
}

}  // namespace

std::string NameInTurn(const std::string& output, std::uint64_t number, std::uint64_t time) {
  const std::size_t ending = EndingOf(output);
  return fmt::format("{}_{:05}_{}_{}{}", output.substr(0, ending), number, DateInName(time),
                     TimeInName(time), output.substr(ending));
}

cKeptFiles::sRemoval cKeptFiles::RemoveOld() {
  sRemoval done;
  if (limit == 0 || files.size() <= limit) {
    return done;
  }
  std::size_t excess = files.size() - limit;
  const auto isRemoved = [&](const std::string& path) {
    if (excess == 0) {
      return false;
    }
    --excess;
    if (std::remove(path.c_str()) != 0 && errno != ENOENT) {
      done.problems.push_back(
          fmt::format("{} cannot be removed: {}", path, std::generic_category().message(errno)));
      return false;
    }
    std::ignore = std::remove(MarkerPath(path).c_str());  // most captures have none
    done.removed.push_back(path);
    return true;
  };
  std::deque<std::string> left;
  for (std::string& path : files) {
    if (!isRemoved(path)) {
      left.push_back(std::move(path));
    }
  }
  files = std::move(left);
  return done;
}

}  // namespace corvane::tools
