#include "corvane/making/new_file.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <tuple>

#include "platform/file_names.h"
#include "platform/files.h"

namespace corvane::tools {
namespace {

// Makes an empty file beside `path`. Returns its name, which no one else has given to a file or to
// a link: one that ended by force may have left some. Where none can be made, opening it tells why.
[[nodiscard]] std::string MakeBeside(const std::string& path) {
  std::string name = path + ".part";
  for (int number = 2; MakeNewFile(name) == eMaking::NameIsTaken; ++number) {
    name = fmt::format("{}.part{}", path, number);
  }
  return name;
}

}  // namespace

cNewFile::~cNewFile() {
  if (!written.empty() && written != wanted) {
    std::error_code ignored;  // it may never have been written
    std::filesystem::remove(PathOf(written), ignored);
  }
}

std::optional<std::string> cNewFile::Begin() {
  if (wanted.empty()) {
    return "the name of the file to make is empty";
  }
  std::error_code ignored;  // what cannot be looked at is told by opening it
  const bool isFollowed = links == eLinks::Followed;
  const std::filesystem::file_status status =
      isFollowed ? std::filesystem::status(PathOf(wanted), ignored)
                 : std::filesystem::symlink_status(PathOf(wanted), ignored);
  if (std::filesystem::is_directory(status)) {
    return fmt::format("{} is a folder", wanted);
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
      !std::filesystem::is_symlink(status)) {
    written = wanted;
    return std::nullopt;
  }
  if (!replaces && IsTaken()) {
    return IsThere();
  }
  if (isFollowed && std::filesystem::is_symlink(PathOf(wanted), ignored) &&
      std::filesystem::exists(status)) {
    // The link stays, and the file that it leads to is replaced.
    wanted = TextOf(std::filesystem::canonical(PathOf(wanted)));
  }
  const cHeldBackEnd held;
  written = MakeBeside(wanted);
  unfinished.emplace(written);
  return std::nullopt;
}

std::optional<std::string> cNewFile::BeginCapture() {
  auto obstacle = Begin();
  if (!obstacle && written == wanted) {
    obstacle = fmt::format("{} is no file, and a capture needs one", wanted);
  }
  return obstacle;
}

std::optional<std::string> cNewFile::Complete() {
  if (written == wanted) {
    return std::nullopt;
  }
  std::error_code error;
  if (!replaces && IsTaken()) {
    return IsThere();  // someone else has made it in the meantime
  }
  std::filesystem::rename(PathOf(written), PathOf(wanted), error);
  if (error) {
    return fmt::format("{} could not be given its name: {}", wanted, error.message());
  }
  written.clear();
  unfinished.reset();
  return std::nullopt;
}

// A link that leads nowhere has the name, too.
bool cNewFile::IsTaken() const {
  std::error_code ignored;  // what cannot be looked at is told by opening it
  return std::filesystem::exists(std::filesystem::symlink_status(PathOf(wanted), ignored));
}

std::string cNewFile::IsThere() const {
  return fmt::format("{} is there already; --overwrite replaces it", wanted);
}

bool AreSameFile(const std::string& one, const std::string& other) {
  std::error_code ignored;
  return std::filesystem::equivalent(PathOf(one), PathOf(other), ignored);
}

}  // namespace corvane::tools
