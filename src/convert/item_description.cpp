#include "convert/item_description.h"

#include "capture/isf/layout.h"

namespace corvane {

sDescription DescribeItem(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kInformationItem: {
      sDescription description;
      description.sort = eItemSort::Text;
      description.text = isf::LoadTextItem(item.bytes).value_or("");
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
