#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ota/bit_cursor.h"
#include "ota/bits.h"

namespace corvane {
namespace {

// A page of zeros with nothing behind it that could be read or written.
class cLastPage {
 public:
  cLastPage()
      : size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        pages(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
  }
  ~cLastPage() { munmap(pages, 2 * size); }
  cLastPage(const cLastPage&) = delete;
  cLastPage& operator=(const cLastPage&) = delete;

  [[nodiscard]] bool Close() const {
    return pages != MAP_FAILED && mprotect(End(), size, PROT_NONE) == 0;
  }
  [[nodiscard]] std::uint8_t* End() const { return static_cast<std::uint8_t*>(pages) + size; }

 private:
  std::size_t size;
  void* pages;
};

TEST(CopyBits, TouchesNoByteBehindTheSourceOrTheTarget) {
  const ByteVector sent = BytesOf(Pattern(160, 3));
  const cLastPage source;
  const cLastPage target;
  ASSERT_TRUE(source.Close() && target.Close());
  for (std::uint32_t from = 0; from < 8; ++from) {
    for (std::uint32_t to = 0; to < 8; ++to) {
      for (std::uint32_t count = 0; count <= 150; ++count) {
        const std::uint32_t sourceSize = (from + count + 7) / 8;
        const std::uint32_t targetSize = (to + count + 7) / 8;
        std::copy_n(sent.begin(), sourceSize, source.End() - sourceSize);
        std::fill_n(target.End() - targetSize, targetSize, std::uint8_t{0});
        sBitReader reader{.data = source.End() - sourceSize,
                          .position = from,
                          .bitCount = 8 * sourceSize,
                          .bitOrder = kMostSignificantBitFirst};
        sBitWriter writer{.data = target.End() - targetSize,
                          .position = to,
                          .length = 0,
                          .capacity = 8 * targetSize,
                          .bitOrder = kMostSignificantBitFirst};
        ASSERT_TRUE(CopyBits(reader, writer, count));
        const Bits copied = BitsOf({target.End() - targetSize, target.End()});
        ASSERT_EQ(copied.substr(to, count), BitsOf(sent).substr(from, count));
      }
    }
  }
}

}  // namespace
}  // namespace corvane
