#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "analysis/whole_messages.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// A signalling message as a rung of the ladder between mobile and network.
struct sLadderMessage {
  std::uint64_t item = 0;  // number of the item, the last one of a message in several
  std::uint64_t time = 0;  // of that item, in milliseconds since 1601-01-01 UTC
  std::size_t items = 1;   // that hold it
  eTechnology technology = eTechnology::None;
  std::optional<eLink> link;  // who sent it
  std::string_view channel;   // "DL-DCCH"; "NAS" or "SIP" where there is none; lasts for ever
  // "RRC connection reconfiguration"; "(ciphered)", "(unknown)" where it has no name. Lasts for
  // ever.
  std::string_view name;
  std::string_view firstBlock;  // of a message with system information: "SIB2"
  bool isBroadcast = false;     // to every mobile: system information, paging
  std::optional<std::uint32_t> subscription;
  sCell cell;  // what the packet tells of it
};

// The signalling messages of a capture in their order, without IP packets, which are none, and
// without what the recorder itself has rebuilt.
//
// As many are kept as a page can show. Where there are more, those of broadcast channels, which
// repeat for ever, give way to the others; of each the first ones are kept.
class cLadder {
 public:
  static constexpr std::size_t kMostMessages = 5000;

  // Takes the next message of an item. Not for messages that the recorder has rebuilt.
  void Add(const sCaptureItem& item, const sDescription& description, const sWholeMessage& message,
           std::optional<std::uint32_t> subscription);

  // In the order of their items.
  [[nodiscard]] std::vector<sLadderMessage> Messages() const;
  // How many there were.
  [[nodiscard]] std::uint64_t Count() const { return broadcast.count + others.count; }
  // How many of broadcast channels, and how many others, are left out.
  [[nodiscard]] std::uint64_t BroadcastLeftOut() const { return broadcast.count - BroadcastKept(); }
  [[nodiscard]] std::uint64_t OthersLeftOut() const { return others.count - others.first.size(); }

 private:
  struct sMessages {
    std::vector<sLadderMessage> first;  // kMostMessages of them
    std::uint64_t count = 0;
  };

  // How many of broadcast channels the others leave room for.
  [[nodiscard]] std::size_t BroadcastKept() const;

  sMessages broadcast;
  sMessages others;
};

// Whether a message is for every mobile in the cell: system information, paging, and the like.
[[nodiscard]] bool IsBroadcast(const sSignalling& message);

}  // namespace corvane
