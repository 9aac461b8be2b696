#include "analysis/gaps.h"

#include <algorithm>

#include "capture/isf/layout.h"

namespace corvane {
namespace {

// A clock that jumps to and fro adds up to more than there is room for.
[[nodiscard]] std::uint64_t Sum(std::uint64_t a, std::uint64_t b) {
  return b > UINT64_MAX - a ? UINT64_MAX : a + b;
}

}  // namespace

void cGaps::Add(const sCaptureItem& item) {
  const sPoint point{item.number, item.time};
  const bool isStep = AddTime(point);
  const bool isText = item.type == isf::kInformationItem;
  if (!isText || !latest || isStep) {
    AddPoint(point, isStep);
  }
  if (isText) {
    NoteText(item);
  }
}

void cGaps::AddPoint(const sPoint& point, bool isStep) {
  if (const std::optional<sGap> gap = isStep ? std::nullopt : GapUntil(point)) {
    ++count;
    total = Sum(total, gap->Length());
    longest = std::max(longest, gap->Length());
    if (gaps.size() < kMostKept) {
      gaps.push_back(*gap);
    }
  }
  if (!latest || isStep || point.time >= latest->time) {
    latest = point;
    hasConnectionChange = false;
  }
}

bool cGaps::AddTime(const sPoint& item) {
  const std::optional<sPoint> before = last;
  last = item;
  if (!before || !latest) {
    return false;
  }
  // Where items are out of order, each is compared with the latest of them.
  const std::uint64_t reference = texts.IsImported() ? latest->time : before->time;
  const std::uint64_t allowed = texts.IsImported() ? kDisorder : 0;
  if (item.time >= reference || reference - item.time <= allowed) {
    return false;
  }
  ++stepCount;
  if (steps.size() < kMostKept) {
    steps.push_back({before->number, item.number, before->time, item.time});
  }
  return true;
}

void cGaps::NoteText(const sCaptureItem& item) {
  const std::optional<std::string> text = isf::LoadTextItem(item.bytes);
  const eConnectionChange kind = text ? texts.Add(*text).kind : eConnectionChange::None;
  if (kind == eConnectionChange::Begun || kind == eConnectionChange::Ended) {
    hasConnectionChange = true;
  }
}

std::optional<sGap> cGaps::GapUntil(const sPoint& item) const {
  if (!latest || item.time <= latest->time || item.time - latest->time <= limitInMilliseconds) {
    return std::nullopt;
  }
  return sGap{latest->number, item.number, latest->time, item.time, hasConnectionChange};
}

std::optional<sGap> cGaps::OpenGap() const { return last ? GapUntil(*last) : std::nullopt; }

std::vector<sGap> cGaps::Kept() const {
  std::vector<sGap> all = gaps;
  if (const std::optional<sGap> gap = OpenGap(); gap && all.size() < kMostKept) {
    all.push_back(*gap);
  }
  return all;
}

std::uint64_t cGaps::Count() const { return count + (OpenGap() ? 1 : 0); }

std::uint64_t cGaps::Total() const {
  const std::optional<sGap> gap = OpenGap();
  return Sum(total, gap ? gap->Length() : 0);
}

std::uint64_t cGaps::Longest() const {
  const std::optional<sGap> gap = OpenGap();
  return std::max(longest, gap ? gap->Length() : 0);
}

}  // namespace corvane
