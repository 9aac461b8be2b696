#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "describe/description.h"

namespace corvane {

// Counts the packets of logs that carry signalling, and whose message an export could not show: by
// log code, version of the layout and reason. Logs that carry no signalling are not meant.
class cUnshownMessages {
 public:
  // Beyond so many, packets are counted by log code and version alone; beyond as many of these,
  // together.
  static constexpr std::size_t kMostKept = 100;

  void Add(const sDescription& description, std::string_view reason);

  // A sentence for each: "12 packets are not shown: 0xB821 NR RRC OTA packet, version 8, channel
  // 25".
  [[nodiscard]] std::vector<std::string> Notes() const;

 private:
  struct sKey {
    std::uint16_t logCode = 0;
    std::optional<std::uint32_t> version;
    std::string reason;

    friend auto operator<=>(const sKey&, const sKey&) = default;
  };

  // False when there is no room for another key: `most` are there.
  [[nodiscard]] bool Count(const sKey& key, std::size_t most);

  std::map<sKey, std::uint64_t> counts;
  std::uint64_t others = 0;
};

// "1 packet is", "12 packets are".
[[nodiscard]] std::string CountText(std::uint64_t count, std::string_view one,
                                    std::string_view several);

// "0xB0C0 LTE RRC OTA packet"; without a name where there is none.
[[nodiscard]] std::string LogCodeText(std::uint16_t logCode);

}  // namespace corvane
