#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <utility>

#include "platform/synchronization.h"
#include "platform/windows_handle.h"

namespace corvane {

// One opening of the COM port, from CreateFileA to the end of its last user. The transport, the
// reader of this connection and whoever writes share it, so that none of them ever takes the port
// of a later connection for its own.
//
// Closing a port while others use it has three hazards, and this class holds what keeps them away:
//
//  A read that is about to begin.  A reader shows, under `usersLock`, that it goes into a read, and
//      is refused once the connection ends. So a port whose reader does not show a read is not
//      read any more, and the end of a connection only has to cancel a read that is shown.
//  A cancel that hits something else.  A thread's pending call is cancelled, whichever that is. So
//      the cancel is made under `usersLock`, which the reader takes to leave its read: it cannot
//      have begun to write the capture file meanwhile.
//  A number that is used again.  The system gives the number of a closed handle to what is opened
//      next, and Wine does so with its own files as well. A read that could not be ended before the
//      port was closed would then go on with the next connection's port. So a stand-in, which fails
//      every read and write, takes the number at once and keeps it until the last user has gone:
//      such a read fails with the next byte on its line, or when that hangs up.
class cComConnection {
 public:
  // Takes `opened` over, which is open. Throws std::bad_alloc.
  explicit cComConnection(FileHandle opened) : port(std::move(opened)) {}
  cComConnection(const cComConnection&) = delete;
  cComConnection& operator=(const cComConnection&) = delete;

  // One synchronous read, by the connection's reader: at most room.size() bytes, whose count
  // `received` gets. False when the read fails, as it does when the connection ends meanwhile, and
  // when the connection has ended before.
  [[nodiscard]] bool Read(std::span<std::uint8_t> room, DWORD& received);

  // One synchronous write. False when not all was written, or when the connection has ended.
  [[nodiscard]] bool Write(const void* data, std::uint32_t length);

  // Ends the connection: no read or write begins from now on. With a `reader` (its thread) whose
  // read is pending, cancels that read, and again, until the reader has left it, for at most
  // kCancelTimeMs. The caller closes the port next.
  void End(HANDLE reader);

  // Closes the port's handle. End comes first; only one thread calls either.
  void Close();

  // Cancels the pending read of `reader`, if it is in one. It may stay in it all the same.
  void CancelRead(HANDLE reader);

  // Set for good by End. A reader that finds it set sends nothing more: the queue may be a later
  // connection's.
  [[nodiscard]] const std::atomic<bool>& HasEnded() const { return hasEnded; }

  static constexpr DWORD kCancelTimeMs = 100;

 private:
  // Whether `reader` was in a read, which has been cancelled then.
  bool TryCancel(HANDLE reader);

  // The caller of these two holds usersLock.
  [[nodiscard]] bool IsUsed() const { return isReading || writers != 0; }
  void LetGoOfStandIn();

  cLock usersLock;  // guards all below; no other lock is taken while it is held
  bool isReading = false;
  unsigned writers = 0;
  std::atomic<bool> hasEnded = false;  // read by anyone
  FileHandle port;
  FileHandle standIn;  // from Close until the last read or write has returned
};

}  // namespace corvane
