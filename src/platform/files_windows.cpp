#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <cerrno>

#include "platform/file_names.h"
#include "platform/files.h"
#include "platform/windows_handle.h"

namespace corvane {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Links are looked for first: a file is made and opened where one leads. Only who may administer
// the machine, or has its developer mode, can put one there.
[[nodiscard]] bool IsLink(const std::filesystem::path& path) {
  const FileHandle file(
      CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                  FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  FILE_ATTRIBUTE_TAG_INFO found{};
  return file &&
         GetFileInformationByHandleEx(file.Get(), FileAttributeTagInfo, &found, sizeof found) !=
             0 &&
         (found.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         found.ReparseTag == IO_REPARSE_TAG_SYMLINK;
}

}  // namespace

bool AppendToFile(const std::string& path, std::string_view bytes) {
  const std::filesystem::path name = PathOf(path);
  if (IsLink(name)) {
    return false;
  }
  // With this access alone the system itself finds the end of the file, in the same step in which
  // it writes.
  const FileHandle file(CreateFileW(name.c_str(), FILE_APPEND_DATA, kShareAll, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file && GetFileType(file.Get()) == FILE_TYPE_DISK &&
         WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
             0 &&
         written == bytes.size();
}

eMaking MakeNewFile(const std::string& path) {
  const std::filesystem::path name = PathOf(path);
  if (IsLink(name)) {
    return eMaking::NameIsTaken;
  }
  const int file =
      _wopen(name.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (file >= 0) {
    _close(file);
    return eMaking::Made;
  }
  return errno == EEXIST ? eMaking::NameIsTaken : eMaking::Failed;
}

}  // namespace corvane
