#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

// What Wireshark asks a program in its extcap folder before it starts a capture, and the form of
// the answers: lines of "{name=value}" pairs.
namespace corvane::tools {

// Something that Wireshark can capture from.
struct sExtcapInterface {
  std::string name;     // Wireshark's handle for it: letters, digits, underscores and hyphens
  std::string display;  // for the user
};

// One of the values to choose from.
struct sExtcapChoice {
  std::string value;
  std::string display;
  bool isDefault = false;
};

// One of the options in Wireshark's dialog, which it passes on when the capture starts.
struct sExtcapOption {
  std::string call;     // "--profile"
  std::string display;  // its label
  std::string tooltip;
  std::string type;                         // "selector", "fileselect", "boolflag", "unsigned"
  std::string more = {};                    // further pairs, as they are: "{mustexist=true}"
  std::vector<sExtcapChoice> choices = {};  // of a selector
};

// The program and its interfaces.
void WriteInterfaces(const std::vector<sExtcapInterface>& interfaces, std::string_view version,
                     std::ostream& out);
// The link types of an interface: exported PDUs.
void WriteLinkTypes(std::ostream& out);
// The options, numbered in their order.
void WriteOptions(const std::vector<sExtcapOption>& options, std::ostream& out);
// Only the choices of option `call`, which may be given without its hyphens.
void WriteChoices(const std::vector<sExtcapOption>& options, std::string_view call,
                  std::ostream& out);

}  // namespace corvane::tools
