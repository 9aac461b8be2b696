#include "analysis/verification.h"

namespace corvane {
namespace {

struct sRuleWords {
  std::string_view name;
  std::string_view text;
};

[[nodiscard]] sRuleWords WordsOf(eRule rule) {
  switch (rule) {
    case eRule::Header:
      return {"header", "A capture begins with 0xAB603108"};
    case eRule::Joined:
      return {"joined", "A file holds one capture"};
    case eRule::Block:
      return {"block", "A block is whole, and the last one of a closed capture has items"};
    case eRule::NextBlock:
      return {
          "next-block",
          "A block names the one behind it, which stands behind its last record; the last block "
          "names none"};
    case eRule::BaseTime:
      return {"base-time", "A block's base time is the time of its first item"};
    case eRule::EntryOrder:
      return {"entry-order",
              "A directory's entries are used in order, and all of them before the next block"};
    case eRule::RecordPlace:
      return {"record-place", "Records follow each other in the order of the directory"};
    case eRule::Gap:
      return {"gap", "In a closed capture every byte belongs to something"};
    case eRule::PacketLength:
      return {"packet-length", "A packet has 1 to 16640 bytes"};
    case eRule::ItemType:
      return {"item-type", "Item types are 0 to 2 and 4 to 10"};
    case eRule::ExtraField:
      return {"extra-field",
              "Only items of type 8 have an extra field: the technology or cell value of their log "
              "code"};
    case eRule::ItemTime:
      return {"item-time", "A time is one that clocks can show"};
    case eRule::TimeWidth:
      return {"time-width", "A time field is as narrow as its time allows"};
    case eRule::BlockIndex:
      return {"block-index", "The block index has each block's position and base time"};
    case eRule::Trailer:
      return {"trailer", "The trailer is 64 bits of zero, the number of items and 0xAB603107"};
    case eRule::BehindTrailer:
      return {"behind-trailer", "Nothing stands behind the trailer"};
    case eRule::Contents:
      return {"contents", "A packet is of the sort that its item's type says"};
  }
  return {};
}

}  // namespace

std::string_view RuleName(eRule rule) { return WordsOf(rule).name; }

std::string_view RuleText(eRule rule) { return WordsOf(rule).text; }

}  // namespace corvane
