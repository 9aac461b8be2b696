#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "analysis/described_item.h"
#include "analysis/selection.h"
#include "capture/isf/layout.h"
#include "reader/markers.h"

namespace corvane {

// The bound in milliseconds since 1601-01-01 UTC, or nothing where it is none of a time. `start` is
// the time of the capture's first item.
[[nodiscard]] std::optional<std::uint64_t> TimeOf(const sSelectionBound& bound,
                                                  std::uint64_t start);

// Holds the items of one capture against a selection. It asks for as little of an item as the
// selection needs.
class cSelectionMatcher {
 public:
  // `firstTime` is the time of the capture's first item, from which relative bounds count; nothing
  // where there is no item.
  cSelectionMatcher(sSelection wanted, std::optional<std::uint64_t> firstTime);

  // The numbers that an item may have, both included.
  [[nodiscard]] std::uint64_t FirstNumber() const { return firstNumber; }
  [[nodiscard]] std::uint64_t LastNumber() const { return lastNumber; }
  // The times that an item, or a marker, may have, both included.
  [[nodiscard]] std::uint64_t FirstTime() const { return firstTime; }
  [[nodiscard]] std::uint64_t LastTime() const { return lastTime; }
  // The lower bound is above the upper one: nothing can match.
  [[nodiscard]] bool IsCrossed() const { return firstNumber > lastNumber || firstTime > lastTime; }

  enum class eAnswer : std::uint8_t { No, Yes, Read };
  // What an item's type tells of an item between the bounds of numbers; Read where more of it has
  // to be known. `type` is 0 to 31.
  [[nodiscard]] eAnswer ByType(std::uint32_t type) const { return byType[type]; }

  // Whether an item matches. It is described only where nothing less tells.
  [[nodiscard]] bool Matches(const cDescribedItem& described) const;
  // Whether a marker does: its time is between the bounds, and its text has what is to stand there.
  // Nothing else is asked of markers.
  [[nodiscard]] bool Matches(const sMarker& marker) const;

 private:
  void FindAnswers();
  [[nodiscard]] eAnswer KindByType(std::uint32_t type) const;
  [[nodiscard]] bool IsOfWantedKind(const cDescribedItem& described) const;
  [[nodiscard]] bool HasWantedContent(const cDescribedItem& described) const;

  sSelection selection;
  std::uint64_t firstNumber = 0;
  std::uint64_t lastNumber = UINT64_MAX;
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = UINT64_MAX;
  std::array<eAnswer, isf::kItemTypes> byType{};
};

}  // namespace corvane
