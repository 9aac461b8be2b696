#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "mbn_stand_in/frames.h"

namespace mbn_stand_in {

// What the stand-in is to do: a text file, named by the environment variable CORVANE_MBN_SCENARIO
// and read when a client asks for the first object. Without the variable there are no interfaces.
//
// One statement a line; words are separated by blanks; "#" begins a comment. HRESULT is a number as
// C writes it, HEX are bytes as pairs of digits.
//
//   interface ID              an interface that is there from the start; more lines, more of them
//   interface-list FORM       what GetInterfaces gives: vector (the usual), from-one (indexed so),
//                             untyped (interface pointers without a VARTYPE), dispatch
//                             (VT_DISPATCH), matrix (two dimensions), numbers (VT_I4),
//                             wide-numbers (VT_I8), nothing (success and null), strangers (a null
//                             element and one that is no interface stand before the others)
//   fail CALL TIMES HRESULT   the first TIMES calls ("always": all) of this method of any object
//                             return HRESULT and do nothing; "CreateInstance(NAME)" is the making
//                             of an object for one of the client's three CoCreateInstance calls:
//                             DeviceServicesManager, ConnectionPointContainer, InterfaceManager.
//                             More lines for one CALL follow one another
//   nothing CALL TIMES        the same, but they return success without giving anything
//   open-completion WHEN [HRESULT]
//   close-completion WHEN [HRESULT]
//                             when the sink hears of a command session's opening (closing), and
//                             with which status: queued (the usual: on a delivery thread), a
//                             number of milliseconds (queued, and so much later),
//                             before-return (on a thread of its own, before the call that asked for
//                             it returns), withheld (not at all; a step can make up for it)
//   service-pointers varied   the sink gets another pointer to its service object than the client
//                             got from GetDeviceService; only their IUnknown is the same
//   threads COUNT [at-once]   so many delivery threads take turns, one call after the other; or
//                             each makes the next call as soon as its last has returned; 1
//   reply CODE HEX            the reply to a command whose packet begins with CODE is this packet;
//                             to the others it is their own packet
//   at command N STEP         what follows the N-th command of a session (from 0); more lines, more
//   at command * STEP         steps. "*": every command without lines of its own
//   at opened STEP            what follows an open completion
//   at advise STEP            what is over before Advise returns
//   during CALL STEP          what is over before the first call of this method does anything: the
//                             call waits for it, and logs when it has waited 10 seconds in vain.
//                             "service.Release" is the last Release of a service object
//
// Steps, each a call of the sink's on a delivery thread unless it says otherwise (the event IDs of
// notifications count up from 0):
//
//   reply                     a notification with the reply's frame (only "at command")
//   reply-twice               the reply's frame twice in one notification
//   reply-cut COUNT           the reply's frame in two notifications, the first of COUNT bytes
//   reply-overtaking          as reply, on a thread of its own, before SetCommand returns
//   packets HEX...            a notification with a frame for each packet
//   packets-overtaking HEX... as packets, on a thread of its own, before SetCommand returns (only
//                             "at command")
//   bytes HEX                 a notification with just these bytes
//   bytes-from LOWER HEX      the same, the array's lower bound being LOWER
//   zeros COUNT               a notification with COUNT bytes of 0
//   words COUNT               a notification with an array of COUNT 16-bit elements
//   rectangle                 a notification with a two-dimensional array of bytes
//   nothing                   a notification with a null array
//   stranger HEX              a notification with a packet's frame, from another service object
//   opened HRESULT            an open completion
//   closed HRESULT            a close completion
//   stranger-opened, stranger-closed
//                             the same with S_OK, from another service object
//   others                    each of the seven callbacks that no steps above make
//   remove ID, arrive ID      the interface goes (and with it its session) or comes back, in this
//                             letter case
//   announce ID STATE         a state change that changes nothing
//   fail CALL TIMES HRESULT   as the line of that name, from now on
struct sStep {
  std::string name;
  std::vector<std::string> arguments;
};

enum class eCompletion { Queued, BeforeReturn, Withheld };

struct sCompletion {
  eCompletion when = eCompletion::Queued;
  std::uint32_t delay = 0;  // milliseconds, for Queued
  long status = 0;
};

struct sFailure {
  std::uint32_t timesLeft = 0;
  long result = 0;
};

struct sScenario {
  std::vector<std::wstring> interfaces;
  std::string interfaceList = "vector";
  // By method, in order; a result may be success.
  std::map<std::string, std::deque<sFailure>> failures;
  sCompletion openCompletion;
  sCompletion closeCompletion;
  bool variesServicePointers = false;
  std::uint32_t threads = 1;
  bool threadsWorkAtOnce = false;
  std::map<std::uint8_t, ByteVector> replies;
  std::map<std::string, std::vector<sStep>> steps;  // by "command 3", "opened", "during CALL"
};

// Throws std::invalid_argument, with the line, for what it does not know.
[[nodiscard]] sScenario ReadScenario();
[[nodiscard]] sStep ParseStep(const std::vector<std::string>& words);
[[nodiscard]] std::vector<std::string> SplitWords(const std::string& line);
// Appends what a "fail" line says of `call`.
void AddFailure(sScenario& scenario, const std::string& call, const std::string& times,
                long result);
[[nodiscard]] long ParseResult(const std::string& word);

}  // namespace mbn_stand_in
