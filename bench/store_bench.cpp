// The store and the receive path, each beside the calls of the system that its file cannot do
// without: three positioned writes an item, of the time, the packet and the directory's entry. One
// iteration takes a whole load. The files lie in the folder for temporary files.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "bench/load_benchmarks.h"
#include "bench/loads.h"
#include "capture/isf/layout.h"
#include "capture/isf/store.h"
#include "capture/reader_loop.h"
#include "capture/session.h"
#include "diag/hdlc.h"
#include "diag/shared_buffer.h"
#include "platform/error_codes.h"

namespace corvane::bench {
namespace {

// A file of one benchmark, which goes with it. It is cut off when it has become large: the page
// cache is to hold what is written, and the disk is not measured.
class cScratchFile {
 public:
  static constexpr std::uint64_t kLargest = 256 << 20;

  cScratchFile() {
    const int descriptor = mkstemp(path.data());
    if (descriptor == -1) {
      std::perror("mkstemp");
      std::exit(1);
    }
    close(descriptor);
  }
  cScratchFile(const cScratchFile&) = delete;
  cScratchFile& operator=(const cScratchFile&) = delete;
  ~cScratchFile() { std::remove(path.c_str()); }

  [[nodiscard]] const char* Path() const { return path.c_str(); }

 private:
  std::string path = "/tmp/corvane-bench-XXXXXX";
};

// The three writes, at the places where the store puts them.
class cBareWriter {
 public:
  cBareWriter() : descriptor(open(file.Path(), O_WRONLY)) {}
  cBareWriter(const cBareWriter&) = delete;
  cBareWriter& operator=(const cBareWriter&) = delete;
  ~cBareWriter() { close(descriptor); }

  [[nodiscard]] bool Add(std::span<const std::uint8_t> packet) {
    if (items % isf::kItemsPerBlock == 0 && !StartBlock()) {
      return false;
    }
    const std::array<std::uint8_t, 1> time{};
    const std::array<std::uint8_t, isf::kDirectoryEntrySize> entry{};
    const std::uint64_t place = block + items % isf::kItemsPerBlock * isf::kDirectoryEntrySize;
    const bool written = Write(time, end) && Write(packet, end + 1) && Write(entry, place);
    end += 1 + packet.size();
    ++items;
    return written;
  }

 private:
  [[nodiscard]] bool StartBlock() {
    if (end > cScratchFile::kLargest) {
      end = 0;
      if (ftruncate(descriptor, 0) != 0) {
        return false;
      }
    }
    block = end;
    end += isf::kBlockSize;
    static const std::vector<std::uint8_t> zeros(isf::kBlockSize);
    return Write(zeros, block);
  }

  [[nodiscard]] bool Write(std::span<const std::uint8_t> bytes, std::uint64_t position) const {
    return pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(position)) ==
           static_cast<ssize_t>(bytes.size());
  }

  cScratchFile file;
  int descriptor;
  std::uint64_t block = 0;
  std::uint64_t end = 0;
  std::uint64_t items = 0;
};

void BareWrites(benchmark::State& state, const sLoad& load) {
  cBareWriter writer;
  for (auto _ : state) {
    for (const Bytes& packet : load.packets) {
      if (!writer.Add(packet)) {
        state.SkipWithError("a write failed");
        return;
      }
    }
  }
}

// Attaches the file anew when it has become large.
void Attach(cISFStore& store, const cScratchFile& file, std::uint64_t& written) {
  written = 0;
  store.Attach(std::make_unique<std::ofstream>(file.Path(), std::ios::binary | std::ios::trunc));
}

void AddItem(benchmark::State& state, const sLoad& load) {
  std::vector<cBufferReference> packets;
  for (const Bytes& packet : load.packets) {
    packets.emplace_back(MakeBuffer(packet, kOriginDevice));
  }
  const cScratchFile file;
  cISFStore store;
  std::uint64_t written = 0;
  Attach(store, file, written);
  for (auto _ : state) {
    for (const cBufferReference& packet : packets) {
      const std::lock_guard guard(store.storeLock);
      if (store.AddItem(packet.Get(), kAutomaticType) != kErrorSuccess) {
        state.SkipWithError("an item was not stored");
        return;
      }
    }
    written += load.ByteCount();
    if (written > cScratchFile::kLargest) {
      Attach(store, file, written);
    }
  }
}

// No packet of a load asks for traffic.
class cNoTraffic final : public cTraffic {
 public:
  std::unique_ptr<cReaderThread> StartReader(cCaptureSession&) override { return nullptr; }
  void StartDataDelivery(cCaptureSession&) override {}
};

void ReceiveAndStore(benchmark::State& state, const sLoad& load) {
  const Bytes frames = FramesOf(load);
  const cScratchFile file;
  cNoTraffic traffic;
  cCaptureSession session(traffic);
  std::uint64_t written = 0;
  Attach(session, file, written);
  const auto loop = std::make_unique<cReaderLoop>(session);
  for (auto _ : state) {
    for (std::span<const std::uint8_t> stream = frames; !stream.empty();) {
      const std::span<std::uint8_t> room = loop->Room();
      const std::size_t count = std::min(room.size(), stream.size());
      std::copy_n(stream.begin(), count, room.begin());
      stream = stream.subspan(count);
      loop->Received(count);
    }
    written += load.ByteCount();
    if (written > cScratchFile::kLargest) {
      Attach(session, file, written);
    }
  }
}

// What the receive path with its store cannot do without.
void CheckAndBareWrites(benchmark::State& state, const sLoad& load) {
  cBareWriter writer;
  for (auto _ : state) {
    for (const Bytes& packet : load.packets) {
      benchmark::DoNotOptimize(PlainCrc(packet));
      if (!writer.Add(packet)) {
        state.SkipWithError("a write failed");
        return;
      }
    }
  }
}

void RegisterAll() {
  const auto logs = std::make_shared<sLoad>(PlainLoad("200 bytes", 200, 2000));
  Register("AddItem", AddItem, logs);
  Register("BareWrites", BareWrites, logs);
  const auto stream = std::make_shared<sLoad>(StreamLoad());
  Register("ReceiveAndStore", ReceiveAndStore, stream);
  Register("CheckAndBareWrites", CheckAndBareWrites, stream);
  for (const sLoad& made : {PlainLoad("1 byte", 1, 2000), PlainLoad("8 bytes", 8, 2000),
                            PlainLoad("16640 bytes", kMaxBufferSize, 200), EscapedLoad()}) {
    const auto load = std::make_shared<sLoad>(made);
    Register("AddItem", AddItem, load);
    Register("BareWrites", BareWrites, load);
  }
}

}  // namespace
}  // namespace corvane::bench

int main(int argc, char** argv) {
  return corvane::bench::RunBenchmarks(argc, argv, corvane::bench::RegisterAll);
}
