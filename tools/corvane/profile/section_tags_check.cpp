#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/profile/section_checks.h"
#include "filters/configuration_text.h"

namespace corvane::tools {
namespace {

constexpr std::array<std::string_view, 5> kSections = {
    kLogCodesSection, kEventIdsSection, kMessageLevelsSection, kOtaTypesSection, kMultiSimSection};

// What a reader of the text takes for a tag: "<LogCodes>", and "< /log codes >" too.
struct sTag {
  std::string_view text;  // from "<" to ">", or to the end of the name where there is no ">"
  std::string_view name;  // without blanks at its ends
  bool isClosing = false;
  bool isComplete = false;  // with its ">"
};

constexpr std::size_t kLongestTag = 64;
constexpr std::string_view kNameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_- \t\r\n";

// The tag that begins with the "<" at the front of `text`. None when no name follows.
[[nodiscard]] std::optional<sTag> TagAt(std::string_view text) {
  text = text.substr(0, kLongestTag);
  std::size_t place = std::min(text.find_first_not_of(kWhiteSpace, 1), text.size());
  sTag tag;
  if (text.substr(place).starts_with('/')) {
    tag.isClosing = true;
    ++place;
  }
  const std::size_t end = std::min(text.find_first_not_of(kNameCharacters, place), text.size());
  tag.name = Trimmed(text.substr(place, end - place));
  if (tag.name.empty()) {
    return std::nullopt;
  }
  tag.isComplete = text.substr(end).starts_with('>');
  if (!tag.isComplete) {
    // Its first word may be the name: "<LogCodes 412F".
    tag.name = tag.name.substr(0, tag.name.find_first_of(kWhiteSpace));
  }
  const auto nameEnd = static_cast<std::size_t>(tag.name.data() + tag.name.size() - text.data());
  tag.text = text.substr(0, tag.isComplete ? end + 1 : nameEnd);
  return tag;
}

// Letters and digits alone, the letters small.
[[nodiscard]] std::string Plain(std::string_view name) {
  std::string plain;
  for (const char character : name) {
    if (character >= 'A' && character <= 'Z') {
      plain += static_cast<char>(character - 'A' + 'a');
    } else if ((character >= 'a' && character <= 'z') || (character >= '0' && character <= '9')) {
      plain += character;
    }
  }
  return plain;
}

// How many characters have to be changed, put in or left out to make one word of the other.
[[nodiscard]] std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t column = 0; column <= b.size(); ++column) {
    row[column] = column;
  }
  for (std::size_t line = 1; line <= a.size(); ++line) {
    std::size_t diagonal = std::exchange(row[0], line);
    for (std::size_t column = 1; column <= b.size(); ++column) {
      const std::size_t changed = diagonal + (a[line - 1] == b[column - 1] ? 0 : 1);
      diagonal = row[column];
      row[column] = std::min({changed, row[column] + 1, row[column - 1] + 1});
    }
  }
  return row[b.size()];
}

// The section that a name is taken for although the library does not know it. Empty for none.
[[nodiscard]] std::string_view NearestSection(std::string_view name) {
  const std::string plain = Plain(name);
  std::string_view nearest;
  std::size_t least = 3;  // no word of the language is that near
  for (const std::string_view section : kSections) {
    if (plain.size() > section.size() + least || section.size() > plain.size() + least) {
      continue;
    }
    const std::size_t distance = EditDistance(plain, Plain(section));
    if (distance < least) {
      least = distance;
      nearest = section;
    }
  }
  return nearest;
}

// The section that somebody may have meant who made up a name of his own.
[[nodiscard]] std::string_view SectionAbout(std::string_view name) {
  struct sHint {
    std::string_view part, section;
  };
  constexpr sHint kHints[] = {{"event", kEventIdsSection},      {"mess", kMessageLevelsSection},
                              {"level", kMessageLevelsSection}, {"ssid", kMessageLevelsSection},
                              {"sim", kMultiSimSection},        {"ota", kOtaTypesSection},
                              {"log", kLogCodesSection},        {"code", kLogCodesSection}};
  const std::string plain = Plain(name);
  for (const sHint& hint : kHints) {
    if (plain.find(hint.part) != std::string::npos) {
      return hint.section;
    }
  }
  return {};
}

