#pragma once

namespace corvane {

class cCaptureSession;

// Creates the capture file at `outputPath` (an existing one is truncated; other processes may read
// and write it meanwhile), reads the configuration file at `configPath` and starts the capture with
// the filter records of its sections. A null `configPath` starts it with none. The configuration
// is read as text: on Windows a control-Z (0x1A) ends it, and what follows switches nothing on.
//
// False when either file cannot be opened, when memory runs out, or when the capture does not
// start. A configuration file that cannot be opened leaves a zero-length capture file behind.
// Nothing is printed here.
[[nodiscard]] bool LoadConfiguration(cCaptureSession& session, const char* outputPath,
                                     const char* configPath);

}  // namespace corvane
