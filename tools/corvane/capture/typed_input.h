#pragma once

#include <memory>

#include "corvane/capture/typed_marker.h"

namespace corvane::tools {

// From now on what is typed, or sent by a supervisor's pipe, goes to `lines`, on a thread that ends
// with the process. A file as standard input is left alone: a loop of a script may be reading it.
void ReadTypedLines(const std::shared_ptr<cTypedLines>& lines);

}  // namespace corvane::tools