// The bodies of a section that the library reads, and where its reading ends for good.
struct sSection {
  std::string_view name;
  std::vector<std::string_view> bodies;
  const char* strayClosing = nullptr;  // a closing tag that ended it
  bool isUnreadOpen = false;           // an opening tag was told not to be read, and is not closed
};

class cTagsCheck {
 public:
  cTagsCheck(std::string_view configuration, cProfileWarnings& collector)
      : text(configuration), warnings(collector) {
    for (const std::string_view name : kSections) {
      sections.push_back({name, FindSectionBodies(text, name)});
    }
  }

  void Run() {
    CheckComments();
    CheckTagless();
    for (std::size_t place = text.find('<'); place != std::string_view::npos;
         place = text.find('<', place + 1)) {
      const std::optional<sTag> tag = TagAt(text.substr(place));
      if (!tag) {
        continue;
      }
      const auto section = std::find_if(sections.begin(), sections.end(),
                                        [&tag](sSection& one) { return one.name == tag->name; });
      if (section != sections.end() && IsExact(*tag)) {
        CheckKnown(*tag, *section);
      } else {
        CheckUnknown(*tag);
      }
    }
  }

 private:
  // As the library matches it: byte for byte.
  [[nodiscard]] static bool IsExact(const sTag& tag) {
    return tag.isComplete && tag.text.size() == tag.name.size() + (tag.isClosing ? 3 : 2);
  }

  // The first body of a section that ends at `place` or behind it; the bodies' end when there is
  // none.
  [[nodiscard]] static auto BodyFrom(const sSection& section, const char* place) {
    return std::partition_point(
        section.bodies.begin(), section.bodies.end(),
        [place](std::string_view body) { return body.data() + body.size() < place; });
  }

  void CheckKnown(const sTag& tag, sSection& section) {
    const char* const start = tag.text.data();
    const auto body = BodyFrom(section, start);
    if (tag.isClosing) {
      if (body == section.bodies.end() || body->data() + body->size() != start) {
        CheckStrayClosing(tag, section);
      }
      return;
    }
    if (body == section.bodies.end()) {
      CheckUnread(tag, section);
    } else if (body->data() <= start) {
      Add(tag, [&] {
        return fmt::format(
            "{} stands within the {} section that begins on line {}, and is part of an item: write "
            "</{}> in front of it",
            tag.text, section.name, warnings.LineOf(body->data()), section.name);
      });
    }
    CheckOthersAround(tag, section);
  }

  // A text that names a section, but has no tag at all. One that names none may be meant to switch
  // nothing on.
  void CheckTagless() {
    if (text.find('<') != std::string_view::npos) {
      return;
    }
    const std::string plain = Plain(text);
    const auto named = std::find_if(sections.begin(), sections.end(), [&](const sSection& section) {
      return plain.find(Plain(section.name)) != std::string::npos;
    });
    if (named != sections.end()) {
      warnings.AddForFile(
          fmt::format("there is no section in the text, and it switches nothing on: items stand "
                      "between tags, <{}> and </{}>",
                      named->name, named->name));
    }
  }

  // What looks like a comment hides nothing.
  void CheckComments() {
    constexpr std::string_view kBegin = "<!--";
    constexpr std::string_view kEnd = "-->";
    for (std::size_t place = text.find(kBegin); place != std::string_view::npos;) {
      const std::size_t end = std::min(text.find(kEnd, place), text.size());
      for (const sSection& section : sections) {
        const auto body = BodyFrom(section, text.data() + place);
        if (body != section.bodies.end() && body->data() > text.data() + place &&
            body->data() < text.data() + end) {
          warnings.Add(eProfileWarning::Tag, text.data() + place, [&] {
            return fmt::format(
                "comments are not known, and the {} section in this one is read: take its tags out",
                section.name);
          });
        }
      }
      place = text.find(kBegin, end);
    }
  }

