#pragma once

#include <optional>
#include <vector>

#include "modem_sim/faults.h"
#include "modem_sim/output_queue.h"
#include "modem_sim/report.h"

namespace corvane::modem_sim {

// A reply on its way: its frame and what the report says of it.
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
