#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/named_numbers.h"
#include "corvane/command/readable_text.h"
#include "corvane/making/new_file.h"
#include "corvane/profile/profile_check.h"
#include "corvane/profile/profile_command.h"
#include "describe/names.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

// The library would read more, but nobody writes it.
constexpr std::size_t kLargestProfile = std::size_t{16} * 1024 * 1024;

[[nodiscard]] int Fail(const char* action, const std::string& what, std::ostream& errors) {
  errors << fmt::format("corvane profile {}: {}\n", action, what);
  return kExitFailed;
}

// The exit code of an action, unless what it wrote is lost.
[[nodiscard]] int Finish(const char* action, int code, std::ostream& out, std::ostream& errors) {
  return out.flush() ? code : Fail(action, "the output cannot be written", errors);
}

// Words in lines of a terminal's width, each led by `indent`.
[[nodiscard]] std::string Wrap(std::string_view text, std::string_view indent) {
  constexpr std::size_t kWidth = 80;
  std::string lines;
  std::size_t column = 0;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (column != 0 && column + 1 + word.size() <= kWidth) {
      lines += ' ';
      ++column;
    } else {
      lines += column == 0 ? "" : "\n";
      lines += indent;
      column = indent.size();
    }
    lines += word;
    column += word.size();
  }
  return lines.empty() ? lines : lines + '\n';
}

// Reads all of a stream, up to one byte more than a configuration may have.
[[nodiscard]] std::string ReadText(std::istream& in) {
  std::string text(kLargestProfile + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  return text;
}

// The text of a configuration file. Nothing when it cannot be read; `problem` then receives why.
[[nodiscard]] std::optional<std::string> ReadFile(const std::string& path, std::string& problem) {
  std::error_code ignored;  // what cannot be looked at cannot be opened either
  if (std::filesystem::is_directory(PathOf(path), ignored)) {
    problem = "is a folder";
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) {
    problem = fmt::format("cannot be read: {}", std::generic_category().message(errno));
    return std::nullopt;
  }
  std::string text = ReadText(file);
  if (file.bad()) {
    problem = "cannot be read to its end";
    return std::nullopt;
  }
  return text;
}

// --- The check's result

[[nodiscard]] Json LogCodesJson(const sProfileRequests& requests) {
  Json codes = Json::array();
  for (const std::uint16_t code : requests.logCodes) {
    Json entry = {{"code", fmt::format("0x{:04X}", code)}};
    if (const sLogCodeName* const name = FindLogCode(code)) {
      entry["key"] = name->key;
      entry["name"] = name->name;
    }
    codes.push_back(std::move(entry));
  }
  return codes;
}

[[nodiscard]] Json EventsJson(const sProfileRequests& requests) {
  Json events = Json::array();
  for (const std::uint16_t id : requests.eventIds) {
    Json entry = {{"id", id}};
    if (const std::string_view name = EventName(id); !name.empty()) {
      entry["name"] = name;
    }
    events.push_back(std::move(entry));
  }
  return events;
}

[[nodiscard]] Json MessagesJson(const sProfileRequests& requests) {
  Json subsystems = Json::array();
  for (const auto& [ssid, mask] : requests.messageLevels) {
    Json entry = {{"ssid", ssid}};
    if (const std::string_view name = SsidName(ssid); !name.empty()) {
      entry["name"] = name;
    }
    entry["levels"] = Json::array();
    for (std::uint32_t level = 0; level < 32; ++level) {
      if ((mask >> level & 1) != 0) {
        entry["levels"].push_back(level);
      }
    }
    subsystems.push_back(std::move(entry));
  }
  return subsystems;
}

[[nodiscard]] std::string CheckJson(const std::string& path, const sProfileCheck& check) {
  const sProfileRequests& requests = check.requests;
  Json result = {{"file", path},
                 {"requests",
                  {{"all", requests.Count()},
                   {"start_up", requests.startUp},
                   {"events", requests.forEvents},
                   {"messages", requests.forMessages},
                   {"log_codes", requests.forLogCodes}}},
                 {"log_codes", LogCodesJson(requests)},
                 {"events", EventsJson(requests)},
                 {"messages", MessagesJson(requests)},
                 {"lost_events", requests.lostEventIds},
                 {"lost_ssids", requests.lostSsids},
                 {"unwraps_sims", requests.unwraps},
                 {"warnings", Json::array()}};
  for (const sProfileWarning& warning : check.warnings) {
    Json entry = Json::object();
    if (warning.line != 0) {
      entry["line"] = warning.line;
    }
    entry["text"] = warning.text;
    result["warnings"].push_back(std::move(entry));
  }
  // A file's name need not be UTF-8.
  return JsonText(result) + '\n';
}

[[nodiscard]] std::string CheckText(const sProfileCheck& check) {
  std::string text;
  for (const std::string& line : check.explanation) {
    text += line + '\n';
  }
  if (check.warnings.empty()) {
    return text + "No warnings\n";
  }
  text += "Warnings:\n";
  for (const sProfileWarning& warning : check.warnings) {
    text += fmt::format("  {}\n", warning.Text());
  }
  return text;
}

}  // namespace

