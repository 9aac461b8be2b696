#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace corvane {

// The times of the items that an imported stream becomes, from the DIAG timestamps of its packets.
// Times are FILETIME values: units of 100 ns since 1601-01-01 00:00:00 UTC.
//
// A stamp is kept as it is, also where it goes backwards. One that lies more than a day away both
// from the last stamp that was kept and from the next one is nonsense, and its item takes the time
// of the item before it, as one without a stamp does. The first and the last stamp of a stream have
// only one neighbour, and are kept. A stamp that no time of this age can have
// (describe/diag_time.h) is nonsense in any case, and no neighbour of others. Items in front of the
// first stamp take the time of that.
//
// A time that waits for a stamp behind it can be had at once with DecideAll: how much is kept in
// memory while it waits is the caller's to bound.
class cItemTimes {
 public:
  // The time of items where no stamp tells one: 1980-01-06 00:00:00 UTC, at which the clock of a
  // modem starts that does not know the time.
  [[nodiscard]] static std::uint64_t Unknown();

  // The next item: its DIAG timestamp, or nothing.
  void Add(std::optional<std::uint64_t> diagTimestamp);

  // Decides every time without waiting for more stamps: a stamp that waits for its second neighbour
  // is kept, and items that wait for the first stamp take the time Unknown(). To be called at the
  // end of the stream, and possible at any time before.
  void DecideAll();

  // How many times are decided and not taken yet.
  [[nodiscard]] std::size_t Decided() const { return decided.size(); }
  // The next item's time; there must be one.
  [[nodiscard]] std::uint64_t Take();

  // How many items, of those whose times are decided, had a nonsensical stamp.
  [[nodiscard]] std::uint64_t Nonsensical() const { return nonsensical; }
  // How many items had no stamp.
  [[nodiscard]] std::uint64_t Unstamped() const { return unstamped; }
  // How many items, with a stamp or without, had to take the time Unknown().
  [[nodiscard]] std::uint64_t Undated() const { return undated; }

 private:
  void AddWithoutTime();
  void AddTime(std::uint64_t time);
  // Decides the stamp in doubt, and what waits behind it.
  void Settle(bool isKept);
  void Decide(std::uint64_t time, std::size_t items);

  std::deque<std::uint64_t> decided;
  std::optional<std::uint64_t> lastKept;  // the newest stamp that was kept
  std::optional<std::uint64_t> lastTime;  // of the newest item whose time is decided
  // The stamp that is far from `lastKept`, and may have the next one as its neighbour.
  std::optional<std::uint64_t> inDoubt;
  std::size_t waiting = 0;  // items without a time of their own, behind `inDoubt` or at the start

  std::uint64_t nonsensical = 0;
  std::uint64_t unstamped = 0;
  std::uint64_t undated = 0;
};

}  // namespace corvane
