#include "analysis/time_line.h"

#include <algorithm>

namespace corvane {
namespace {

[[nodiscard]] bool Reaches(const sTimeLine& line, std::uint64_t time) {
  return time + cTimeLines::kLeap > line.first && time < line.last + cTimeLines::kLeap;
}

// Makes one interval of each two. The first one begins where it did.
void Fold(sTimeLine& line) {
  line.width *= 2;
  const std::size_t size = line.buckets.size();
  for (std::size_t bucket = 1; bucket < size; ++bucket) {
    sTimeBucket& from = line.buckets[bucket];
    if (bucket % 2 == 0) {
      line.buckets[bucket / 2] = from;
    } else {
      line.buckets[bucket / 2].Add(from);
    }
  }
  line.buckets.resize((size + 1) / 2);
}

[[nodiscard]] std::uint32_t Sum(std::uint32_t a, std::uint32_t b) {
  return b > UINT32_MAX - a ? UINT32_MAX : a + b;
}

}  // namespace

void sTimeBucket::Add(const sCaptureItem& item) {
  ++items;
  bytes += item.bytes.size();
  std::uint32_t& ofType = byType[item.type % isf::kItemTypes];
  ofType = Sum(ofType, 1);
}

void sTimeBucket::Add(const sTimeBucket& other) {
  items += other.items;
  bytes += other.bytes;
  for (std::size_t type = 0; type < byType.size(); ++type) {
    byType[type] = Sum(byType[type], other.byType[type]);
  }
}

void cIntervals::Add(const sCaptureItem& item) {
  if (!hasStarted) {
    start = item.time;
    hasStarted = true;
  }
  const std::uint64_t width = widthInMilliseconds;
  const std::int64_t number = item.time >= start
                                  ? static_cast<std::int64_t>((item.time - start) / width)
                                  : -1 - static_cast<std::int64_t>((start - item.time - 1) / width);
  if (kept.empty() || latest->first != number) {
    latest = kept.find(number);
    if (latest == kept.end()) {
      if (kept.size() == kMostIntervals) {
        elsewhere.Add(item);
        latest = kept.begin();
        return;
      }
      latest = kept.emplace(number, sTimeBucket()).first;
    }
  }
  latest->second.Add(item);
}

std::uint64_t cIntervals::StartOf(std::int64_t number) const {
  if (number >= 0) {
    return start + static_cast<std::uint64_t>(number) * widthInMilliseconds;
  }
  const std::uint64_t earlier = static_cast<std::uint64_t>(-number) * widthInMilliseconds;
  return earlier > start ? 0 : start - earlier;
}

std::uint64_t sTimeLine::Items() const {
  std::uint64_t items = 0;
  for (const sTimeBucket& bucket : buckets) {
    items += bucket.items;
  }
  return items;
}

void cTimeLines::Add(const sCaptureItem& item) {
  sTimeLine* const line = FindLine(item.time);
  if (line == nullptr) {
    ++itemsElsewhere;
    return;
  }
  Reach(*line, item.time);
  line->first = std::min(line->first, item.time);
  line->last = std::max(line->last, item.time);
  line->buckets[static_cast<std::size_t>((item.time - line->start) / line->width)].Add(item);
}

sTimeLine* cTimeLines::FindLine(std::uint64_t time) {
  if (latest < lines.size() && Reaches(lines[latest], time)) {
    return &lines[latest];
  }
  const auto found =
      std::ranges::find_if(lines, [time](const sTimeLine& line) { return Reaches(line, time); });
  latest = static_cast<std::size_t>(found - lines.begin());
  if (found == lines.end()) {
    if (lines.size() == kMostLines) {
      return nullptr;
    }
    lines.push_back({time, firstWidth, time, time, {}});
  }
  return &lines[latest];
}

void cTimeLines::Reach(sTimeLine& line, std::uint64_t time) const {
  const auto missing = [&line, time] {
    return time >= line.start ? 0 : (line.start - time - 1) / line.width + 1;
  };
  const auto needed = [&line, time, missing] {
    const std::uint64_t last = time < line.start ? 0 : (time - line.start) / line.width + 1;
    return missing() + std::max<std::uint64_t>(last, line.buckets.size());
  };
  while (needed() > mostBuckets) {
    Fold(line);
  }
  const std::uint64_t total = needed();
  const std::uint64_t inFront = missing();
  // The first interval may have to begin before the first time that there is.
  line.start -= std::min(line.start, inFront * line.width);
  line.buckets.insert(line.buckets.begin(), static_cast<std::size_t>(inFront), sTimeBucket());
  line.buckets.resize(static_cast<std::size_t>(total));
}

}  // namespace corvane
