#include "modem_sim/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <iostream>
#include <map>

#include "common/quantities.h"
#include "modem_sim/diag_packets.h"

namespace corvane::modem_sim {
namespace {

using std::chrono::milliseconds;
using tools::ParseDecimal;
using tools::ParseUnsigned;

// The functions below turn an argument into a value or throw CLI::ValidationError, which CLI11
// reports together with the option's name.
[[noreturn]] void Refuse(const std::string& text, const std::string& wanted) {
  throw CLI::ValidationError("'" + text + "' is not " + wanted);
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> items;
  std::size_t begin = 0;
  for (std::size_t comma = text.find(','); comma != std::string::npos;
       comma = text.find(',', begin)) {
    items.push_back(text.substr(begin, comma - begin));
    begin = comma + 1;
  }
  items.push_back(text.substr(begin));
  return items;
}

milliseconds TakeDuration(const std::string& text) {
  const auto duration = tools::ParseDuration(text);
  if (!duration) {
    Refuse(text, "a time such as 500ms, 10s or 2m");
  }
  return *duration;
}

double ParseLoss(const std::string& text) {
  const auto percent =
      text.ends_with('%') ? ParseDecimal(text.substr(0, text.size() - 1), 90) : std::nullopt;
  if (!percent) {
    Refuse(text, "a percentage from 0% to 90%");
  }
  return *percent;
}

// "a=1,b=2": for each name the number it is given; names that are left out get 0.
std::vector<unsigned> ParseWeights(const std::string& text, const std::vector<std::string>& names) {
  std::vector<unsigned> weights(names.size(), 0);
  unsigned sum = 0;
  for (const std::string& item : SplitAtCommas(text)) {
    const std::size_t equals = item.find('=');
    const auto name = std::find(names.begin(), names.end(), item.substr(0, equals));
    const auto weight = equals == std::string::npos
                            ? std::nullopt
                            : ParseUnsigned<std::uint16_t>(item.substr(equals + 1));
    if (!weight || name == names.end()) {
      Refuse(text, "a list such as " + names.front() + "=2," + names.back() + "=1");
    }
    weights[static_cast<std::size_t>(name - names.begin())] = *weight;
    sum += *weight;
  }
  if (sum == 0) {
    Refuse(text, "a list with any weight in it");
  }
  return weights;
}

std::vector<std::uint16_t> ParseLogCodes(const std::string& text) {
  std::vector<std::uint16_t> codes;
  for (const std::string& item : SplitAtCommas(text)) {
    const auto code = ParseUnsigned<std::uint16_t>(item.substr(item.starts_with("0x") ? 2 : 0), 16);
    if (!code) {
      Refuse(text, "a list of log codes such as 412F,0x1234");
    }
    codes.push_back(*code);
  }
  return codes;
}

// A time in units of the modem's clock.
std::uint64_t ParseStart(const std::string& text) {
  constexpr std::time_t kEpoch = 315964800;  // of the clock, 1980-01-06, since 1970
  std::time_t seconds = std::time(nullptr);
  if (text != "now") {
    std::tm time{};
    const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &time);
    seconds = timegm(&time);
    // A minute before it, the modem answers its first requests.
    if (end == nullptr || *end != 0 || seconds < kEpoch + 60) {
      Refuse(text, "now, or a time such as 2024-01-01T00:00:00Z");
    }
  }
  return static_cast<std::uint64_t>(seconds - kEpoch) * kUnitsPerSecond;
}

cSelection ParseSelection(const std::string& text, bool ofRequests) {
  const auto selection = cSelection::Parse(text);
  if (!selection || (selection->NamesCommand() && !ofRequests)) {
    Refuse(text, ofRequests ? "a list such as 3,5-7,2.5%,0x73 or all"
                            : "a list such as 3,5-7,2.5% or all");
  }
  return *selection;
}

sFaultOptions::sLate ParseLate(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) {
    Refuse(text, "requests and a time such as 0x73=500ms");
  }
  return {ParseSelection(text.substr(0, equals), true), TakeDuration(text.substr(equals + 1))};
}

void ParseChunk(const std::string& text, sWriteOptions& writes) {
  const std::size_t dash = text.find('-');
  const auto least = ParseUnsigned<std::size_t>(text.substr(0, dash));
  const auto most =
      dash == std::string::npos ? least : ParseUnsigned<std::size_t>(text.substr(dash + 1));
  if (!least || !most || *least == 0 || *least > *most) {
    Refuse(text, "a size such as 64 or 1-200");
  }
  writes.minChunk = *least;
  writes.maxChunk = *most;
}

