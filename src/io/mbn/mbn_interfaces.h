#pragma once

#include <string>
#include <vector>

#include "io/mbn/com_pointers.h"

namespace corvane {

// The extent of an array as GetInterfaces gives it. Both numbers are 0 when `interfaces` is not a
// one-dimensional array of interface pointers. The array's features tell that, not its VARTYPE: the
// platform's arrays of interfaces need not have one.
[[nodiscard]] sSafeArrayExtent InterfaceListExtent(SAFEARRAY* interfaces);

// The ID of the mobile-broadband interface at `index` of an array as GetInterfaces gives it; none
// when the element is no such interface or does not tell its ID.
[[nodiscard]] cBstr InterfaceIdAt(SAFEARRAY* interfaces, LONG index);

// The IDs of the mobile-broadband interfaces that are present, in the platform's order, in the form
// that a device name takes behind "QMBE:". Empty as well where the platform has no such service.
// Initialises COM for the length of the call. For showing to a user.
[[nodiscard]] std::vector<std::string> ListMobileBroadbandInterfaces();

}  // namespace corvane
