#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "analysis/described_item.h"
#include "analysis/selection.h"
#include "analysis/selection_matcher.h"
#include "reader/capture_file.h"
#include "reader/item_follower.h"

namespace corvane {

// The time of the first item that has one, from which relative bounds count; nothing without items.
[[nodiscard]] std::optional<std::uint64_t> FirstTimeOf(cCaptureFile& file);

// What came of a selection.
struct sSelectionOutcome {
  std::uint64_t selected = 0;  // items
  // Not every item was wanted, so that having selected none may surprise.
  bool isChoosy = false;
  // The lower bound is above the upper one.
  bool isCrossed = false;
};

// Is handed a text item of the recorder that is passed over: it may tell which connection and
// subscription are in force (convert/source_texts.h). The item is borrowed for the call.
using tPassedText = std::function<void(const sCaptureItem& item)>;

// Is told now and then how far a search for items is that finds none: the number of an item that
// was passed over.
using tSearchProgress = std::function<void(std::uint64_t number)>;

// The selected items of a capture file, in the order of their numbers, one at a time.
//
//   cSelectedItems items(file, selection);
//   while (items.Next()) {
//     Show(items.Current().Item());
//   }
//
// Only what the selection has to know is read. The texts of the recorder in front of the wanted
// stretch and between its items are always read, so that each item's source is known. An item that
// cannot be read is passed over. What is not read is not found to be unreadable.
class cSelectedItems {
 public:
  // `opened` is not owned and must outlive the object. Others may read it meanwhile.
  cSelectedItems(cCaptureFile& opened, const sSelection& wanted);

  // From now on texts that are passed over are told, those in front of the wanted stretch too.
  void TellPassed(tPassedText tell) { tellPassed = std::move(tell); }

  // From now on a search is told each time that so many items were passed over.
  void TellSearch(tSearchProgress tell) { tellSearch = std::move(tell); }
  static constexpr std::uint32_t kTold = 4096;

  // Goes on to the next selected item; false when there is none.
  [[nodiscard]] bool Next();
  // The item that Next went to, until it is called again.
  [[nodiscard]] const cDescribedItem& Current() const { return current; }

  // Goes past the next selected item without making it the current one, and returns its number;
  // nothing when there is none. Reads of the file no more than the selection has to know, and
  // nothing but directories where types tell all. Sources are not known afterwards.
  [[nodiscard]] std::optional<std::uint64_t> Skip();
  // Goes past all that are left, and returns how many those are.
  [[nodiscard]] std::uint64_t CountRest();

  // The number at which Next goes on; for a progress bar, in the unit of cCaptureFile::NumbersEnd.
  [[nodiscard]] std::uint64_t Position() const { return next; }
  [[nodiscard]] const cSelectionMatcher& Matcher() const { return matcher; }
  // How many items were selected until now.
  [[nodiscard]] sSelectionOutcome Outcome() const;
  // The first item that could not be read.
  [[nodiscard]] const std::optional<sCaptureError>& Unreadable() const { return unreadable; }

 private:
  [[nodiscard]] bool GoOn(std::uint64_t& number);
  [[nodiscard]] bool Read(std::uint64_t number);
  void PassTextsBefore(std::uint64_t first);
  void TellOf(std::uint64_t number);

  cCaptureFile& file;
  const bool isChoosy;
  cSelectionMatcher matcher;
  tPassedText tellPassed;
  tSearchProgress tellSearch;
  std::uint32_t untold = 0;  // items passed over
  cDescribedItem current;
  std::uint64_t next = 0;
  bool hasBegun = false;
  std::uint64_t selected = 0;
  std::optional<sCaptureError> unreadable;
};

// The number of the item with which the last `count` selected items of a file begin; nothing when
// there are no more than those. Takes time in proportion to what lies behind it, and no memory.
// `tell` may be empty; it is told how many numbers from the end of the file were searched.
[[nodiscard]] std::optional<std::uint64_t> FindLast(cCaptureFile& file, const sSelection& selection,
                                                    std::uint64_t count,
                                                    const tSearchProgress& tell = {});

// The same of a capture that is being written.
class cSelectedFollower {
 public:
  // `followed` is not owned and must outlive the object, which alone takes its items.
  cSelectedFollower(cItemFollower& followed, sSelection wanted);

  void TellPassed(tPassedText tell) { tellPassed = std::move(tell); }

  enum class eStep : std::uint8_t { None, PassedOver, Selected };
  // Goes on to the next item that was there at the last look, selected or not; None when there is
  // no other.
  [[nodiscard]] eStep Step();
  // Goes on to the next selected one; false when there is none.
  [[nodiscard]] bool Next();
  // The item that was selected last.
  [[nodiscard]] const cDescribedItem& Current() const { return current; }
  // Once the upper bound of numbers is passed, no item will be selected any more.
  [[nodiscard]] bool IsPastEnd() const { return isPastEnd; }
  // The bounds of times count from the first item: nothing before there is one.
  [[nodiscard]] const std::optional<cSelectionMatcher>& Matcher() const { return matcher; }
  [[nodiscard]] sSelectionOutcome Outcome() const;

 private:
  cItemFollower& follower;
  const sSelection selection;
  std::optional<cSelectionMatcher> matcher;
  tPassedText tellPassed;
  cDescribedItem current;
  bool isPastEnd = false;
  std::uint64_t selected = 0;
};

}  // namespace corvane
