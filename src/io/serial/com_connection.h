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
//  A call that is about to begin.  A reader shows, under `usersLock`, that it goes into a read or a
//      write of the port, and is refused once the connection ends. So a port whose reader shows
//      neither is not used by it any more, and the end of a connection only has to cancel a call
//      that is shown. A write counts as well: a modem that stalls holds it up for a second a byte,
//      and Windows does not close the port under it before that.
//  A cancel that hits something else.  A thread's pending call is cancelled, whichever that is. So
//      the cancel is made under `usersLock`, which the reader takes to leave its call: it cannot
//      have begun to write the capture file meanwhile.
//  A number that is used again.  The system gives the number of a closed handle to what is opened
//      next, and Wine does so with its own files as well. A read that could not be ended before the
//      port was closed would then go on with the next connection's port. So a stand-in, which fails
//      every read and write, takes the number right after the close and keeps it until the last
//      user has gone: such a read fails with the next byte on its line, or when that hangs up.
//      Unless another thread of the host opens something in between: that has the number then, and
//      the stand-in another one.
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

  // One synchronous write, by the connection's reader. False when not all was written, as when the
  // connection ends meanwhile, and when it has ended before.
  [[nodiscard]] bool WriteAsReader(const void* data, std::uint32_t length);

  // The same by any other thread. Nothing cancels it: it ends in its own time.
  [[nodiscard]] bool Write(const void* data, std::uint32_t length);

  // Ends the connection: no read or write begins from now on. With a `reader` (its thread) that is
  // reading or writing the port, cancels that call, and again, until the reader has left it, for at
  // most kCancelTimeMs. The caller closes the port next.
  void End(HANDLE reader);

  // Closes the port's handle. End comes first; only one thread calls either.
  void Close();

  // Cancels the read or write of the port that `reader` is in, if it is in one. It may stay in it
  // all the same.
  void Cancel(HANDLE reader);

  // Whether End has come. A reader that finds it so sends nothing more: the queue may be a later
  // connection's.
  [[nodiscard]] bool HasEnded() const { return hasEnded; }

  static constexpr DWORD kCancelTimeMs = 100;

 private:
  // Whether `reader` was in a call on the port, which has been cancelled then.
  bool TryCancel(HANDLE reader);

  // A user of the port begins a call on it and is counted among `users`. Null, and not counted,
  // when the connection has ended.
  [[nodiscard]] HANDLE BeginCall(unsigned& users);
  void EndCall(unsigned& users);
  [[nodiscard]] bool WriteAsOneOf(unsigned& users, const void* data, std::uint32_t length);

  cLock usersLock;            // guards all below; no other lock is taken while it is held
  unsigned readersCalls = 0;  // 1 while the reader is in a read or write of the port
  unsigned otherWriters = 0;
  std::atomic<bool> hasEnded = false;  // read by anyone
  FileHandle port;
  FileHandle standIn;  // from Close until the last read or write has returned
};

}  // namespace corvane
