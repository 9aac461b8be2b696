#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/connection_texts.h"
#include "analysis/time_spread.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

enum class eRequestState : std::uint8_t { Unanswered, Answered, Refused };

// A request of the recorder, and what became of it. Times are in milliseconds since 1601-01-01 UTC.
struct sRequest {
  std::uint64_t number = 0;  // of its item
  std::uint64_t time = 0;
  std::uint64_t connection = 0;  // as cConnectionTexts counts them
  std::string name;              // RequestName (analysis/command_names.h)
  eRequestState state = eRequestState::Unanswered;
  std::string refusal;  // "bad length", "status 2"; empty unless it was refused
  // Of the reply; nothing without one.
  std::optional<std::uint64_t> replyNumber;
  std::optional<std::uint64_t> replyTime;

  // Milliseconds; nothing without a reply, and where the clock was set back in between.
  [[nodiscard]] std::optional<std::uint64_t> RoundTrip() const;
};

// How many requests there were, and what became of them.
struct sRequestTotals {
  std::uint64_t sent = 0;
  std::uint64_t answered = 0;
  std::uint64_t refused = 0;

  // The newest ones may still be answered.
  [[nodiscard]] std::uint64_t Unanswered() const { return sent - answered - refused; }
};

struct sNamedRequests {
  sRequestTotals totals;
  cTimeSpread roundTrips;   // milliseconds, of the answered and the refused ones
  std::uint64_t first = 0;  // times of the first and the last request
  std::uint64_t last = 0;
};

// The requests of one connection: its set-up. The recorder sends them one at a time; how many it
// will send is not in the file.
struct sSetUp {
  std::uint64_t connection = 0;
  sRequestTotals totals;
  std::uint64_t firstTime = 0;      // of the first request
  std::uint64_t lastTime = 0;       // of the newest request or reply
  std::uint64_t newestRequest = 0;  // number of its item
  bool isOver = false;              // the port was disconnected, or connected anew
};

// Which requests the modem answered, which it refused, and which are without a reply.
//
// The recorder takes any packet that the modem does not send on its own accord for the reply to the
// request that it sent last. Here a reply has to fit: by its command; by subsystem and subsystem
// command; and, where the reply tells them, by the operation and the equipment ID of a log mask or
// the SSIDs of message levels. Of several requests that fit, the oldest one is answered. A packet
// that fits none answers none, so that one that nobody asked for takes no other's reply. A refusal
// has the refused request behind it; one that has nothing there refuses the newest request. A reply
// to a log mask or an event mask whose status is not 0 is a refusal, too.
//
// Requests of a connection that ended stay without a reply. Memory is constant: of what is listed
// the first ones are kept, the others are counted.
class cRequestReplies {
 public:
  // Items come in file order. `description` is the item's (convert/item_description.h). Logs,
  // events and debug messages change nothing and need not be given.
  void Add(const sCaptureItem& item, const sDescription& description);

  [[nodiscard]] const sRequestTotals& Totals() const { return totals; }
  // By name; at most kMostNames. The requests of further names.
  [[nodiscard]] const std::map<std::string, sNamedRequests>& ByName() const { return byName; }
  [[nodiscard]] const sNamedRequests& OtherNames() const { return otherNames; }
  // Of all names together.
  [[nodiscard]] const cTimeSpread& RoundTrips() const { return roundTrips; }
  // Packets of the modem that look like replies, but fit no request.
  [[nodiscard]] std::uint64_t RepliesToNone() const { return repliesToNone; }

  // The first kMostKept requests, in file order.
  [[nodiscard]] const std::vector<sRequest>& Kept() const { return kept; }
  // The first kMostKept requests that were refused, in the order of the refusals.
  [[nodiscard]] const std::vector<sRequest>& Refused() const { return refused; }
  // The first kMostKept requests without a reply, in file order; those that still wait are at the
  // end.
  [[nodiscard]] std::vector<sRequest> Unanswered() const;

  // The set-up of each connection that had a request, the first kMostKept of them in their order.
  [[nodiscard]] const std::vector<sSetUp>& SetUps() const { return setUps; }
  // That of the connection that the newest item belongs to; null when it had no request.
  [[nodiscard]] const sSetUp* Present() const;
  // The newest request of that connection, while it is without a reply: the recorder waits for it,
  // and sends no other. Null when there is none.
  [[nodiscard]] const sRequest* Waiting() const;

  static constexpr std::size_t kMostNames = 1000;
  static constexpr std::size_t kMostKept = 10'000;
  // The recorder's queue is no longer. What waits beyond that is given up.
  static constexpr std::size_t kMostWaiting = 1000;

 private:
  // What a reply has to fit. What a packet does not tell is empty, and fits anything.
  struct sKey {
    std::uint8_t command = 0;
    std::optional<std::uint32_t> operation;  // or subsystem and subsystem command
    std::optional<std::uint32_t> subject;    // equipment ID, or SSIDs

    [[nodiscard]] bool Fits(const sKey& other) const;
  };
  struct sWaiting {
    sKey key;
    sRequest request;
    std::optional<std::size_t> place;  // in `kept`
  };

  using Packet = std::span<const std::uint8_t>;
  [[nodiscard]] static sKey KeyOfRequest(Packet packet);
  [[nodiscard]] static sKey KeyOfReply(Packet packet);

  void AddText(const sDescription& description);
  void AddRequest(const sCaptureItem& item, Packet packet);
  void AddReply(const sCaptureItem& item, Packet packet, const sDescription& description);
  // Finds the request that a key fits, or the newest one without a key. End of `waiting` for none.
  [[nodiscard]] std::deque<sWaiting>::iterator FindWaiting(const std::optional<sKey>& key);
  void Settle(std::deque<sWaiting>::iterator found, const sCaptureItem& item,
              const std::string& refusal);
  // No reply is expected any more to what waits for the connection, or to the oldest of all.
  void GiveUp(std::uint64_t connection);
  void GiveUpOldest();
  void Forget(std::deque<sWaiting>::iterator found);
  [[nodiscard]] sNamedRequests& Named(const std::string& name);
  // Null for one that is over, or had no request.
  [[nodiscard]] const sSetUp* FindSetUp(std::uint64_t connection) const;
  [[nodiscard]] sSetUp* FindSetUp(std::uint64_t connection);

  cConnectionTexts texts;
  std::deque<sWaiting> waiting;  // in file order
  std::array<std::uint32_t, 256> waitingByCommand{};
  sRequestTotals totals;
  std::map<std::string, sNamedRequests> byName;
  sNamedRequests otherNames;
  cTimeSpread roundTrips;
  std::uint64_t repliesToNone = 0;
  std::vector<sRequest> kept;
  std::vector<sRequest> refused;
  std::vector<sRequest> givenUp;
  std::vector<sSetUp> setUps;
  sSetUp newestSetUp;  // the newest one where `setUps` is full
};

}  // namespace corvane
