#include "io/serial/com_connection.h"

#include <mutex>
#include <tuple>
#include <utility>

#include "io/serial/serial_calls.h"

namespace corvane {
namespace {

constexpr DWORD kCancelIntervalMs = 1;

// Opens the Windows folder: reads and writes of a folder fail, and this folder is always there.
//
// The open handle keeps the closed port's handle number from a newly opened file. Wine opens the
// file behind a handle only at the handle's first use; the read makes it take that file's number
// too.
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

HANDLE cComConnection::BeginCall(unsigned& users) {
  const std::lock_guard guard(usersLock);
  if (hasEnded) {
    return nullptr;
  }
  ++users;
  return port.Get();
}

void cComConnection::EndCall(unsigned& users) {
  const std::lock_guard guard(usersLock);
  --users;
  if (readersCalls + otherWriters == 0) {
    standIn.Reset();
  }
}

bool cComConnection::Read(std::span<std::uint8_t> room, DWORD& received) {
  received = 0;
  const HANDLE shared = BeginCall(readersCalls);
  if (shared == nullptr) {
    return false;
  }
  const BOOL read = SerialCalls().ReadFile(shared, room.data(), static_cast<DWORD>(room.size()),
                                           &received, nullptr);
  EndCall(readersCalls);
  return read != FALSE;
}

bool cComConnection::WriteAsReader(const void* data, std::uint32_t length) {
  return WriteAsOneOf(readersCalls, data, length);
}

bool cComConnection::Write(const void* data, std::uint32_t length) {
  return WriteAsOneOf(otherWriters, data, length);
}

bool cComConnection::WriteAsOneOf(unsigned& users, const void* data, std::uint32_t length) {
  const HANDLE shared = BeginCall(users);
  if (shared == nullptr) {
    return false;
  }
  DWORD written = 0;
  const BOOL wrote = SerialCalls().WriteFile(shared, data, length, &written, nullptr);
  EndCall(users);
  return wrote != FALSE && written == length;
}

// The cancel is repeated: on Windows it misses a reader that has shown its call and is not in it
// yet. The repeats end after kCancelTimeMs: Wine cannot cancel a read of a serial line.
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
  if (readersCalls + otherWriters != 0) {
    standIn = OpenStandIn();
  }
}

void cComConnection::Cancel(HANDLE reader) { std::ignore = TryCancel(reader); }

bool cComConnection::TryCancel(HANDLE reader) {
  const std::lock_guard guard(usersLock);
  const bool isInCall = readersCalls != 0;
  if (isInCall) {
    SerialCalls().CancelSynchronousIo(reader);
  }
  return isInCall;
}

}  // namespace corvane
