#include "convert/item_description.h"

#include <utility>

#include "capture/isf/layout.h"

namespace corvane {

sDescription DescribeItem(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kInformationItem: {
      sDescription description;
      if (std::optional<std::string> text = isf::LoadTextItem(item.bytes)) {
        description.sort = eItemSort::Text;
        description.text = std::move(*text);
      }
      return description;
    }
    case isf::kEventItem:
      return DescribeSingleEvent(item.bytes);
    case isf::kRequestItem:
    case isf::kSubsystemRequestItem:
      return DescribePacket(item.bytes, eSender::Host);
    default:
      return DescribePacket(item.bytes, eSender::Modem);
  }
}

}  // namespace corvane