double ParseRate(const std::string& text) {
  if (text == "max") {
    return 0;
  }
  const auto rate = ParseDecimal(text, 1e9);
  if (!rate || *rate <= 0) {
    Refuse(text, "a number of packets in a second, or max");
  }
  return *rate;
}

void AddText(CLI::App& app, const std::string& name, const std::string& description,
             std::function<void(const std::string&)> take, const std::string& placeholder) {
  const auto takeOrName = [name, take = std::move(take)](const std::string& text) {
    try {
      take(text);
    } catch (const CLI::ValidationError& error) {
      throw CLI::ValidationError(name, error.what());
    }
  };
  app.add_option_function<std::string>(name, takeOrName, description)
      ->type_name(placeholder)
      ->trigger_on_parse();
}

void AddNumber(CLI::App& app, const std::string& name, std::uint64_t& value,
               const std::string& description) {
  AddText(
      app, name, description,
      [&value](const std::string& text) {
        const auto number = ParseUnsigned<std::uint64_t>(text);
        if (!number) {
          Refuse(text, "a number");
        }
        value = *number;
      },
      "N");
}

void AddDuration(CLI::App& app, const std::string& name, milliseconds& value,
                 const std::string& description) {
  AddText(
      app, name, description, [&value](const std::string& text) { value = TakeDuration(text); },
      "TIME");
}

template <typename T>
void AddChoice(CLI::App& app, const std::string& name, T& value, const std::string& description,
               const std::map<std::string, T>& choices) {
  AddText(
      app, name, description,
      [&value, choices](const std::string& text) {
        const auto choice = choices.find(text);
        if (choice == choices.end()) {
          Refuse(text, "one of its values");
        }
        value = choice->second;
      },
      "NAME");
}

void AddConnectionOptions(CLI::App& app, sOptions& options) {
  app.option_defaults()->group("Connection and report");
  app.add_option("--link", options.link,
                 "Keep a symbolic link to the terminal here, such as Wine's dosdevices/com7")
      ->type_name("PATH");
  app.add_option("--report", options.report,
                 "Write the report here; standard output then shows the events only")
      ->type_name("FILE");
  app.add_flag_callback(
      "--no-packets", [&options] { options.packetsInReport = false; },
      "Leave the packets out of the report");
  AddDuration(app, "--heartbeat", options.heartbeat,
              "Send an idle frame after so much silence, which wakes a blocked reader and is no "
              "packet; 0 for never [250ms]");
}

void AddStreamOptions(CLI::App& app, sOptions& options) {
  app.option_defaults()->group("Stream");
  AddChoice<std::string>(app, "--scenario", options.scenario,
                         "What is streamed: mixed, sib or signalling [mixed]",
                         {{"mixed", "mixed"}, {"sib", "sib"}, {"signalling", "signalling"}});
  AddNumber(app, "--seed", options.stream.seed,
            "Everything that is random follows from this number [1]");
  AddText(
      app, "--start-at", "The modem's time at packet 0, or now [2024-01-01T00:00:00Z]",
      [&options](const std::string& text) {
        options.stream.clockStart = ParseStart(text);
        options.faults.clockStart = options.stream.clockStart;
      },
      "TIME");
  AddText(
      app, "--rate", "Packets in a second, or max [100]",
      [&options](const std::string& text) { options.rate = ParseRate(text); }, "N");
  AddNumber(app, "--count", options.count, "End the stream after so many packets");
  AddDuration(app, "--duration", options.duration, "End the stream after so much time");
  AddChoice<eAfterStream>(app, "--then", options.then,
                          "At the stream's end: idle, hang-up or quit [idle]",
                          {{"idle", eAfterStream::Idle},
                           {"hang-up", eAfterStream::HangUp},
                           {"quit", eAfterStream::Quit}});
  AddDuration(app, "--settle", options.settle,
              "Begin to stream once no request has come for so long [250ms]");
  app.add_flag("--paused", options.paused, "Begin to stream only at the command resume");
  AddText(
      app, "--mix", "How often each kind is sent [log=70,event=15,message=15]",
      [&options](const std::string& text) {
        const auto weights = ParseWeights(text, {"log", "event", "message"});
        options.stream.logWeight = weights[0];
        options.stream.eventWeight = weights[1];
        options.stream.messageWeight = weights[2];
      },
      "LIST");
  AddText(
      app, "--sizes", "How often packets are small, medium, large [small=70,medium=25,large=5]",
      [&options](const std::string& text) {
        const auto weights = ParseWeights(text, {"small", "medium", "large"});
        std::copy(weights.begin(), weights.end(), options.stream.sizeWeights.begin());
      },
      "LIST");
  AddText(
      app, "--log-codes", "Send these log codes only, as far as they are switched on",
      [&options](const std::string& text) { options.stream.logCodes = ParseLogCodes(text); },
      "LIST");
  AddText(
      app, "--max-frame", "The longest frame in bytes [8191, what a serial recorder takes]",
      [&options](const std::string& text) {
        const auto size = ParseUnsigned<std::size_t>(text);
        if (!size || *size < 1024 || *size > 33000) {
          Refuse(text, "a number from 1024 to 33000");
        }
        options.stream.maxFrame = *size;
      },
      "N");
  AddText(
      app, "--subscriptions",
      "A modem with so many SIMs, 1 to 8, whose log packets come in wrappers [1]",
      [&options](const std::string& text) {
        const auto count = ParseUnsigned<std::uint32_t>(text);
        if (!count || *count < 1 || *count > 8) {
          Refuse(text, "a number from 1 to 8");
        }
        options.stream.subscriptions = *count;
      },
      "N");
  AddText(
      app, "--sib-loss", "System-information messages lost on the air, up to 90% [5%]",
      [&options](const std::string& text) { options.stream.sibLoss = ParseLoss(text); }, "P%");
}

