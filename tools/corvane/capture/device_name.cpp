#include "corvane/capture/device_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace corvane::tools {
namespace {

// Letters of ASCII, which is what the names of devices are made of; no locale has a say in it.
[[nodiscard]] char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

[[nodiscard]] bool IsDigit(char character) { return character >= '0' && character <= '9'; }

[[nodiscard]] bool IsHexDigit(char character) {
  const char lower = Lower(character);
  return IsDigit(character) || (lower >= 'a' && lower <= 'f');
}

[[nodiscard]] std::string Lowered(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
  return lowered;
}

[[nodiscard]] bool IsSame(std::string_view left, std::string_view right) {
  return Lowered(left) == Lowered(right);
}

[[nodiscard]] bool StartsWith(std::string_view text, std::string_view start) {
  return IsSame(text.substr(0, start.size()), start);
}

// "01234567-89ab-cdef-0123-456789abcdef", without braces.
[[nodiscard]] bool IsGuid(std::string_view text) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(),
                    [](char character, char form) {
                      return form == 'x' ? IsHexDigit(character) : character == form;
                    });
}

// The ID of an interface with its braces, which a user may have left out.
[[nodiscard]] std::string InterfaceId(std::string_view named) {
  return IsGuid(named) ? fmt::format("{{{}}}", named) : std::string(named);
}

[[nodiscard]] bool IsGuidInBraces(std::string_view text) {
  return text.size() > 2 && text.front() == '{' && text.back() == '}' &&
         IsGuid(text.substr(1, text.size() - 2));
}

[[nodiscard]] bool IsComPortName(std::string_view text) {
  constexpr std::string_view kStart = "COM";
  return text.size() > kStart.size() && StartsWith(text, kStart) &&
         std::all_of(text.begin() + kStart.size(), text.end(), IsDigit);
}

}  // namespace

bool IsMobileBroadband(const std::string& device) {
  return device.find(kMobileBroadbandPrefix) != std::string::npos;
}

std::string NormalDeviceName(std::string_view named) {
  if (IsSame(named, kAnyDiagPort)) {
    return kAnyDiagPort;
  }
  if (IsGuid(named) || IsGuidInBraces(named)) {
    return kMobileBroadbandPrefix + InterfaceId(named);
  }
  constexpr std::string_view kPrefix = kMobileBroadbandPrefix;
  if (StartsWith(named, kPrefix)) {
    return kMobileBroadbandPrefix + InterfaceId(named.substr(kPrefix.size()));
  }
  std::string_view port = named;
  constexpr std::string_view kDeviceNamespace = R"(\\.\)";
  if (port.starts_with(kDeviceNamespace)) {
    port.remove_prefix(kDeviceNamespace.size());
  }
  if (port.ends_with(':')) {
    port.remove_suffix(1);
  }
  if (IsComPortName(port)) {
    return fmt::format("COM{}", port.substr(3));
  }
  return std::string(named);
}

std::vector<sPresentPort> DiagPorts(const std::vector<sPresentPort>& present) {
  std::vector<sPresentPort> found;
  std::copy_if(present.begin(), present.end(), std::back_inserter(found),
               [](const sPresentPort& port) {
                 return Lowered(port.description).find("diag") != std::string::npos;
               });
  return found;
}

const sPresentPort* FindPort(const std::vector<sPresentPort>& present, std::string_view name) {
  const auto found = std::find_if(present.begin(), present.end(), [name](const sPresentPort& port) {
    return IsSame(port.name, name);
  });
  return found == present.end() ? nullptr : &*found;
}

std::string PortList(const std::vector<sPresentPort>& ports) {
  std::string list;
  for (const sPresentPort& port : ports) {
    list += list.empty() ? "" : ", ";
    list += port.name;
    if (!port.description.empty()) {
      list += fmt::format(" ({})", port.description);
    }
  }
  return list;
}

}  // namespace corvane::tools
