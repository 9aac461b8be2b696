#include "corvane/capture/device_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>
#include <utility>

#include "corvane/command/readable_text.h"

namespace corvane::tools {
namespace {

struct sListedDevice {
  std::string name;  // in the form that --device takes
  bool isPort = false;
  std::string description;             // may be empty
  std::optional<sProbeAnswer> answer;  // of a port that was probed
};

[[nodiscard]] std::vector<sListedDevice> ListDevices(cDeviceSource& source, bool probe) {
  std::vector<sListedDevice> devices;
  std::vector<std::string> ports;
  for (sPresentPort& port : source.Ports()) {
    ports.push_back(port.name);
    devices.push_back({std::move(port.name), true, std::move(port.description), {}});
  }
  if (probe && !ports.empty()) {
    std::vector<sProbeAnswer> answers = source.Probe(ports);
    for (std::size_t number = 0; number < ports.size(); ++number) {
      devices[number].answer = std::move(answers[number]);
    }
  }
  for (const std::string& id : source.Interfaces()) {
    devices.push_back({kMobileBroadbandPrefix + id, false, "", {}});
  }
  return devices;
}

[[nodiscard]] std::string DescriptionOf(const sListedDevice& device) {
  if (!device.description.empty()) {
    return device.description;
  }
  return device.isPort ? "COM port" : "mobile-broadband interface";
}

// "answered: version ...", or why there is no answer.
[[nodiscard]] std::string AnswerText(const sProbeAnswer& answer) {
  switch (answer.outcome) {
    case sProbeAnswer::eOutcome::Answered:
      return "answered: " + answer.text;
    case sProbeAnswer::eOutcome::NotOpened:
      return "cannot be opened: " + answer.text;
    case sProbeAnswer::eOutcome::Silent:
    case sProbeAnswer::eOutcome::Failed:
      break;
  }
  return answer.text;
}

void WriteText(const std::vector<sListedDevice>& devices, std::ostream& out) {
  std::size_t width = 0;
  for (const sListedDevice& device : devices) {
    width = std::max(width, device.name.size());
  }
  for (const sListedDevice& device : devices) {
    out << fmt::format("{:<{}}  {}", device.name, width, DescriptionOf(device));
    if (device.answer) {
      out << ": " << AnswerText(*device.answer);
    }
    out << '\n';
  }
}

[[nodiscard]] std::string_view OutcomeName(sProbeAnswer::eOutcome outcome) {
  switch (outcome) {
    case sProbeAnswer::eOutcome::Answered:
      return "answered";
    case sProbeAnswer::eOutcome::Silent:
      return "silent";
    case sProbeAnswer::eOutcome::NotOpened:
      return "not-opened";
    case sProbeAnswer::eOutcome::Failed:
      break;
  }
  return "failed";
}

void WriteJson(const std::vector<sListedDevice>& devices, std::ostream& out) {
  for (const sListedDevice& device : devices) {
    nlohmann::ordered_json line;
    line["device"] = device.name;
    line["kind"] = device.isPort ? "com-port" : "mobile-broadband";
    if (!device.description.empty()) {
      line["description"] = device.description;
    }
    if (device.answer) {
      line["probe"] = OutcomeName(device.answer->outcome);
      line["answer"] = device.answer->text;
    }
    // A driver's text need not be UTF-8.
    out << JsonText(line) << '\n';
  }
}

}  // namespace

void ShowDevices(const sDeviceListOptions& options, cDeviceSource& source, std::ostream& out,
                 std::ostream& errors) {
  const std::vector<sListedDevice> devices = ListDevices(source, options.probe);
  if (devices.empty()) {
    errors << "No COM port and no mobile-broadband interface is present.\n";
  } else if (options.json) {
    WriteJson(devices, out);
  } else {
    WriteText(devices, out);
  }
}

}  // namespace corvane::tools
