#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "convert/joined_message.h"
#include "convert/recent_map.h"
#include "convert/source_texts.h"
#include "describe/description.h"

namespace corvane {

// Joins the messages whose log cuts long ones into parts: RRC of LTE and NR, and IP packets.
//
// The parts of a message are joined in the order in which they stand in the capture. A part that is
// lost, repeated or out of order drops its message, and so does a whole message of the same kind
// between two parts. The last part of an RRC message does not tell its number, so that the loss of
// the part before it goes unnoticed.
class cSegmentJoin {
 public:
  // Takes the next item of a capture. `source` is where its packet came from. Returns the message
  // that it completes. Whole messages give nothing.
  [[nodiscard]] std::optional<sJoinedMessage> Add(const sSource& source, std::uint64_t item,
                                                  const sDescription& description);

  // How many messages of each log code were not joined until now: those with a part missing, and
  // those whose last part has not come.
  [[nodiscard]] std::map<std::uint16_t, std::uint64_t> Incomplete() const;

 private:
  // What tells the messages under construction apart.
  struct sKey {
    sSource source;
    std::uint16_t logCode = 0;
    eSyntax syntax = eSyntax::Ip;
    std::optional<eLink> link;
    std::optional<std::uint8_t> radioBearer;
    std::uint16_t packetNumber = 0;

    friend auto operator<=>(const sKey&, const sKey&) = default;
  };

  struct sMessage {
    sSignalling signalling;  // the first part's, with the bytes of all parts until now
    std::vector<std::uint64_t> items;
    std::uint32_t next = 0;  // the number of the part that has to come
    // A part is missing: the ones that still come belong to nothing, and are counted already.
    bool broken = false;
  };

  void Begin(const sKey& key, std::uint64_t item, const sSignalling& part);
  void Break(const sKey& key, bool isLast);
  [[nodiscard]] std::optional<sJoinedMessage> Continue(const sKey& key, std::uint64_t item,
                                                       const sSignalling& part,
                                                       const sDescription& description);

  cRecentMap<sKey, sMessage> messages{256};
  std::map<std::uint16_t, std::uint64_t> dropped;
};

}  // namespace corvane
