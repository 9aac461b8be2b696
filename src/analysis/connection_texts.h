#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

enum class eConnectionChange : std::uint8_t {
  None,
  Begun,    // a connection, or the stream of an import
  Resumed,  // one that was begun already goes on: merged captures go to and fro between them
  Ended,
};

// What a text of the recorder says of connections.
struct sConnectionChange {
  eConnectionChange kind = eConnectionChange::None;
  // Connections are counted from 1. 0 is the one that was there before the file begins: of a
  // capture whose beginning is cut off.
  std::uint64_t connection = 0;
  // The connection that is over because this one began.
  std::optional<std::uint64_t> replaced = {};
};

// Tells which connection the items of a capture belong to, from its texts: "Port COM7 connected",
// "Port COM7 disconnected", "Imported from drive.hdlc", "Merged from drive.isf".
//
// A port that is connected again without a disconnection begins a connection, unless a text of
// another port came in between, or of another capture that was merged with its own: then its
// connection was never gone, and the text only says which one the next items belong to. Of the
// ports that are connected at the same time the newest 16 are known.
class cConnectionTexts {
 public:
  // Takes the next text item of the file.
  [[nodiscard]] sConnectionChange Add(std::string_view text);

  // No text has begun or ended a connection yet: what comes belongs to connection 0.
  [[nodiscard]] bool IsBeforeAll() const { return isBeforeAll; }
  // The connection that the next item belongs to; 0 where there is none.
  [[nodiscard]] std::uint64_t Present() const { return present; }
  // How many began.
  [[nodiscard]] std::uint64_t Count() const { return count; }
  // The port or stream of the latest change, as its text has it.
  [[nodiscard]] const std::string& Port() const { return port; }
  // The latest change was of the stream of an import.
  [[nodiscard]] bool IsImported() const { return imported; }
  // In a merged capture, the one that the next item was in; else empty.
  [[nodiscard]] const std::string& Capture() const { return capture; }

  static constexpr std::size_t kMostOpen = 16;

 private:
  struct sOpen {
    std::string capture;
    std::string port;
    bool imported = false;
    std::uint64_t number = 0;
  };

  [[nodiscard]] sConnectionChange GoTo(std::string_view captureName);
  [[nodiscard]] sConnectionChange Connect();
  [[nodiscard]] sConnectionChange Disconnect();

  std::vector<sOpen> open;  // oldest first
  bool isBeforeAll = true;  // no text has begun or ended a connection yet
  std::uint64_t present = 0;
  std::uint64_t count = 0;
  std::string capture;
  std::string port;
  bool imported = false;
  // Another capture's items follow: its port is told anew, whether it was connected or not.
  bool isToldAnew = false;
};

}  // namespace corvane
