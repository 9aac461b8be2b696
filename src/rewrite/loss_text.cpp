#include "rewrite/loss_text.h"

namespace corvane {

std::string Count(std::uint64_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string LossText(const sLostItems& lost, bool hasNumbers) {
  const std::string bytes = Count(lost.bytes, "byte");
  if (lost.items == 0) {
    return bytes + (lost.bytes == 1 ? " belongs" : " belong") + " to no item that proves itself";
  }
  if (!hasNumbers) {
    return Count(lost.items, "item") + (lost.items == 1 ? " is" : " are") + " lost (" + bytes + ")";
  }
  const std::string first = std::to_string(lost.firstNumber);
  if (lost.places <= 1) {
    return "item " + first + " is lost (" + bytes + ")";
  }
  const std::string range =
      "items " + first + " to " + std::to_string(lost.firstNumber + lost.places - 1);
  if (lost.items == lost.places) {
    return range + " are lost (" + bytes + ")";
  }
  return std::to_string(lost.items) + " of " + range + (lost.items == 1 ? " is" : " are") +
         " lost (" + bytes + ")";
}

std::string PlaceText(const sUnfitRecords& unfit) {
  const auto place = [](const sUnfitRecord& record) {
    return (record.number ? "item " + std::to_string(*record.number) + " at " : std::string()) +
           "offset " + std::to_string(record.offset);
  };
  return unfit.count == 1 ? place(unfit.first)
                          : "from " + place(unfit.first) + " to " + place(unfit.last);
}

}  // namespace corvane
