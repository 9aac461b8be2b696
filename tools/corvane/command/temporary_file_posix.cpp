#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "corvane/command/temporary_file.h"

namespace corvane::tools {
namespace {

class cUnlinkedFile final : public cTemporaryFile {
 public:
  explicit cUnlinkedFile(int descriptor) : file(descriptor) {}
  cUnlinkedFile(const cUnlinkedFile&) = delete;
  cUnlinkedFile& operator=(const cUnlinkedFile&) = delete;
  ~cUnlinkedFile() override { close(file); }

  [[nodiscard]] bool Append(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      const ssize_t written = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(size));
      if (written <= 0) {
        return false;
      }
      size += static_cast<std::uint64_t>(written);
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
  }

  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t count =
          pread(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
      if (count <= 0) {
        break;
      }
      done += static_cast<std::size_t>(count);
    }
    return done;
  }

 private:
  int file;
};

}  // namespace

std::unique_ptr<cTemporaryFile> cTemporaryFile::Make(std::string& reason) {
  const char* const folder = std::getenv("TMPDIR");
  std::string name =
      std::string(folder == nullptr || *folder == '\0' ? "/tmp" : folder) + "/corvane-XXXXXX";
  const int file = mkstemp(name.data());
  if (file < 0) {
    reason = "no temporary file can be made: " + std::generic_category().message(errno);
    return nullptr;
  }
  unlink(name.c_str());
  return std::make_unique<cUnlinkedFile>(file);
}

}  // namespace corvane::tools
