#include "capture/isf/store.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <new>
#include <tuple>
#include <utility>

#include "capture/isf/event_report.h"
#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "platform/error_codes.h"

namespace corvane {

// What became of one item.
struct cISFStore::sRecorded {
  std::uint32_t result = kErrorSuccess;
  std::uint32_t type = kAutomaticType;  // the type it was recorded with, if it was
  std::uint64_t fileTime = 0;
};

namespace {

// A directory entry has 16 bits for the length of a packet, and 32 for its position behind the
// block: a block full of the longest records stays far below that.
static_assert(kMaxBufferSize <= std::numeric_limits<std::uint16_t>::max());
static_assert(kMaxBufferSize == isf::kLongestPacket);
static_assert(std::uint64_t{isf::kItemsPerBlock} * (isf::kLongestRecordHead + kMaxBufferSize) <=
              std::numeric_limits<std::uint32_t>::max());

// Puts rebuilt packets into the store that offered the item: the caller of AddItem holds its lock.
class cRebuiltPackets final : public cRebuiltPacketSink {
 public:
  explicit cRebuiltPackets(cISFStore& offering) : store(offering) {}

  // A block that could not be written is missing from the file; the ones after it are tried.
  void AddRebuiltPacket(OwnedBuffer packet) override {
    const cBufferReference held(std::move(packet));
    std::ignore = store.AddItem(held.Get(), kAutomaticType);
  }

 private:
  cISFStore& store;
};

}  // namespace

cISFStore::cISFStore(sStoreSeams calls) : seams(std::move(calls)) {}

cISFStore::~cISFStore() { Close(); }

void cISFStore::Attach(std::unique_ptr<std::ofstream> stream) {
  Close();
  const std::lock_guard guard(storeLock);
  if (stream == nullptr || !stream->is_open()) {
    return;
  }
  file = std::move(stream);
  // Failures are seen in the stream's state; none may leave the store as an exception.
  file->exceptions(std::ios::goodbit);
  const auto header = isf::StoreHeader();
  // A header that cannot be written leaves the stream failed, so that every item is refused.
  std::ignore = WriteAt(0, header.data(), header.size());
}

void cISFStore::Close() {
  const std::lock_guard guard(storeLock);
  if (file != nullptr) {
    // On a failed stream nothing is written: the file ends without index and trailer.
    std::ignore = WriteIndexAndTrailer();
    file.reset();
  }
  blockItems = 0;
  blockIndex.clear();
  itemCount = 0;
}

std::uint32_t cISFStore::WriteIndexAndTrailer() {
  auto position = static_cast<std::uint64_t>(SeekToEnd());
  for (const isf::sIndexEntry& block : blockIndex) {
    const auto entry = isf::StoreIndexEntry(block);
    const std::uint32_t error = WriteAt(position, entry.data(), entry.size());
    if (error != kErrorSuccess) {
      return error;
    }
    position += entry.size();
  }
  const auto trailer = isf::StoreTrailer({.itemCount = itemCount});
  return WriteAt(position, trailer.data(), trailer.size());
}

std::uint32_t cISFStore::WriteAt(std::uint64_t position, const std::uint8_t* bytes,
                                 std::size_t length) {
  if (file == nullptr || bytes == nullptr || length == 0) {
    return kErrorBadArguments;
  }
  file->seekp(static_cast<std::streamoff>(position), std::ios::beg);
  Write({bytes, length});
  // Leaving the place also hands what the stream still holds to the operating system, so a write
  // that fails there shows before the next look at the state.
  file->seekp(0, std::ios::end);
  return *file ? kErrorSuccess : kErrorInvalidBlock;
}

void cISFStore::Write(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto piece = bytes.first(std::min<std::size_t>(bytes.size(), writeChunk));
    // The one place where the file's bytes become the stream's characters.
    file->write(reinterpret_cast<const char*>(piece.data()),
                static_cast<std::streamsize>(piece.size()));
    bytes = bytes.subspan(piece.size());
  }
}

std::int64_t cISFStore::SeekToEnd() {
  if (file->fail()) {
    return -1;
  }
  // Of the stream's buffer, because seekp tells no position and tellp would ask the system again.
  // The file stream's own rdbuf() would pass by a buffer that was put in the place of its own.
  const std::ios& stream = *file;
  return stream.rdbuf()->pubseekoff(0, std::ios::end, std::ios::out);
}

std::uint32_t cISFStore::AddItem(sSharedBuffer* item, std::uint32_t type) {
  if (!IsUsable(item)) {
    return kErrorBadArguments;
  }
  sRecorded recorded = Record(*item, type);
  const std::uint32_t result = recorded.result;
  // A get-item response can hold a get-item response, more than a thousand deep in one packet: they
  // are unwrapped in turn, so that no packet can exhaust the thread's stack.
  cBufferReference unwrapped;
  while (recorded.result == kErrorSuccess) {
    if (recorded.type == isf::kSignallingLogItem) {
      cRebuiltPackets rebuilt(*this);
      seams.offerLogItem(SibAssemblies(), *item, recorded.fileTime, rebuilt);
    }
    if (recorded.type != isf::kSubsystemItem) {
      break;
    }
    unwrapped = UnwrapGetItemResponse(*item);
    if (!IsUsable(unwrapped.Get())) {
      break;
    }
    item = unwrapped.Get();
    recorded = Record(*item, kAutomaticType);
  }
  return result;
}

