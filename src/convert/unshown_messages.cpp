#include "convert/unshown_messages.h"

#include "convert/log_lines.h"
#include "describe/names.h"

namespace corvane {

void cUnshownMessages::Add(const sDescription& description, std::string_view reason) {
  sKey key{description.logCode.value_or(0), description.version, std::string(reason)};
  if (Count(key, kMostKept)) {
    return;
  }
  key.reason.clear();
  if (!Count(key, 2 * kMostKept)) {
    ++others;
  }
}

bool cUnshownMessages::Count(const sKey& key, std::size_t most) {
  if (const auto known = counts.find(key); known != counts.end()) {
    ++known->second;
    return true;
  }
  if (counts.size() >= most) {
    return false;
  }
  counts.emplace(key, 1);
  return true;
}

std::vector<std::string> cUnshownMessages::Notes() const {
  std::vector<std::string> notes;
  for (const auto& [key, count] : counts) {
    std::string note =
        CountText(count, "packet is", "packets are") + " not shown: " + LogCodeText(key.logCode);
    if (key.version) {
      note += ", version " + VersionText(key.logCode, *key.version);
    }
    if (!key.reason.empty()) {
      note += ", " + key.reason;
    }
    notes.push_back(std::move(note));
  }
  if (others != 0) {
    notes.push_back(CountText(others, "more packet is", "more packets are") +
                    " not shown, for other reasons");
  }
  return notes;
}

std::string CountText(std::uint64_t count, std::string_view one, std::string_view several) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : several);
}

std::string LogCodeText(std::uint16_t logCode) {
  std::string text = HexText(logCode, 4);
  if (const sLogCodeName* const name = FindLogCode(logCode)) {
    text += " ";
    text += name->name;
  }
  return text;
}

}  // namespace corvane