  // A closing tag without an opening one ends the reading of its sections.
  void CheckStrayClosing(const sTag& tag, sSection& section) {
    if (std::exchange(section.isUnreadOpen, false)) {
      return;  // what is wrong with its section was told
    }
    const bool isFirst = section.strayClosing == nullptr;
    if (isFirst) {
      section.strayClosing = tag.text.data();
    }
    const std::string opening = fmt::format("<{}>", section.name);
    const bool hidesMore = isFirst && text.find(opening, Offset(tag)) != std::string_view::npos;
    Add(tag, [&] {
      return fmt::format("{} has no opening tag in front of it{}: take it out", tag.text,
                         hidesMore ? fmt::format(", and no {} behind it is read", opening) : "");
    });
  }

  void CheckUnread(const sTag& tag, sSection& section) {
    section.isUnreadOpen = true;
    Add(tag, [&] {
      if (section.strayClosing != nullptr) {
        return fmt::format("this section is not read: the </{}> on line {} ends the reading",
                           section.name, warnings.LineOf(section.strayClosing));
      }
      return fmt::format("{} is never closed, and its items are ignored: write </{}> behind them",
                         tag.text, section.name);
    });
  }

  // An opening tag within a section of another name.
  void CheckOthersAround(const sTag& tag, const sSection& own) {
    for (const sSection& section : sections) {
      const auto body = BodyFrom(section, tag.text.data());
      if (section.name == own.name || body == section.bodies.end() ||
          body->data() > tag.text.data()) {
        continue;
      }
      Add(tag, [&] {
        return fmt::format(
            "{} stands within the {} section that begins on line {}: close that one first",
            tag.text, section.name, warnings.LineOf(body->data()));
      });
    }
  }

  void CheckUnknown(const sTag& tag) {
    const std::string_view meant = NearestSection(tag.name);
    const std::string right = fmt::format("<{}{}>", tag.isClosing ? "/" : "", meant);
    if (!meant.empty() && !tag.isComplete) {
      // Only the name itself: "<logging of" is a sentence's.
      if (Plain(meant) == Plain(tag.name)) {
        Add(tag, [&] {
          return fmt::format("{} lacks its \">\" and is not recognised: write {}", Shown(tag.text),
                             right);
        });
      }
    } else if (!meant.empty()) {
      Add(tag, [&] {
        return fmt::format(
            "{} is not recognised, {}: write {}", Shown(tag.text),
            meant == tag.name ? "for it has blanks in it" : "for tags are matched letter by letter",
            right);
      });
    } else if (tag.isComplete && !tag.isClosing && IsClosedLater(tag)) {
      Add(tag, [&] {
        const std::string_view about = SectionAbout(tag.name);
        return fmt::format("there is no section {}, and it is ignored{}", Shown(tag.name),
                           about.empty() ? "" : fmt::format(": did you mean <{}>?", about));
      });
    }
  }

  // Whether a closing tag of the same name follows. Looked for a few times only: each time may take
  // the whole text.
  [[nodiscard]] bool IsClosedLater(const sTag& tag) {
    constexpr int kMostSearches = 100;
    return ++searches <= kMostSearches &&
           text.find(fmt::format("</{}>", tag.name), Offset(tag)) != std::string_view::npos;
  }

  [[nodiscard]] std::size_t Offset(const sTag& tag) const {
    return static_cast<std::size_t>(tag.text.data() - text.data());
  }

  template <typename MakeText>
  void Add(const sTag& tag, const MakeText& makeText) {
    warnings.Add(eProfileWarning::Tag, tag.text.data(), makeText);
  }

  const std::string_view text;
  cProfileWarnings& warnings;
  std::vector<sSection> sections;
  int searches = 0;
};

}  // namespace

void CheckTags(std::string_view text, cProfileWarnings& warnings) {
  cTagsCheck(text, warnings).Run();
}

}  // namespace corvane::tools
