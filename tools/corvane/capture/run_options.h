#pragma once

#include <CLI/App.hpp>

#include "corvane/capture/capture_request.h"

namespace corvane::tools {

// The options of `corvane capture` that concern the running capture and its end: when it ends,
// files in turn, and what is told. `request` must live until the command line is parsed.
void AddRunOptions(CLI::App& command, sCaptureRequest& request);

// What these options need of each other. Throws CLI::ValidationError.
void CheckRunOptions(const sCaptureRequest& request);

}  // namespace corvane::tools
