#pragma once

#include <optional>
#include <string>
#include <string_view>

// Names that Windows has reserved for devices, whatever their ending and the case of their letters:
// "aux.isf" is no file there, and "COM7.isf" would open the port of a modem. No command makes a
// file of such a name, on any system: what is made here may be copied there.
namespace corvane::tools {

// The part of the path that is reserved, as it stands there: "com7" of "x/com7.isf". Empty when
// none is.
[[nodiscard]] std::string_view ReservedPart(std::string_view path);

// That the name is reserved, as a sentence for the user, or nothing.
[[nodiscard]] std::optional<std::string> FindReservedName(std::string_view name);

}  // namespace corvane::tools
