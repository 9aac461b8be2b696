#include "io/serial/com_connection.h"

#include <mutex>
#include <tuple>
#include <utility>

#include "io/serial/serial_calls.h"

namespace corvane {
namespace {

constexpr DWORD kCancelIntervalMs = 1;

// A folder, which fails every read and write. One that nobody removes, and that needs no network.
//
// The handle's number is taken when this returns. So is the number of the file behind it, which
// Wine opens at a handle's first use: hence the read.
FileHandle OpenStandIn() {
  char path[MAX_PATH];
  if (GetWindowsDirectoryA(path, sizeof path) == 0) {
    return {};
  }
  FileHandle opened(SerialCalls().CreateFileA(
      path, FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!opened) {
    return {};
  }
  char byte = 0;
  DWORD received = 0;
  std::ignore = SerialCalls().ReadFile(opened.Get(), &byte, sizeof byte, &received, nullptr);
  return opened;
}

}  // namespace

bool cComConnection::Read(std::span<std::uint8_t> room, DWORD& received) {
  received = 0;
  HANDLE shared = nullptr;
  {
    const std::lock_guard guard(usersLock);
    if (hasEnded) {
      return false;
    }
    isReading = true;
    shared = port.Get();
  }
  const BOOL read = SerialCalls().ReadFile(shared, room.data(), static_cast<DWORD>(room.size()),
                                           &received, nullptr);
  const std::lock_guard guard(usersLock);
  isReading = false;
  LetGoOfStandIn();
  return read != FALSE;
}

bool cComConnection::Write(const void* data, std::uint32_t length) {
  HANDLE shared = nullptr;
  {
    const std::lock_guard guard(usersLock);
    if (hasEnded) {
      return false;
    }
    ++writers;
    shared = port.Get();
  }
  DWORD written = 0;
  const BOOL wrote = SerialCalls().WriteFile(shared, data, length, &written, nullptr);
  const std::lock_guard guard(usersLock);
  --writers;
  LetGoOfStandIn();
  return wrote != FALSE && written == length;
}

// Wine cannot cancel a read of a serial line, and on Windows a cancel can come before the read that
// the reader has shown: hence again, and not for ever.
void cComConnection::End(HANDLE reader) {
  {
    const std::lock_guard guard(usersLock);
    hasEnded = true;
  }
  if (reader == nullptr) {
    return;
  }
  const ULONGLONG start = SerialCalls().GetTickCount64();
  while (TryCancel(reader) && SerialCalls().GetTickCount64() - start < kCancelTimeMs) {
    SerialCalls().Sleep(kCancelIntervalMs);
  }
}

void cComConnection::Close() {
  FileHandle closing;
  {
    const std::lock_guard guard(usersLock);
    closing = std::move(port);
  }
  closing.Reset();
  const std::lock_guard guard(usersLock);
  if (IsUsed()) {
    standIn = OpenStandIn();
  }
}

void cComConnection::CancelRead(HANDLE reader) { std::ignore = TryCancel(reader); }

void cComConnection::LetGoOfStandIn() {
  if (!IsUsed()) {
    standIn.Reset();
  }
}

bool cComConnection::TryCancel(HANDLE reader) {
  const std::lock_guard guard(usersLock);
  if (isReading) {
    SerialCalls().CancelSynchronousIo(reader);
  }
  return isReading;
}

}  // namespace corvane