cISFStore::sRecorded cISFStore::Record(sSharedBuffer& item, std::uint32_t type) {
  try {
    return RecordChecked(item, type);
  } catch (const std::bad_alloc&) {
    return {kErrorNotEnoughMemory};
  }
}

cISFStore::sRecorded cISFStore::RecordChecked(sSharedBuffer& item, std::uint32_t type) {
  sItemKind kind{type};
  if (type == kAutomaticType) {
    if (item.data[0] > command::kLast) {
      return {kErrorBadArguments};
    }
    if (IsEventReport(item)) {
      AddEvents(item);
      return {};
    }
    kind = ChooseItemKind(item, learned);
  }
  learned.LearnFrom(item);

  const std::uint64_t fileTime = seams.now();
  const std::uint64_t itemTime = fileTime / isf::kFileTimeUnitsPerMillisecond;
  if (file == nullptr) {
    return {kErrorInvalidBlock};
  }
  if (blockItems % isf::kItemsPerBlock == 0) {
    const std::uint32_t error = StartBlock(itemTime);
    if (error != kErrorSuccess) {
      return {error};
    }
  }
  const std::uint32_t error = Append(item, kind, itemTime);
  if (error != kErrorSuccess) {
    return {error};
  }
  ++blockItems;
  ++itemCount;
  return {kErrorSuccess, kind.type, fileTime};
}

void cISFStore::AddEvents(const sSharedBuffer& report) {
  const cBufferReference copy(MakeBuffer(report.Bytes(), report.origin));
  if (!copy) {
    throw std::bad_alloc();
  }
  sDiagBuffer view(copy.Get());
  std::vector<cBufferReference> events;
  if (!SplitEventReport(view, events)) {
    // Of a report that breaks off midway nothing is recorded, and the library lets the events
    // before the break go without a release: a broken report costs their memory for the life of the
    // process.
    if (seams.keepsBrokenEvents) {
      for (cBufferReference& event : events) {
        std::ignore = event.Detach();
      }
    }
    return;
  }
  for (cBufferReference& event : events) {
    std::ignore = AddItem(event.Get(), isf::kEventItem);
    event = {};
  }
}

std::uint32_t cISFStore::StartBlock(std::uint64_t itemTime) {
  const auto position = static_cast<std::uint64_t>(SeekToEnd());
  std::vector<std::uint8_t> block(isf::kBlockSize);
  const auto tail = isf::StoreBlockTail({.baseTime = itemTime});
  std::copy(tail.begin(), tail.end(), block.begin() + isf::kDirectorySize);
  // Room in the index is found before anything is written: no block may be missing from it.
  if (blockIndex.size() == blockIndex.capacity()) {
    blockIndex.reserve(2 * blockIndex.size() + 1);
  }

  std::uint32_t error = WriteAt(position, block.data(), block.size());
  if (error != kErrorSuccess) {
    return error;
  }
  if (!blockIndex.empty()) {
    const auto nextBlock = isf::StoreNextBlock(position);
    error = WriteAt(blockIndex.back().blockOffset + isf::kNextBlockOffset, nextBlock.data(),
                    nextBlock.size());
    if (error != kErrorSuccess) {
      return error;
    }
  }
  blockIndex.push_back({position, itemTime});
  blockItems = 0;
  return kErrorSuccess;
}

bool cISFStore::IsConsistent(std::int64_t endOfFile) const {
  if (blockIndex.empty()) {
    return false;
  }
  const auto blocks = static_cast<std::uint32_t>(blockIndex.size());
  if (itemCount != blocks * isf::kItemsPerBlock + blockItems - isf::kItemsPerBlock) {
    return false;
  }
  const std::uint64_t blockEnd = blockIndex.back().blockOffset + isf::kBlockSize;
  return endOfFile >= static_cast<std::int64_t>(blockEnd);
}

std::uint32_t cISFStore::Append(const sSharedBuffer& item, const sItemKind& kind,
                                std::uint64_t itemTime) {
  const std::int64_t end = SeekToEnd();
  if (!IsConsistent(end)) {
    return kErrorInvalidBlock;
  }
  const isf::sIndexEntry& block = blockIndex.back();
  const isf::sStoredRecordHead head =
      isf::StoreRecordHead({kind.type, itemTime, kind.extra}, block.baseTime);
  const std::uint64_t blockEnd = block.blockOffset + isf::kBlockSize;
  const auto position = static_cast<std::uint32_t>(static_cast<std::uint64_t>(end) - blockEnd);
  const auto entry =
      isf::StoreDirectoryEntry({head.flags, position, static_cast<std::uint16_t>(item.size)});
  const std::uint64_t entryPosition =
      block.blockOffset + blockItems * std::uint64_t{isf::kDirectoryEntrySize};

  // Two writes and two seeks are what the item costs: each is a call of the system. The stream
  // stands at the end already, and is left behind the entry.
  Write(JoinRecord(head, item));
  file->seekp(static_cast<std::streamoff>(entryPosition), std::ios::beg);
  Write(entry);
  file->flush();
  return *file ? kErrorSuccess : kErrorInvalidBlock;
}

std::span<const std::uint8_t> cISFStore::JoinRecord(const isf::sStoredRecordHead& head,
                                                    const sSharedBuffer& item) {
  const auto packet = std::copy_n(head.bytes.begin(), head.size, record.begin());
  const auto end = std::copy_n(item.data, item.size, packet);
  return {record.begin(), end};
}

}  // namespace corvane
