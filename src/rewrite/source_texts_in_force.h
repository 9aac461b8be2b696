#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "capture/isf/layout.h"
#include "convert/source_texts.h"
#include "rewrite/capture_writer.h"

namespace corvane {

// Where the packets of a capture come from at some place in it, and the texts that tell so: the
// capture that they were merged from, the port or the stream, the subscription.
class cTextsInForce {
 public:
  // Takes note of an item; nothing but the texts of sources changes anything.
  void Pass(std::uint32_t type, std::span<const std::uint8_t> packet);

  [[nodiscard]] const sSource& Source() const { return source; }

  // The texts that have to be written in front of an item with these in force, where those of
  // `told` are in force in the new file. `next` is what the item is itself: a text that tells a
  // source anew needs none of the texts that it replaces.
  [[nodiscard]] std::vector<tTextPacket> MissingIn(const cTextsInForce& told,
                                                   eSourceText next) const;

 private:
  sSource source;
  tTextPacket capture;
  tTextPacket port;
  tTextPacket subscription;
};

// What an item is about, if it is a text that tells a source.
[[nodiscard]] eSourceText SourceTextIn(std::uint32_t type, std::span<const std::uint8_t> packet);

// Writes items that do not follow each other in the capture they are from. The texts that tell
// their source are written in front of them, with the time of the item, wherever those that were
// written so far tell another one.
class cSourcedWriter {
 public:
  // `output` is not owned and must outlive the object.
  explicit cSourcedWriter(cCaptureWriter& output) : writer(output) {}

  // Writes an item, in front of which these texts are in force in its own capture. Returns as
  // cCaptureWriter::Add does.
  [[nodiscard]] bool Add(const isf::sRecordHead& head, std::span<const std::uint8_t> packet,
                         const cTextsInForce& inForce);

  // How many texts were written that no item of its own is.
  [[nodiscard]] std::uint64_t Texts() const { return texts; }

 private:
  cCaptureWriter& writer;
  cTextsInForce told;
  std::uint64_t texts = 0;
};

}  // namespace corvane
