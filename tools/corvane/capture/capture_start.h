#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"
#include "corvane/capture/output_file.h"

// Everything of a capture that comes before the library is called.
namespace corvane::tools {

// Makes of what the user asked for what the library gets: in `request` the device has its own name
// instead of "auto" (which is waited for), the configuration is a file, the output is without
// placeholders, and `wait` is without the time that this has taken. Warns of a doubtful
// configuration. Returns nothing when the capture can start, else its exit code, after the reason
// was told. No file is made or changed.
[[nodiscard]] std::optional<int> PrepareCapture(sCaptureRequest& request, cCaptureHost& host,
                                                cCaptureReporter& reporter);

// Begins the output file of a prepared capture, and tells why that cannot be. Null then.
[[nodiscard]] std::unique_ptr<cOutputFile> BeginOutput(const sCaptureRequest& request,
                                                       cCaptureHost& host,
                                                       cCaptureReporter& reporter);

}  // namespace corvane::tools
