#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "analysis/connection_texts.h"
#include "reader/capture_file.h"

namespace corvane {

enum class eConnectionEnd : std::uint8_t {
  Open,          // until the end of the file
  Disconnected,  // the port went away
  Replaced,      // its port was connected again, without a disconnection
};

// A connection to a modem, or the stream that a capture was imported from.
struct sConnection {
  std::uint64_t number = 0;   // counted from 1; 0 for the one that was there before the file begins
  std::string port;           // "COM7", or the stream's name; empty where no text tells it
  std::string capture;        // in a merged capture, the one that it was in; else empty
  bool imported = false;      // the stream of an import
  bool hasBeginning = false;  // false: the file begins in the midst of it
  // What its texts and its packets' wrappers tell, in the order in which they were seen first.
  std::vector<std::uint32_t> subscriptions;
  // Item numbers and times (milliseconds since 1601-01-01 UTC) of its first and last item. The
  // texts that begin and end it are its own.
  std::uint64_t firstItem = 0;
  std::uint64_t lastItem = 0;
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::uint64_t items = 0;
  eConnectionEnd howEnded = eConnectionEnd::Open;

  // Milliseconds; 0 where the clock was set back past its start.
  [[nodiscard]] std::uint64_t Length() const { return end > start ? end - start : 0; }
};

// The connections of a capture, gathered item by item, in constant memory.
class cConnections {
 public:
  // Items come in file order.
  void Add(const sCaptureItem& item);
  // A text of the recorder that is none of the items: it may begin or end a connection, but is not
  // counted.
  void Pass(const sCaptureItem& text);

  // The first kMostConnections, in the order of their beginnings.
  [[nodiscard]] const std::vector<sConnection>& Kept() const { return kept; }
  // How many there are, and how many of them are not kept.
  [[nodiscard]] std::uint64_t Count() const { return kept.size() + others; }
  [[nodiscard]] std::uint64_t Others() const { return others; }
  // How many items belong to no connection: texts before the first, and what came behind a
  // disconnection.
  [[nodiscard]] std::uint64_t ItemsOutside() const { return itemsOutside; }

  static constexpr std::size_t kMostConnections = 1000;
  static constexpr std::size_t kMostSubscriptions = 16;

 private:
  void AddText(const sCaptureItem& item);
  void End(const sCaptureItem& item, std::uint64_t number);
  void Begin(const sCaptureItem& item, std::uint64_t number);
  // Counts the item for a connection; null for none.
  void Count(const sCaptureItem& item, sConnection* connection);
  // Null for one that is not kept, and for the absence of any.
  [[nodiscard]] sConnection* Find(std::uint64_t number);
  [[nodiscard]] sConnection* Present();

  cConnectionTexts texts;
  std::vector<sConnection> kept;
  std::uint64_t others = 0;
  std::uint64_t itemsOutside = 0;
  std::uint64_t weight = 1;  // what an item counts: 0 for one that is passed
};

}  // namespace corvane
