#pragma once

#include <chrono>
#include <deque>
#include <optional>

#include "modem_sim/bytes.h"
#include "modem_sim/random.h"
#include "modem_sim/report.h"

// What is on its way to the host: replies that are not due yet, and bytes that the line has not
// taken yet.
namespace corvane::modem_sim {

using Clock = std::chrono::steady_clock;

// How writes are cut up, whatever stands in them.
struct sWriteOptions {
  // Bytes in a write, drawn anew for each; 0: as many as there are.
  std::size_t minChunk = 0;
  std::size_t maxChunk = 0;
  std::chrono::milliseconds gap{5};  // between the pieces that a cut makes
};

// The bytes on their way to the host, in order, with the places where a write has to end. Nothing
// is ever dropped: what the line does not take stays here.
class cOutputQueue {
 public:
  cOutputQueue(std::uint64_t seed, const sWriteOptions& options);

  // Appends bytes, of which there is at least one. `cuts` are positions in them, ascending.
  // `ticket` comes back from Written once the last of them is out. With `withNext` they wait for
  // the next bytes and go out in one write with them.
  void Push(ByteView more, std::uint64_t ticket, const std::vector<std::size_t>& cuts,
            bool withNext);

  // Lets bytes go that wait for others.
  void Release();

  // What the next write may take; empty when there is nothing, or a gap has to pass. It is valid
  // until the next call of a function that is not const.
  [[nodiscard]] ByteView Ready(Clock::time_point now) const;

  // The line took the first `count` bytes of Ready. Returns the tickets that are done with.
  [[nodiscard]] std::vector<std::uint64_t> Written(std::size_t count, Clock::time_point now);

  // When to look at Ready again: the end of a gap, if bytes wait for it.
  [[nodiscard]] std::optional<Clock::time_point> NextDue(Clock::time_point now) const;

  [[nodiscard]] std::size_t Size() const { return bytes.size() - head; }
  [[nodiscard]] bool HoldsBack() const { return heldFrom.has_value(); }

 private:
  struct sMark {
    std::uint64_t end = 0;
    std::uint64_t ticket = 0;
  };
  // Positions count from the first byte that was ever pushed; `written` is the first one here.
  [[nodiscard]] std::uint64_t End() const { return written + Size(); }
  void StartChunk();

  sWriteOptions options;
  cRandom random;
  Bytes bytes;
  std::size_t head = 0;
  std::uint64_t written = 0;
  std::deque<sMark> marks;
  std::deque<std::uint64_t> cutPositions;
  std::optional<std::uint64_t> heldFrom;
  std::optional<std::uint64_t> chunkEnd;
  Clock::time_point notBefore{};
};

// A reply on its way: its frame and what the report says of it.
// NOLINTNEXTLINE(bugprone-exception-escape): moving a Json only looks as if it could throw
struct sReply {
  Bytes frame;
  Json line;
};

// Where replies wait that are late or held back.
class cReplyDesk {
 public:
  // Takes a reply that is due at `due`.
  void Submit(sReply reply, Clock::time_point due);

  // While replies are held back none is due.
  void Hold() { holding = true; }
  void Release() { holding = false; }
  [[nodiscard]] bool IsHolding() const { return holding; }

  // Takes out those that are due, in the order in which they fell due.
  [[nodiscard]] std::vector<sReply> TakeDue(Clock::time_point now);
  [[nodiscard]] std::optional<Clock::time_point> NextDue() const;
  [[nodiscard]] bool Empty() const { return waiting.empty(); }

 private:
  struct sWaiting {
    Clock::time_point due;
    sReply reply;
  };
  std::vector<sWaiting> waiting;  // by when they are due, then as submitted
  bool holding = false;
};

}  // namespace corvane::modem_sim