int ListProfiles(const std::vector<sShippedProfile>& profiles, bool isJson, std::ostream& out,
                 std::ostream& errors) {
  if (profiles.empty()) {
    return Fail("list", "the profiles that belong to this program are not there", errors);
  }
  for (const sShippedProfile& profile : profiles) {
    if (isJson) {
      const Json entry = {{"name", profile.name},
                          {"path", TextOf(profile.path)},
                          {"purpose", profile.purpose},
                          {"rate", profile.rate}};
      out << JsonText(entry) << '\n';
    } else {
      out << profile.name << '\n' << Wrap(profile.purpose, "    ") << Wrap(profile.rate, "    ");
    }
  }
  return Finish("list", kExitGood, out, errors);
}

int ShowProfile(const std::vector<sShippedProfile>& profiles, const std::string& name, bool isPath,
                std::ostream& out, std::ostream& errors) {
  const auto profile = FindProfile(profiles, name);
  if (!profile) {
    errors << fmt::format("corvane profile show: {}\n", NoProfileText(profiles, name));
    return kExitUsage;
  }
  if (isPath) {
    out << TextOf(profile->path) << '\n';
    return Finish("show", kExitGood, out, errors);
  }
  std::string problem;
  const auto text = ReadFile(TextOf(profile->path), problem);
  if (!text) {
    return Fail("show", fmt::format("{} {}", TextOf(profile->path), problem), errors);
  }
  out << *text;
  return Finish("show", kExitGood, out, errors);
}

int CheckProfileFile(const std::string& path, bool isJson, std::istream& in, std::ostream& out,
                     std::ostream& errors) {
  std::string problem;
  const auto text = path == "-" ? ReadText(in) : ReadFile(path, problem);
  if (!text) {
    return Fail("check", fmt::format("{} {}", path, problem), errors);
  }
  if (text->size() > kLargestProfile) {
    return Fail("check",
                fmt::format("{} is larger than {}, and hardly a configuration", path,
                            FormatBytes(kLargestProfile)),
                errors);
  }
  const sProfileCheck check = CheckProfile(*text);
  out << (isJson ? CheckJson(path, check) : CheckText(check));
  return Finish("check", check.warnings.empty() ? kExitGood : kExitFailed, out, errors);
}

int MakeProfile(const sProfileContent& content, const std::string& output, bool mayReplace,
                std::ostream& out, std::ostream& errors) {
  const std::string text = WriteProfile(content);
  if (const auto warnings = CheckProfile(text).warnings; !warnings.empty()) {
    return Fail("make", warnings.front().Text(), errors);
  }
  if (output.empty() || output == "-") {
    out << text;
    return Finish("make", kExitGood, out, errors);
  }
  cNewFile file(output, mayReplace);
  if (const auto obstacle = file.Begin()) {
    return Fail("make", *obstacle, errors);
  }
  errno = 0;
  std::ofstream written(file.WritePath());
  written << text;
  written.close();
  if (!written) {
    return Fail("make", DescribeUnwritable(output, errno), errors);
  }
  if (const auto problem = file.Complete()) {
    return Fail("make", *problem, errors);
  }
  return kExitGood;
}

}  // namespace corvane::tools
