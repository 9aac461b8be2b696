#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

// Whether the disk of a growing capture still takes what the device sends.
namespace corvane::tools {

enum class eDiskRoom {
  Enough,
  Scarce,  // too little for a block of the capture; what there is takes items yet
  None,    // something could not be written, or nothing can be
};

// The file at one moment.
struct sDiskLook {
  std::string path;
  std::chrono::milliseconds elapsed{};     // since the start of the capture
  std::uint64_t fileItems = 0;             // in the file
  std::uint64_t bytes = 0;                 // in all files of the capture
  bool isConnected = false;                // the device
  std::optional<std::uint64_t> freeSpace;  // nothing where the system does not tell
  std::uint64_t unwritten = 0;             // packets, as far as the library said
};

class cDiskRoom {
 public:
  struct sNews {
    std::optional<std::string> warning;  // something is wrong
    std::optional<std::string> relief;   // it is over
  };
  // Returns what the user should know that the look before did not tell.
  [[nodiscard]] sNews Look(const sDiskLook& look);

  [[nodiscard]] eDiskRoom Room() const { return room; }
  // Whether it was None at any time.
  [[nodiscard]] bool WasNone() const { return wasNone; }

 private:
  [[nodiscard]] sNews Lose(const sDiskLook& look, std::string warning);

  eDiskRoom room = eDiskRoom::Enough;
  bool wasNone = false;
  std::uint64_t unwritten = 0;  // at the last look
  std::uint64_t bytes = 0;
  std::uint64_t bytesWhenLost = 0;
  std::chrono::milliseconds grown{};  // when the capture was last seen to have grown
};

}  // namespace corvane::tools
