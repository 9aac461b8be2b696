// A host application: loads corvane.dll and calls its two functions on command.
//
//   capture_host LIBRARY                               reads commands
//   capture_host LIBRARY DEVICE CONFIG OUTPUT          starts and stops once; exit code 0 for true
//
// Commands: "start DEVICE CONFIG OUTPUT" answers "start true" or "start false"; "stop" answers
// "stopped"; "child DEVICE CONFIG OUTPUT" runs the second form in a process of its own and answers
// "exit <status, eight hexadecimal digits>"; "call MODULE FUNCTION TEXT" calls a function of a
// module that the process has loaded, int FUNCTION(const char*), and answers "called <its result>";
// "tell MODULE FUNCTION TEXT" does the same without an answer when that is 1, for while the library
// prints; "hold PATH" opens a file so that nobody else can, and answers "held"; "let go" closes it;
// "load PATH" loads a module, which stays, and answers "loaded" or "not loaded";
// "handles" answers "handles <how many the process has open>";
// "unload" frees the library and answers "unloaded"; "die" answers "dying" and ends the process on
// the spot; "quit". A field of "(null)" is a null pointer.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "e2e/hosts/command_lines.h"
#include "platform/windows_handle.h"

namespace {

using corvane::test::Say;

struct sLibrary {
  using Handle = HMODULE;
  static HMODULE None() { return nullptr; }
  static void Close(HMODULE library) { FreeLibrary(library); }
};

using CorvaneStart = bool (*)(const char*, const char*, const char*);
using CorvaneStop = void (*)();
using TextFunction = int (*)(const char*);

template <typename Function>
Function Find(HMODULE library, const char* name) {
  // By way of a plain function pointer, as the compilers ask for.
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

const char* Argument(const std::string& field) {
  return field == "(null)" ? nullptr : field.c_str();
}

std::string RunChild(const std::vector<std::string>& arguments) {
  char self[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, self, MAX_PATH);
  std::string line = std::string("\"") + self + "\"";
  for (const std::string& argument : arguments) {
    line += " \"" + argument + "\"";
  }

  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                      &process)) {
    return "not started";
  }
  const corvane::KernelHandle thread(process.hThread);
  const corvane::KernelHandle handle(process.hProcess);
  WaitForSingleObject(handle.Get(), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(handle.Get(), &status);
  char text[16];
  std::snprintf(text, sizeof text, "%08lX", status);
  return text;
}

// Of the values that handles have. GetProcessHandleCount tells 0 under Wine.
int CountHandles() {
  constexpr ULONG_PTR kStep = 4;
  constexpr ULONG_PTR kEnd = 1024 * kStep;
  int count = 0;
  for (ULONG_PTR value = kStep; value < kEnd; value += kStep) {
    DWORD flags = 0;
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE ? 1 : 0;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  corvane::test::UnbufferOutput();
  if (argc != 2 && argc != 5) {
    return 2;
  }
  corvane::cOwnedHandle<sLibrary> library(LoadLibraryA(argv[1]));
  if (!library) {
    Say("not loaded: error " + std::to_string(GetLastError()));
    return 3;
  }
  const auto start = Find<CorvaneStart>(library.Get(), "CorvaneStart");
  const auto stop = Find<CorvaneStop>(library.Get(), "CorvaneStop");
  if (start == nullptr || stop == nullptr) {
    return 4;
  }

  if (argc == 5) {
    const bool started = start(Argument(argv[2]), Argument(argv[3]), Argument(argv[4]));
    stop();
    return started ? 0 : 1;
  }

  corvane::FileHandle held;
  Say("ready");
  for (auto command = corvane::test::NextCommand(); !command.empty();
       command = corvane::test::NextCommand()) {
    const std::string& verb = command[0];
    if (verb == "start" && command.size() == 4) {
      const bool started = start(Argument(command[1]), Argument(command[2]), Argument(command[3]));
      Say(started ? "start true" : "start false");
    } else if (verb == "stop") {
      stop();
      Say("stopped");
    } else if (verb == "child" && command.size() == 4) {
      Say("exit " + RunChild({argv[1], command[1], command[2], command[3]}));
    } else if ((verb == "call" || verb == "tell") && command.size() == 4) {
      const auto function =
          Find<TextFunction>(GetModuleHandleA(command[1].c_str()), command[2].c_str());
      const std::string answer = function == nullptr
                                     ? "not found"
                                     : "called " + std::to_string(function(command[3].c_str()));
      if (verb == "call" || answer != "called 1") {
        Say(answer);
      }
    } else if (verb == "hold" && command.size() == 2) {
      held = corvane::FileHandle(CreateFileA(command[1].c_str(), GENERIC_READ, 0, nullptr,
                                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
      Say(held ? "held" : "not held: error " + std::to_string(GetLastError()));
    } else if (verb == "let go") {
      held.Reset();
      Say("let go");
    } else if (verb == "load" && command.size() == 2) {
      Say(LoadLibraryA(command[1].c_str()) != nullptr ? "loaded" : "not loaded");
    } else if (verb == "handles") {
      Say("handles " + std::to_string(CountHandles()));
    } else if (verb == "unload") {
      library.Reset();
      Say("unloaded");
    } else if (verb == "die") {
      Say("dying");
      TerminateProcess(GetCurrentProcess(), 9);
    } else if (verb == "quit") {
      break;
    } else {
      Say("unknown command " + verb);
    }
  }
  return 0;
}
