#pragma once

#include <string>
#include <vector>

#include "io/mbn/com_owners.h"

namespace corvane {

// The interface ID that a device name spells; none when there is no memory for it, or when the C
// runtime's locale knows no character for one of its bytes. `deviceName` may have 63 characters; a
// longer one ends the process, as CopyBounded has it.
[[nodiscard]] cBstr MakeInterfaceId(const char* deviceName);

// Compares two interface IDs on the system's default locale, without regard to letter case. False
// when one is null, or when the system cannot compare them.
[[nodiscard]] bool IsSameInterface(const wchar_t* left, const wchar_t* right);

// The extent of an array as GetInterfaces gives it. Both numbers are 0 when `interfaces` is not a
// one-dimensional array of interface pointers. The array's features tell that, not its VARTYPE: the
// platform's arrays of interfaces need not have one.
[[nodiscard]] sSafeArrayExtent InterfaceListExtent(SAFEARRAY* interfaces);

// The ID of the mobile-broadband interface at `index` of an array as GetInterfaces gives it; none
// when the element is no such interface or does not tell its ID.
[[nodiscard]] cBstr InterfaceIdAt(SAFEARRAY* interfaces, LONG index);

// Whether an array as GetInterfaces gives it has an interface with this ID. The search stops at the
// first one.
[[nodiscard]] bool HasInterface(SAFEARRAY* interfaces, const wchar_t* id);

// The IDs of the mobile-broadband interfaces that are present, in the platform's order, in the form
// that a device name takes behind "QMBE:". Empty as well where the platform has no such service.
// Initialises COM for the length of the call. For showing to a user.
[[nodiscard]] std::vector<std::string> ListMobileBroadbandInterfaces();

}  // namespace corvane
