#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <span>
#include <vector>

#include "capture/isf/item_types.h"
#include "capture/isf/layout.h"
#include "diag/shared_buffer.h"
#include "ota/dispatcher.h"
#include "ota/sib_assembly.h"
#include "platform/clock.h"
#include "platform/synchronization.h"

namespace corvane {

// The item type that asks AddItem to choose one from the packet's content.
inline constexpr std::uint32_t kAutomaticType = 0xFFFFFFFF;

// What a store calls of others, and where it may differ. The library makes every store with these;
// tests and who writes a file from other sources put in their own.
struct sStoreSeams {
  // Asked once for each item that is recorded, in the order of the file.
  FileTimeClock now = SystemFileTime;
  // Called from inside AddItem with each item of type kSignallingLogItem, once it is in the file.
  LogItemHandler offerLogItem = ProcessOtaLogItem;
  // Whether the events of a report that breaks off midway stay in memory for the life of the
  // process.
  bool keepsBrokenEvents = true;
};

// Writes the capture file, an ISF item store (docs/capture-format.md has its layout).
//
// Results are Win32 error codes (platform/error_codes.h): 0 success, 160 a bad item or argument,
// 9 a missing or failed file or an inconsistent store, 8 no memory for a block, for its place in
// the index, or for the objects that an event report is split into. A report, or an event of one,
// whose bytes alone find no memory is missing from the file, and the result is 0. Nothing is
// printed and nothing is thrown.
//
// After each AddItem every byte of the item is with the operating system: another process can read
// the growing file, and a crash of this one loses nothing that was added.
class cISFStore {
 public:
  explicit cISFStore(sStoreSeams seams = {});
  cISFStore(const cISFStore&) = delete;
  cISFStore& operator=(const cISFStore&) = delete;
  // Closes the file first.
  virtual ~cISFStore();

  // Closes any attached file, then takes over `stream` and writes the file header. A stream that is
  // null or not open is not attached. Takes storeLock.
  void Attach(std::unique_ptr<std::ofstream> stream);

  // Appends one item, stamped with the wall clock. `type` is an item type of capture/isf/layout.h
  // (its low five bits are recorded), or kAutomaticType. An event report is stored as its single
  // events, a get-item response of the debug subsystem is stored together with the packet inside
  // it, and a 0x412F log packet may be followed by rebuilt system-information packets.
  //
  // The caller holds storeLock and keeps `item` alive; with kAutomaticType or a subsystem item's
  // type it holds a counted reference to it too, because the views that look into a packet take and
  // drop one of their own.
  //
  // After a failed write the counters are as before, but part of the item may lie at the end of the
  // file; the stream stays failed, so every later item is refused until another file is attached.
  // The results of the items that are added along with `item` are not reported.
  [[nodiscard]] std::uint32_t AddItem(sSharedBuffer* item, std::uint32_t type);

  // Writes `length` bytes at `position` from the start of the file, in pieces of at most
  // `writeChunk`, and leaves the stream at the end of the file. 160 without a file, bytes or
  // length; 9 when the stream has failed or fails. The caller holds storeLock.
  [[nodiscard]] std::uint32_t WriteAt(std::uint64_t position, const std::uint8_t* bytes,
                                      std::size_t length);

  // Writes the block index and the trailer and closes the file, if there is one; resets the
  // counters in any case. Takes storeLock.
  void Close();

  // The blocks under reassembly of the selected subscription. Only the reassembly of system
  // information uses them, from inside AddItem; they live as long as the store.
  [[nodiscard]] SibAssemblyMap& SibAssemblies() { return sibAssemblies.Selected(); }

  // The items that follow are of this subscription, counted from 1: system information is rebuilt
  // from items of the same one only. A new store begins with 1. The caller holds storeLock.
  void SelectSubscription(std::uint32_t subscription) { sibAssemblies.Select(subscription); }

 private:
  friend struct sStoreCounters;  // through which tests put the counters out of step

  struct sRecorded;

  // Records one item without what follows from it.
  [[nodiscard]] sRecorded Record(sSharedBuffer& item, std::uint32_t type);
  [[nodiscard]] sRecorded RecordChecked(sSharedBuffer& item, std::uint32_t type);
  // Adds the events of a report instead of the report.
  void AddEvents(const sSharedBuffer& report);
  // Appends the record and its directory entry to the newest block.
  [[nodiscard]] std::uint32_t Append(const sSharedBuffer& item, const sItemKind& kind,
                                     std::uint64_t itemTime);
  [[nodiscard]] std::uint32_t StartBlock(std::uint64_t itemTime);
  [[nodiscard]] bool IsConsistent(std::int64_t endOfFile) const;
  [[nodiscard]] std::uint32_t WriteIndexAndTrailer();
  // Puts the parts of a record behind each other. They are good until the next call.
  [[nodiscard]] std::span<const std::uint8_t> JoinRecord(const isf::sStoredRecordHead& head,
                                                         const sSharedBuffer& item);
  // Writes where the stream stands, in pieces of at most `writeChunk`. Whether it failed shows in
  // the stream, if not here then when it is flushed or moved.
  void Write(std::span<const std::uint8_t> bytes);
  // Moves to the end of the file and returns its position; -1 on a failed stream, and when the
  // system cannot tell, which leaves the stream as it is.
  [[nodiscard]] std::int64_t SeekToEnd();

  std::unique_ptr<std::ofstream> file;
  std::uint32_t itemCount = 0;
  std::uint32_t writeChunk = 16384;
  std::vector<isf::sIndexEntry> blockIndex;
  std::uint32_t blockItems = 0;  // items in the newest block
  // The record that is being written, which goes to the system in one piece.
  std::array<std::uint8_t, isf::kLongestRecordHead + kMaxBufferSize> record;
  sLearnedValues learned;  // from the requests; kept from one file to the next
  cSubscriptionAssemblies sibAssemblies;

 public:
  // Guards the file and everything above. Held by the callers of AddItem and WriteAt.
  cLock storeLock{cLock::eCreation::Extended, 5000};

 private:
  const sStoreSeams seams;
};

}  // namespace corvane
