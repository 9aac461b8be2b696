#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "corvane/command/temporary_file.h"
#include "platform/windows_handle.h"

namespace corvane::tools {
namespace {

// The most that one call moves.
constexpr std::size_t kMost = std::size_t{1} << 30;

[[nodiscard]] OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

class cDeletedOnClose final : public cTemporaryFile {
 public:
  explicit cDeletedOnClose(FileHandle handle) : file(std::move(handle)) {}

  [[nodiscard]] bool Append(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      OVERLAPPED place = At(size);
      DWORD written = 0;
      const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMost));
      if (!WriteFile(file.Get(), bytes.data(), wanted, &written, &place) || written == 0) {
        return false;
      }
      size += written;
      bytes = bytes.subspan(written);
    }
    return true;
  }

  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    std::size_t done = 0;
    while (done < bytes.size()) {
      OVERLAPPED place = At(offset + done);
      DWORD count = 0;
      const auto wanted = static_cast<DWORD>(std::min(bytes.size() - done, kMost));
      if (!ReadFile(file.Get(), bytes.data() + done, wanted, &count, &place) || count == 0) {
        break;
      }
      done += count;
    }
    return done;
  }

 private:
  FileHandle file;
};

}  // namespace

std::unique_ptr<cTemporaryFile> cTemporaryFile::Make(std::string& reason) {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  DWORD problem = ERROR_SUCCESS;
  if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0) {
    problem = GetLastError();
  }
  const std::wstring start =
      std::wstring(folder.data()) + L"corvane-" + std::to_wstring(GetCurrentProcessId()) + L"-";
  for (unsigned number = GetTickCount(); problem == ERROR_SUCCESS; ++number) {
    const std::wstring name = start + std::to_wstring(number) + L".tmp";
    // Whoever else can make files there may have made one of this name, or a link.
    FileHandle file(CreateFileW(
        name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT,
        nullptr));
    if (file) {
      return std::make_unique<cDeletedOnClose>(std::move(file));
    }
    problem = GetLastError();
    if (problem == ERROR_FILE_EXISTS || problem == ERROR_ALREADY_EXISTS) {
      problem = ERROR_SUCCESS;
    }
  }
  reason = "no temporary file can be made (error " + std::to_string(problem) + ")";
  return nullptr;
}

}  // namespace corvane::tools
