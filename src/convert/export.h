#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "convert/byte_sink.h"
#include "convert/item_fields.h"
#include "reader/capture_file.h"
#include "reader/markers.h"

// Captures in other formats, item by item.
namespace corvane {

enum class eExportFormat : std::uint8_t {
  Pcapng,     // for Wireshark: signalling messages as exported PDUs
  Gsmtap,     // pcap: signalling messages in UDP port 4729
  Hdlc,       // for other DIAG tools: the received packets as a raw stream
  Jsonl,      // a row an item: lines of JSON
  Csv,        // the same as CSV
  Separated,  // a line an item, its fields with a separator between them
};

// Whose times an export has.
enum class eExportClock : std::uint8_t {
  Modem,  // of the packets' own stamps, where they have one that can be right
  Host,   // of the recorder, when it took the item: milliseconds
};

struct sExportOptions {
  // What packets are said to come from that stand before the first connection to a port.
  std::string captureName = "DIAG";
  std::string application;  // what wrote the export: "Corvane 1.2.0"
  eExportClock clock = eExportClock::Modem;
  std::uint32_t leapSeconds = 0;  // how far the modem's clock is ahead of UTC
  // Shows the system-information blocks that the recorder rebuilt too.
  bool keepRebuilt = false;
  // What is shown besides signalling.
  bool events = false;
  bool messages = false;  // debug messages, and the recorder's texts
  bool requests = false;  // requests, replies and packets that are none of the others
  bool raw = false;       // every packet, as it is
  // The fields that rows have, in this order; none: all of them.
  std::vector<const sItemField*> fields;
  std::string separator = "\t";  // between the fields of separated rows
};

// An export under way. The memory it takes does not grow with the number of items.
class cItemExport {
 public:
  cItemExport() = default;
  cItemExport(const cItemExport&) = delete;
  cItemExport& operator=(const cItemExport&) = delete;
  virtual ~cItemExport() = default;

  // Takes the next item of the capture, and writes what the format makes of it. `item` is borrowed
  // for the call.
  virtual void Add(const sCaptureItem& item) = 0;
  // Takes note of a text item that is not exported: it may tell where the packets behind it come
  // from (convert/source_texts.h). `item` is borrowed for the call.
  virtual void Pass(const sCaptureItem& item) = 0;
  // Takes a marker that stands in front of the items behind it, and writes what the format makes of
  // it.
  virtual void Mark(const sMarker& marker) = 0;
  // Writes what was held back. Once, behind the last item.
  virtual void Finish() {}

  // What the user should know about what was written and what was not, a sentence each. `corvane
  // export` prints them at its end.
  [[nodiscard]] virtual std::vector<std::string> Notes() const { return {}; }
};

// Begins an export into `sink`, which is not owned, must outlive it, and is the caller's to flush.
// What the format begins with is written at once. `sink` tells of failures.
[[nodiscard]] std::unique_ptr<cItemExport> MakeExport(eExportFormat format,
                                                      const sExportOptions& options,
                                                      cByteSink& sink);

}  // namespace corvane