void AddPacketFault(CLI::App& app, const std::string& name, cSelection& selection,
                    const std::string& description) {
  AddText(
      app, name, description,
      [&selection](const std::string& text) { selection = ParseSelection(text, false); }, "WHICH");
}

void AddFaultOptions(CLI::App& app, sOptions& options) {
  app.option_defaults()->group("Faults");
  sFaultOptions& faults = options.faults;
  AddPacketFault(app, "--bad-crc", faults.badCrc, "Flip a bit in these packets");
  AddPacketFault(app, "--noise", faults.noise, "Noise and a flag before these packets");
  AddPacketFault(app, "--open-noise", faults.openNoise,
                 "Noise without a flag before these packets, which spoils them");
  AddPacketFault(app, "--split", faults.split, "Write these packets in pieces");
  AddPacketFault(app, "--merge", faults.merge, "Write each of these packets with its next");
  AddPacketFault(app, "--unasked", faults.unasked, "A reply to nothing after these packets");
  AddPacketFault(app, "--hang-up", faults.hangUp, "Hang up after these packets");
  AddText(
      app, "--return-after", "Come back so long after a hang-up, or never [2s]",
      [&options](const std::string& text) {
        options.returnAfter.reset();
        if (text != "never") {
          options.returnAfter = TakeDuration(text);
        }
      },
      "TIME");
  AddText(
      app, "--withhold", "Do not answer these requests",
      [&faults](const std::string& text) { faults.withhold = ParseSelection(text, true); },
      "WHICH");
  AddText(
      app, "--spoil-reply", "Flip a bit in the replies to these requests",
      [&faults](const std::string& text) { faults.spoilReply = ParseSelection(text, true); },
      "WHICH");
  AddText(
      app, "--late", "Answer these requests so much later, such as 0x73=500ms; may be given again",
      [&faults](const std::string& text) { faults.late.push_back(ParseLate(text)); }, "WHICH=TIME");
  AddText(
      app, "--chunk", "Write so many bytes at a time, such as 64 or 1-200",
      [&options](const std::string& text) { ParseChunk(text, options.writes); }, "N[-M]");
  AddDuration(app, "--gap", options.writes.gap, "The pause between pieces of a write [5ms]");
}

constexpr const char* kFooter =
    "\nWHICH is a list of packet or request numbers from 0 (17 or 20-25), probabilities (2.5%),\n"
    "for requests command codes (0x73), or all.\n"
    "Commands on standard input: unplug, plug, pause, resume, reply hold, reply release,\n"
    "send HEX, send-raw HEX, quit. SIGUSR1 unplugs, SIGUSR2 plugs in again.\n"
    "docs/modem-simulator.md describes the report.";

}  // namespace

std::optional<sOptions> ParseOptions(int argc, const char* const* argv, int& exitCode) {
  sOptions options;
  CLI::App app(
      "A simulated modem: opens a pseudo-terminal, answers DIAG requests there, and streams the\n"
      "log packets, events and messages that were switched on. Reports in JSON lines what it\n"
      "sends and receives; the first line tells the terminal's path.",
      "corvane-modem-sim");
  app.footer(kFooter);
  app.set_version_flag("--version", "corvane-modem-sim " CORVANE_VERSION, "Show the version");
  AddConnectionOptions(app, options);
  AddStreamOptions(app, options);
  AddFaultOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      exitCode = app.exit(error, std::cout, std::cerr);
    } else {
      std::cerr << "corvane-modem-sim: " << error.what()
                << "\ncorvane-modem-sim --help tells more\n";
      exitCode = 2;
    }
    return std::nullopt;
  }
  return options;
}

}  // namespace corvane::modem_sim
