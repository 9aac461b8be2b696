#include <windows.h>

#include "platform/append.h"
#include "platform/file_names.h"
#include "platform/windows_handle.h"

namespace corvane {

bool AppendToFile(const std::string& path, std::string_view bytes) {
  // With this access alone the system itself finds the end of the file, in the same step in which
  // it writes.
  const FileHandle file(CreateFileW(PathOf(path).c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file &&
         WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
             0 &&
         written == bytes.size();
}

}  // namespace corvane
