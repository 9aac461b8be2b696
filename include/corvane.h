/* Corvane: records the DIAG traffic of a cellular modem into a capture file.
 *
 * Load corvane.dll (or link its import library) and pair every successful CorvaneStart with a
 * CorvaneStop. One capture runs at a time in a process, and calls must not overlap: there is one
 * capture slot and no lock around it. For C (C99) and C++ hosts on Windows x64.
 *
 * Where to call from. Not from DllMain, nor from a destructor that runs while a DLL unloads: each
 * function waits for a thread of the library, which can neither begin nor end while the system's
 * loader lock is held, so the call would never return. The library must not be unloaded while a
 * capture runs.
 *
 * A process that exits without CorvaneStop leaves a capture file without index and trailer. It has
 * every item up to then, and the tools still read it, but as one that was not closed.
 *
 * The library's diagnostics are short lines on the process's standard output. A host that has
 * redirected it must drain it: when a pipe is full, the thread that prints waits, and with it the
 * capture.
 *
 * How much a configuration may ask for. The requests of one connection stand in a queue of 1000
 * places. 13 are fixed; the event IDs take one at most, all together; the log codes one for each
 * value of their bits 12 to 15 that occurs (0x1004 and 0x1388 share one; 16 at most); MessageLevels
 * one for each subsystem ID. So 987 subsystems are the most beside no event IDs and no log codes,
 * and 970 beside some of both with every value. Each request beyond 1000 costs the first one that
 * is left: it is never sent, and as a request waits for the reply to the one before, a modem that
 * sends nothing by itself is then asked nothing at all.
 */
#ifndef CORVANE_H
#define CORVANE_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if !defined(_WIN32)
/* There is no library, but the tests of a host can define the two functions themselves. */
#define CORVANE_API
#elif defined(CORVANE_BUILDING_DLL)
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
