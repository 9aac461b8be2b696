#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <utility>

namespace corvane {

// A map of a bounded size: room for a new value is made by forgetting the one that was looked for
// longest ago. For state that a stream of packets may leave behind without end.
template <typename Key, typename Value>
class cRecentMap {
 public:
  using Entry = std::pair<Key, Value>;

  explicit cRecentMap(std::size_t most) : limit(most) {}

  // Null when there is none. The value stays where it is until it is erased or forgotten.
  [[nodiscard]] Value* Find(const Key& key) {
    const auto found = places.find(key);
    if (found == places.end()) {
      return nullptr;
    }
    values.splice(values.begin(), values, found->second);
    return &found->second->second;
  }

  // Puts `value` in place of the one of this key, if there is one. Returns another one that had to
  // be forgotten.
  std::optional<Entry> Put(const Key& key, Value value) {
    if (Value* const present = Find(key)) {
      *present = std::move(value);
      return std::nullopt;
    }
    values.emplace_front(key, std::move(value));
    places.emplace(key, values.begin());
    if (values.size() <= limit) {
      return std::nullopt;
    }
    std::optional<Entry> forgotten(std::move(values.back()));
    places.erase(forgotten->first);
    values.pop_back();
    return forgotten;
  }

  void Erase(const Key& key) {
    const auto found = places.find(key);
    if (found != places.end()) {
      values.erase(found->second);
      places.erase(found);
    }
  }

  // From the one that was looked for last to the one that would be forgotten first.
  [[nodiscard]] const std::list<Entry>& Entries() const { return values; }

 private:
  std::size_t limit;
  std::list<Entry> values;
  std::map<Key, typename std::list<Entry>::iterator> places;
};

}  // namespace corvane
