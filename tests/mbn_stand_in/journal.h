#pragma once

#include <string>

namespace mbn_stand_in {

// Appends lines to the log, the file that the environment variable CORVANE_MBN_LOG names; without
// one nothing is logged. From any thread. Each line is in the file when the call returns, and it is
// read as:
//
//   world                    the first object of a run was asked for; the scenario was read
//   call NAME [ARGUMENTS] -> 0xHRESULT
//                            a call of the client's, logged when it is done
//   callback NAME [ARGUMENTS] on THREAD -> 0xHRESULT
//                            a call of the sink's, logged when it has returned; THREAD is the
//                            number of the delivering thread, or "own" for a thread of its own
//   made OBJECT#N            an object came to be, and its last reference was given back
//   gone OBJECT#N
//   waited in vain NAME      a callback had to return before this call went on, and did not
//   sink leaves              a registration's end was asked for; the calls in progress come first
//   sink released COUNT      the sink was let go of, and had so many references left
//   end                      the last object is gone
//   alive OBJECT#N COUNT     at unload: an object that is still there, with its references
//   unload OBJECTS REFERENCES
//                            at unload: how many of both there are
void Log(const std::string& line);

// "0x80004005".
[[nodiscard]] std::string ResultText(long result);

// ASCII text of a wide string; "null" for null.
[[nodiscard]] std::string Narrow(const wchar_t* text);

}  // namespace mbn_stand_in
