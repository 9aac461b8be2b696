#pragma once

#include "describe/signalling.h"

namespace corvane {

// Makes a whole message of the syntax NrReconfigurationComplete, which modems log bare, the UL-DCCH
// message that it is: the choices c1 and rrcReconfigurationComplete in front (5 bits, 00001), zeros
// behind to a whole byte. Its name and all else stay. A message of any other syntax stays as it is.
void PutIntoChannel(sSignalling& signalling);

}  // namespace corvane
