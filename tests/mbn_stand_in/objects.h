#pragma once

#include "mbn_stand_in/world.h"

namespace mbn_stand_in {

// A class object for one of the two classes. Null for any other class.
[[nodiscard]] IClassFactory* MakeClassFactory(const std::shared_ptr<cWorld>& world,
                                              REFCLSID classId);

// Another iDeviceService pointer to the same object. It has no reference of its own.
[[nodiscard]] iDeviceService* OtherPointerTo(iDeviceService* service);

// A service of no interface, to call sinks from.
[[nodiscard]] iDeviceService* MakeStranger(const std::shared_ptr<cWorld>& world);

}  // namespace mbn_stand_in
