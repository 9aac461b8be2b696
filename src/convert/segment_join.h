#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "convert/joined_message.h"
#include "convert/recent_map.h"
#include "convert/source_texts.h"
#include "describe/description.h"

namespace corvane {

// A log code, and the version of its layout where it has one.
struct sLogLayout {
  std::uint16_t logCode = 0;
  std::optional<std::uint32_t> version;

  friend auto operator<=>(const sLogLayout&, const sLogLayout&) = default;
};

// Joins the messages whose log cuts long ones into parts: RRC of LTE and NR, and IP packets.
//
// The parts of a message are joined in the order in which they stand in the capture. A part that is
// lost, repeated or out of order drops its message, and so does a whole message of the same kind
// between two parts. The last part of an RRC message does not tell its number, so that the loss of
// the part before it goes unnoticed. Logs of IP packets may count from 0 or from 1.
class cSegmentJoin {
 public:
  // Takes the next item of a capture. `source` is where its packet came from. Returns the message
  // that it completes. Whole messages give nothing.
  [[nodiscard]] std::optional<sJoinedMessage> Add(const sSource& source, std::uint64_t item,
                                                  const sDescription& description);

  // How many messages of each log and version were not joined until now: those with a part missing,
  // and those whose last part has not come.
  [[nodiscard]] std::map<sLogLayout, std::uint64_t> Incomplete() const;

 private:
  // What tells the messages under construction apart.
  struct sKey {
    sSource source;
    sLogLayout log;
    std::string_view channel;  // the syntax of a whole message can be another than its segments'
    std::optional<eLink> link;
    std::optional<std::uint8_t> radioBearer;
    std::optional<std::uint16_t> packetNumber;

    friend auto operator<=>(const sKey&, const sKey&) = default;
  };

  struct sMessage {
    sSignalling signalling;  // the first part's, with the bytes of all parts until now
    std::vector<std::uint64_t> items;
    std::uint32_t next = 0;  // the number of the part that has to come
    // A part is missing: the ones that still come belong to nothing, and are counted already.
    bool broken = false;
  };

  // Begins a message with `part`, or appends it to the one that waits for it. False when it does
  // neither; the message that it belongs to is dropped then.
  [[nodiscard]] bool Continue(const sKey& key, std::uint64_t item, const sSignalling& part);
  // Drops the message of `key` at `part`, which does not continue it. `message` is null when there
  // is none.
  void Break(const sKey& key, const sMessage* message, const sSignalling& part);
  void Keep(const sKey& key, sMessage message);
  // Forgets the message of `key`, if there is one, and counts it.
  void Drop(const sKey& key);
  [[nodiscard]] sJoinedMessage Take(const sKey& key, const sDescription& last);

  cRecentMap<sKey, sMessage> messages{256};
  std::map<sLogLayout, std::uint64_t> dropped;
};

}  // namespace corvane
