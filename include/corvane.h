/* Corvane: records the DIAG traffic of a cellular modem into a capture file.
 *
 * Load corvane.dll (or link its import library) and pair every successful CorvaneStart with a
 * CorvaneStop. One capture runs at a time in a process, and calls must not overlap: there is one
 * capture slot and no lock around it. For C (C99) and C++ hosts on Windows x64.
 */
#ifndef CORVANE_H
#define CORVANE_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef CORVANE_BUILDING_DLL
#define CORVANE_API __declspec(dllexport)
#else
#define CORVANE_API __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Starts a capture and returns once it is running or has failed.
 *
 * deviceName  Which modem: the name of a COM port ("COM7"), which need not be present yet, or
 *             "QMBE:" followed by a mobile-broadband interface ID. At most 63 characters.
 * configPath  Path of the configuration file: what the modem is asked to report. At most 259
 *             characters.
 * outputPath  Path of the capture file, which is truncated if it exists; other processes may read
 *             it while it grows. Null means "Corvane.isf" in the current directory. At most 259
 *             characters.
 *
 * All three are 8-bit, NUL-terminated strings in the process's ANSI code page; they are copied, and
 * may be freed when the call returns. A string that is too long is never cut: it ends the process
 * with status 0xC0000417 (STATUS_INVALID_CRUNTIME_PARAMETER).
 *
 * Returns true when the capture is running: the capture file has its first item, and the device is
 * being watched for. Returns false, with nothing of this start left running, when deviceName or
 * configPath is null, when a file cannot be opened or written, when the device cannot be opened,
 * when the library could not be initialised at its load, or when the system is out of memory or
 * threads. A configuration file that cannot be opened leaves a zero-length capture file behind, a
 * device that cannot be opened a complete one without packets. Two captures into one file spoil
 * each other.
 *
 * Diagnostics are short lines on the process's standard output.
 */
CORVANE_API bool CorvaneStart(const char* deviceName, const char* configPath,
                              const char* outputPath);

/* Ends the capture and returns once the device is closed and the capture file is complete.
 *
 * The modem's port is released first. On a serial port that takes until the read that is in
 * progress ends. Without a running capture nothing happens.
 */
CORVANE_API void CorvaneStop(void);

#ifdef __cplusplus
}
#endif

#endif
