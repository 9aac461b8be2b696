#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/block_chain.h"
#include "reader/byte_source.h"
#include "reader/damage.h"
#include "reader/joined_captures.h"

namespace corvane {

enum class eCaptureState {
  // Closed: block index and trailer are there, and everything agrees.
  Complete,
  // No trailer: the file is still being written, was cut off, or its writer died. Nothing
  // contradicts its items.
  Unclosed,
  // Something is wrong, and Damage() says what. Bad directory entries are passed over; the other
  // items are there to read.
  Damaged,
};

// What is wrong with a file whose first bytes are not those of a capture file.
inline constexpr char kNoCapture[] = "the file does not begin as a capture file does";

// How much is read to judge a file.
enum class eCheck {
  // All of it: of a closed file the head of every record too.
  Records,
  // Header, directories, block index and trailer. A record is looked at only where a directory
  // contradicts itself, so that opening a large file takes moments. The judgement is the same but
  // for what shows in record heads alone: a time that cannot be, a time field of another width than
  // its time needs, a first item that is not at its block's time, an extra field that stands for
  // none.
  Directories,
};

// One item, read back.
struct sCaptureItem {
  std::uint64_t number = 0;            // from 0, in file order, with those passed over counted too
  std::uint64_t time = 0;              // milliseconds since 1601-01-01 UTC
  std::uint32_t type = 0;              // 0 to 31, see capture/isf/layout.h
  std::optional<std::uint32_t> extra;  // the extra field, where the record has one
  std::vector<std::uint8_t> bytes;     // the packet, never empty
  std::uint64_t offset = 0;            // file position of the record
};

// A capture file (docs/capture-format.md), opened for reading.
//
// Opening walks the blocks and judges every directory entry. What is bad it passes over: the next
// entry or block that proves itself goes on with the number that its place gives it. A closed file
// is checked whole, the heads of its records included unless the caller wants less: types, lengths,
// times and gaps have to be those of the recorder's layout. What is inside a packet is not compared
// with its type. A file that another process is writing, or whose recorder died, is read up to the
// newest item whose directory entry is there. Any item can then be read through the directories.
//
// No file content makes it crash, hang, or read outside the file. The items shown lie in the file
// in the order of their numbers and do not overlap. Opening takes time in proportion to the file's
// size, or to the number of its blocks when only directories are checked. Beside buffers of fixed
// size, the memory grows only with the number of blocks that the file really holds. Not for use
// from two threads at once.
class cCaptureFile {
 public:
  // Null, with `error` filled, when the file cannot be opened or does not begin as a capture file
  // does (an empty file included). Anything found wrong later leaves an object whose State() is
  // Damaged.
  [[nodiscard]] static std::unique_ptr<cCaptureFile> Open(const std::string& path,
                                                          sCaptureError& error,
                                                          eCheck check = eCheck::Records);
  [[nodiscard]] static std::unique_ptr<cCaptureFile> Open(std::unique_ptr<cByteSource> source,
                                                          sCaptureError& error,
                                                          eCheck check = eCheck::Records);

  // Takes up what was written since the file was opened or last refreshed, and finds the state
  // anew. Of a file that is not closed it reads the newest directory and what follows, which is
  // cheap enough for a live status line. Of a closed file it reads every directory, each time, and
  // the head of every record when those are checked.
  void Refresh();

  [[nodiscard]] eCaptureState State() const;
  [[nodiscard]] bool IsComplete() const { return State() == eCaptureState::Complete; }
  // What is wrong with the file, in the order in which it was found; nothing unless State() is
  // Damaged.
  [[nodiscard]] const cDamage& AllDamage() const { return damage; }
  // The first of it.
  [[nodiscard]] std::optional<sCaptureError> Damage() const;

  // How many items there are to read, and how many were passed over.
  [[nodiscard]] std::uint64_t ItemCount() const { return chain.ItemCount(); }
  [[nodiscard]] std::uint64_t PassedOver() const { return chain.PassedOver(); }
  // The number of the first item to read from number `from` on; nothing when there is none. Without
  // damage every number below ItemCount() is one.
  [[nodiscard]] std::optional<std::uint64_t> NextItem(std::uint64_t from) {
    if (IsAtHand(from)) {
      return from;
    }
    return FindNextItem(from);
  }
  // The same: moves `number` on to it, and returns whether there is one; without, `number` stays.
  // For what is done for each item: an optional number is stored in parts, and read back as a whole
  // only when both have arrived.
  [[nodiscard]] bool MoveToItem(std::uint64_t& number) {
    if (IsAtHand(number)) {
      return true;
    }
    const std::optional<std::uint64_t> found = FindNextItem(number);
    number = found.value_or(number);
    return found.has_value();
  }
  // The number of the last item to read; nothing when there is none.
  [[nodiscard]] std::optional<std::uint64_t> LastItem();
  // One more than the highest number that an item can have.
  [[nodiscard]] std::uint64_t NumbersEnd() const { return chain.NumbersEnd(); }
  [[nodiscard]] const std::vector<sCaptureBlock>& Blocks() const { return chain.Blocks(); }
  // The size of the file in bytes, with a second capture where there is one.
  [[nodiscard]] std::uint64_t Size() const { return fileSize; }
  // File position behind the last good record.
  [[nodiscard]] std::uint64_t ItemsEnd() const { return chain.End(); }
  // Whether the capture ends in a trailer, also where State() is Damaged.
  [[nodiscard]] bool IsClosed() const { return closed; }
  // File position behind the trailer of a closed capture; more may stand there, which is damage.
  [[nodiscard]] std::uint64_t ClosedEnd() const { return closedEnd; }
  // Where a second capture begins, behind the end of this one, or anywhere in it where it was cut
  // off: files were joined. State() is Damaged then, and the first one is read as if it ended
  // there.
  [[nodiscard]] std::optional<std::uint64_t> SecondCapture() const { return second; }
  // Whether the first of two captures lacks its end.
  [[nodiscard]] bool IsCutOffBySecond() const {
    return second && !closed && (chain.End() < *second || chain.Damage().Count() != 0);
  }
  // Bytes between good records that belong to none.
  [[nodiscard]] std::uint64_t GapBytes() const { return chain.GapBytes(); }
  // Bytes that belong to no good item: those between good records, and, in a file that is not
  // complete, whatever follows the last good record.
  [[nodiscard]] std::uint64_t UnclaimedBytes() const;

