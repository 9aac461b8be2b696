#include "analysis/selected_items.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "capture/isf/layout.h"

namespace corvane {
namespace {

using eAnswer = cSelectionMatcher::eAnswer;

[[nodiscard]] bool IsRelative(const sSelectionBound& bound) {
  return bound.sinceStart || bound.timeOfDay;
}

[[nodiscard]] std::optional<std::uint64_t> StartFor(cCaptureFile& file, const sSelection& wanted) {
  return IsRelative(wanted.from) || IsRelative(wanted.to) ? FirstTimeOf(file) : std::nullopt;
}

}  // namespace

std::optional<std::uint64_t> FirstTimeOf(cCaptureFile& file) {
  std::uint64_t time = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    if (!file.ReadTime(*number, time)) {
      return time;
    }
  }
  return std::nullopt;
}

cSelectedItems::cSelectedItems(cCaptureFile& opened, const sSelection& wanted)
    : file(opened),
      isChoosy(!wanted.IsEverything()),
      matcher(wanted, StartFor(opened, wanted)),
      next(matcher.FirstNumber()) {}

sSelectionOutcome cSelectedItems::Outcome() const {
  return {selected, isChoosy, matcher.IsCrossed()};
}

void cSelectedItems::TellOf(std::uint64_t number) {
  if (++untold == kTold) {
    untold = 0;
    if (tellSearch) {
      tellSearch(number);
    }
  }
}

// Goes on to the next item between the bounds of numbers; false when there is none. The file may
// grow behind the last one.
bool cSelectedItems::GoOn(std::uint64_t& number) {
  number = next;
  if (!file.MoveToItem(number) || number > matcher.LastNumber() || matcher.IsCrossed()) {
    return false;
  }
  next = number + 1;
  TellOf(number);
  return true;
}

// Makes item `number` the current one. False when it cannot be read.
bool cSelectedItems::Read(std::uint64_t number) {
  auto wrong = file.ReadItem(number, current.Renew());
  if (wrong) {
    unreadable = unreadable ? unreadable : std::move(wrong);
    return false;
  }
  if (current.Item().type == isf::kInformationItem) {
    current.ApplyText();
  }
  return true;
}

void cSelectedItems::PassTextsBefore(std::uint64_t first) {
  for (auto number = file.NextItem(0); number && *number < first;
       number = file.NextItem(*number + 1)) {
    TellOf(*number);
    if (file.TypeOf(*number) != isf::kInformationItem || file.ReadItem(*number, current.Renew())) {
      continue;  // none of the wanted stretch, so that nobody misses it
    }
    current.ApplyText();
    if (tellPassed) {
      tellPassed(current.Item());
    }
  }
}

bool cSelectedItems::Next() {
  if (!std::exchange(hasBegun, true)) {
    PassTextsBefore(matcher.IsCrossed() ? 0 : next);
  }
  std::uint64_t number = 0;
  while (GoOn(number)) {
    const std::uint32_t type = file.TypeOf(number).value_or(0);
    const bool isText = type == isf::kInformationItem;
    const eAnswer answer = matcher.ByType(type);
    if ((answer == eAnswer::No && !isText) || !Read(number)) {
      continue;
    }
    if (answer == eAnswer::Yes || matcher.Matches(current)) {
      ++selected;
      untold = 0;
      return true;
    }
    if (isText && tellPassed) {
      tellPassed(current.Item());
    }
  }
  return false;
}

std::optional<std::uint64_t> cSelectedItems::Skip() {
  hasBegun = true;
  std::uint64_t number = 0;
  while (GoOn(number)) {
    const eAnswer answer = matcher.ByType(file.TypeOf(number).value_or(0));
    if (answer == eAnswer::Yes ||
        (answer == eAnswer::Read && Read(number) && matcher.Matches(current))) {
      ++selected;
      untold = 0;
      return number;
    }
  }
  return std::nullopt;
}

std::uint64_t cSelectedItems::CountRest() {
  const std::uint64_t before = selected;
  while (Skip()) {
  }
  return selected - before;
}

std::optional<std::uint64_t> FindLast(cCaptureFile& file, const sSelection& selection,
                                      std::uint64_t count, const tSearchProgress& tell) {
  // Block by block from the end, each forwards: reading in descending order is slow.
  const auto inBlock = [&](std::uint64_t block) {
    sSelection part = selection;
    const std::uint64_t first = block * isf::kItemsPerBlock;
    part.from.number = std::max(first, selection.from.number.value_or(0));
    part.to.number =
        std::min(first + isf::kItemsPerBlock - 1, selection.to.number.value_or(UINT64_MAX));
    return part;
  };
  std::uint64_t missing = count;
  for (std::size_t place = file.Blocks().size(); place-- > 0;) {
    const std::uint64_t block = file.Blocks()[place].number;
    if (tell) {
      tell(file.NumbersEnd() - std::min(file.NumbersEnd(), (block + 1) * isf::kItemsPerBlock));
    }
    const sSelection part = inBlock(block);
    const std::uint64_t here = cSelectedItems(file, part).CountRest();
    if (here < missing) {
      missing -= here;
      continue;
    }
    cSelectedItems items(file, part);
    for (std::uint64_t passed = 0; passed + missing < here; ++passed) {
      std::ignore = items.Skip();
    }
    return items.Skip();
  }
  return std::nullopt;
}

cSelectedFollower::cSelectedFollower(cItemFollower& followed, sSelection wanted)
    : follower(followed), selection(std::move(wanted)) {}

sSelectionOutcome cSelectedFollower::Outcome() const {
  return {selected, !selection.IsEverything(), matcher && matcher->IsCrossed()};
}

cSelectedFollower::eStep cSelectedFollower::Step() {
  if (!follower.Next(current.Renew())) {
    return eStep::None;
  }
  const sCaptureItem& item = current.Item();
  if (!matcher) {
    matcher.emplace(selection, item.time);
  }
  const bool isText = item.type == isf::kInformationItem;
  if (isText) {
    current.ApplyText();
  }
  isPastEnd = matcher->IsCrossed() || item.number >= matcher->LastNumber();
  if (matcher->Matches(current)) {
    ++selected;
    return eStep::Selected;
  }
  if (isText && tellPassed) {
    tellPassed(item);
  }
  return eStep::PassedOver;
}

bool cSelectedFollower::Next() {
  for (eStep step = Step(); step != eStep::None; step = Step()) {
    if (step == eStep::Selected) {
      return true;
    }
  }
  return false;
}

}  // namespace corvane
