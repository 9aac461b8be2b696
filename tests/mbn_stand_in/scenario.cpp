#include "mbn_stand_in/scenario.h"

#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace mbn_stand_in {
namespace {

std::uint32_t ParseCount(const std::string& word) {
  return static_cast<std::uint32_t>(std::stoul(word, nullptr, 0));
}

sCompletion ParseCompletion(const std::vector<std::string>& words) {
  sCompletion completion;
  const std::string& when = words.at(1);
  if (when == "before-return") {
    completion.when = eCompletion::BeforeReturn;
  } else if (when == "withheld") {
    completion.when = eCompletion::Withheld;
  } else if (when != "queued") {
    completion.delay = ParseCount(when);
  }
  if (words.size() > 2) {
    completion.status = ParseResult(words[2]);
  }
  return completion;
}

void ParseAt(sScenario& scenario, const std::vector<std::string>& words) {
  std::string trigger = words.at(1);
  std::size_t stepStart = 2;
  if (trigger == "command") {
    trigger += " " + words.at(2);
    stepStart = 3;
  } else if (trigger != "opened" && trigger != "advise") {
    throw std::invalid_argument("unknown trigger " + trigger);
  }
  scenario.steps[trigger].push_back(
      ParseStep({words.begin() + static_cast<std::ptrdiff_t>(stepStart), words.end()}));
}

void ParseDuring(sScenario& scenario, const std::vector<std::string>& words) {
  scenario.steps["during " + words.at(1)].push_back(ParseStep({words.begin() + 2, words.end()}));
}

void ParseStatement(sScenario& scenario, const std::vector<std::string>& words) {
  const std::string& name = words[0];
  if (name == "interface") {
    scenario.interfaces.emplace_back(words.at(1).begin(), words.at(1).end());
  } else if (name == "interface-list") {
    scenario.interfaceList = words.at(1);
  } else if (name == "fail") {
    AddFailure(scenario, words.at(1), words.at(2), ParseResult(words.at(3)));
  } else if (name == "nothing") {
    AddFailure(scenario, words.at(1), words.at(2), S_OK);
  } else if (name == "open-completion") {
    scenario.openCompletion = ParseCompletion(words);
  } else if (name == "close-completion") {
    scenario.closeCompletion = ParseCompletion(words);
  } else if (name == "service-pointers") {
    if (words.at(1) != "varied") {
      throw std::invalid_argument("unknown service-pointers " + words[1]);
    }
    scenario.variesServicePointers = true;
  } else if (name == "threads") {
    scenario.threads = ParseCount(words.at(1));
    scenario.threadsWorkAtOnce = words.size() > 2 && words[2] == "at-once";
  } else if (name == "reply") {
    scenario.replies[static_cast<std::uint8_t>(ParseCount(words.at(1)))] =
        BytesFromHex(words.at(2));
  } else if (name == "at") {
    ParseAt(scenario, words);
  } else if (name == "during") {
    ParseDuring(scenario, words);
  } else {
    throw std::invalid_argument("unknown statement " + name);
  }
}

}  // namespace

std::vector<std::string> SplitWords(const std::string& line) {
  std::istringstream stream(line.substr(0, line.find('#')));
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

void AddFailure(sScenario& scenario, const std::string& call, const std::string& times,
                long result) {
  const std::uint32_t timesLeft = times == "always" ? UINT32_MAX : ParseCount(times);
  scenario.failures[call].push_back({timesLeft, result});
}

long ParseResult(const std::string& word) {
  return static_cast<long>(std::stoul(word, nullptr, 0));
}

sStep ParseStep(const std::vector<std::string>& words) {
  static const std::set<std::string> kNames{"announce",
                                            "arrive",
                                            "bytes",
                                            "bytes-from",
                                            "closed",
                                            "fail",
                                            "nothing",
                                            "opened",
                                            "others",
                                            "packets",
                                            "packets-overtaking",
                                            "rectangle",
                                            "remove",
                                            "reply",
                                            "reply-cut",
                                            "reply-overtaking",
                                            "reply-twice",
                                            "stranger",
                                            "stranger-closed",
                                            "stranger-opened",
                                            "words",
                                            "zeros"};
  if (words.empty() || !kNames.contains(words[0])) {
    throw std::invalid_argument("unknown step");
  }
  return {words[0], {words.begin() + 1, words.end()}};
}

sScenario ReadScenario() {
  sScenario scenario;
  std::array<wchar_t, MAX_PATH> path{};
  const DWORD length = GetEnvironmentVariableW(L"CORVANE_MBN_SCENARIO", path.data(), MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return scenario;
  }
  std::ifstream file(std::filesystem::path(path.data()));
  if (!file) {
    throw std::invalid_argument("the scenario cannot be opened");
  }
  for (std::string line; std::getline(file, line);) {
    try {
      const auto words = SplitWords(line);
      if (!words.empty()) {
        ParseStatement(scenario, words);
      }
    } catch (const std::exception& error) {
      throw std::invalid_argument(line + ": " + error.what());
    }
  }
  return scenario;
}

}  // namespace mbn_stand_in