  // Reads the directory of block `block` of Blocks(), with its good entries as they were judged.
  // False when it cannot be read.
  [[nodiscard]] bool LoadBlock(std::size_t block, sLoadedDirectory& into) {
    return chain.LoadDirectory(block, into);
  }

  // The items by their types, from the directories alone.
  [[nodiscard]] const TypeTotals& TotalsByType() const { return chain.Types(); }

  // The type of item `number`, from its directory alone; nothing where there is no such item to
  // read.
  [[nodiscard]] std::optional<std::uint32_t> TypeOf(std::uint64_t number) {
    if (!IsAtHand(number) && FindNextItem(number) != number) {
      return std::nullopt;
    }
    return EntryAtHand(number).Type();
  }

  // Reads the time of item `number`, in milliseconds since 1601-01-01 UTC, and of its record no
  // more than the head. Returns what went wrong, or nothing.
  [[nodiscard]] std::optional<sCaptureError> ReadTime(std::uint64_t number, std::uint64_t& time);

  // Reads item `number` into `item`, whose memory is reused. Returns what went wrong, or nothing;
  // after an error the content of `item` means nothing. Reading in ascending order is fastest.
  [[nodiscard]] std::optional<sCaptureError> ReadItem(std::uint64_t number, sCaptureItem& item);

 private:
  // Whether the loaded directory has item `number`, which is so for most when they are read in
  // order: what is done for each item of a large file looks no further.
  [[nodiscard]] bool IsAtHand(std::uint64_t number) const {
    const std::uint64_t place = number - firstAtHand;
    return place < directory.good.size() && directory.good[static_cast<std::size_t>(place)];
  }
  [[nodiscard]] isf::sDirectoryEntry EntryAtHand(std::uint64_t number) const {
    return EntryAt(directory.bytes, static_cast<std::uint32_t>(number - firstAtHand));
  }

  cCaptureFile(std::unique_ptr<cByteSource> bytes, eCheck check);

  [[nodiscard]] std::optional<std::uint64_t> FindNextItem(std::uint64_t from);

  // What is wrong in the same way at two looks in a row.
  [[nodiscard]] cDamage FindSettledDamage();
  [[nodiscard]] cDamage FindDamage();
  // Once `damage` is known: whether a second capture is worth looking for, and where it begins.
  [[nodiscard]] bool MayHoldSecond() const;
  [[nodiscard]] std::optional<std::uint64_t> FindSecondCapture();
  // Looks at what follows the last record of `chain`, and finds out whether the file is closed.
  // Returns what is wrong beside what `chain` says.
  //
  // A file that just stops, with no trailer behind its last record, is not closed and good: its
  // recorder may be at work, or may have died. A closed file is held to the recorder's layout, in
  // its trailer, its block index and the entry and head of each record.
  [[nodiscard]] cDamage CheckClosing();
  // The block that holds item `number`, or the first one behind it.
  [[nodiscard]] std::size_t FindBlock(std::uint64_t number) const;
  [[nodiscard]] bool LoadDirectory(std::size_t block);
  void ForgetDirectory();
  // Has item `number` at hand. Returns why it cannot be read, or nothing.
  [[nodiscard]] std::optional<sCaptureError> FindItem(std::uint64_t number);
  [[nodiscard]] std::optional<sCaptureError> LoadDirectoryOf(std::uint64_t number);

  cFirstCaptureBytes source;
  eCheck check;
  cBlockChain chain;
  std::uint64_t fileSize = 0;
  std::uint64_t size = 0;  // of this capture, as far as there is no second one
  bool closed = false;
  std::uint64_t closedEnd = 0;
  std::optional<std::uint64_t> second;
  bool lookedWithin = false;  // for a second capture in a first one that was cut off
  cDamage damage;

  // The directory that items were last read through, its block, and the number of its first item.
  // Without one it has no good entries.
  sLoadedDirectory directory;
  std::optional<std::size_t> directoryBlock;
  std::uint64_t firstAtHand = 0;
  cByteWindow records;
};

}  // namespace corvane
