#include "capture/store_fixture.h"

#include <iterator>
#include <mutex>
#include <string>
#include <utility>

#include "support/controllable_clock.h"

namespace corvane {

sStoreCounters::sStoreCounters(cISFStore& owner)
    : itemCount(owner.itemCount), blockItems(owner.blockItems), store(owner) {}

std::size_t sStoreCounters::Blocks() const { return store.blockIndex.size(); }

void sStoreCounters::PutBlocksBeforeTheNewest(std::size_t count) {
  const auto newest = store.blockIndex.back();
  store.blockIndex.pop_back();
  for (std::size_t i = 0; i < count; ++i) {
    store.blockIndex.push_back({i, 2 * i});
  }
  store.blockIndex.push_back(newest);
}

void sStoreCounters::DropBlocks() { store.blockIndex.clear(); }

ByteVector Packet(std::initializer_list<std::uint8_t> start, std::size_t size) {
  ByteVector packet(start);
  packet.resize(size);
  return packet;
}

ByteVector LogPacket(std::uint16_t logCode, std::size_t size) {
  ByteVector packet = Packet({0x10}, size);
  packet.at(6) = static_cast<std::uint8_t>(logCode % 256);
  packet.at(7) = static_cast<std::uint8_t>(logCode / 256);
  return packet;
}

ByteVector ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

cStoreTest::cStoreTest(LogItemHandler offerLogItem) : store({ControllableFileTime, offerLogItem}) {
  SetFileTime(kClockStart);
  Attach(kFileName);
}

std::unique_ptr<std::ofstream> cStoreTest::Create(const char* name) const {
  auto file =
      std::make_unique<std::ofstream>(scratch.Path(name), std::ios::binary | std::ios::trunc);
  EXPECT_TRUE(file->is_open());
  return file;
}

void cStoreTest::Attach(const char* name) {
  auto file = Create(name);
  stream = file.get();
  store.Attach(std::move(file));
}

void cStoreTest::StartAnew() {
  store.Close();
  Attach(kFileName);
}

cFailingFile& cStoreTest::Intercept(std::ofstream& between) {
  interceptors.push_back(std::make_unique<cFailingFile>(between));
  return *interceptors.back();
}

std::uint32_t cStoreTest::Add(const ByteVector& packet, std::uint32_t type, std::uint32_t origin) {
  const cBufferReference item(std::make_unique<sSharedBuffer>(
      packet.data(), static_cast<std::int32_t>(packet.size()), origin));
  const std::lock_guard guard(store.storeLock);
  const std::uint32_t result = store.AddItem(item.Get(), type);
  EXPECT_EQ(item->refCount, 1U) << "the store must give back what it took";
  return result;
}

}  // namespace corvane
