#include <windows.h>

#include "platform/file_names.h"

namespace corvane {

std::filesystem::path PathOf(const std::string& name) {
  const int length = static_cast<int>(name.size());
  std::wstring wide(name.size(), L'\0');  // never longer than its 8-bit form
  const int size = MultiByteToWideChar(CP_ACP, 0, name.data(), length, wide.data(), length);
  wide.resize(static_cast<std::size_t>(size));
  return wide;
}

std::string TextOf(const std::filesystem::path& path) {
  const std::wstring& wide = path.native();
  const int length = static_cast<int>(wide.size());
  std::string text(4 * wide.size(), '\0');  // the longest encodings take four bytes
  const int size = WideCharToMultiByte(CP_ACP, 0, wide.data(), length, text.data(),
                                       static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(size));
  return text;
}

}  // namespace corvane
