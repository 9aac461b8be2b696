// The reading end of a named pipe, as Wireshark makes it: inbound, of bytes.
//
//   pipe_host NAME FILE
//
// Says "ready" when the pipe \\.\pipe\NAME can be opened, and "connected" when it was. Puts what
// comes into FILE, and says "closed" when the writer has closed its end. The end of its input ends
// it, and closes the pipe.
#include <windows.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "e2e/hosts/command_lines.h"

namespace {

using corvane::test::Say;

void Read(HANDLE pipe, const char* path) {
  if (!ConnectNamedPipe(pipe, nullptr) && GetLastError() != ERROR_PIPE_CONNECTED) {
    Say("failed " + std::to_string(GetLastError()));
    return;
  }
  Say("connected");
  std::FILE* const file = std::fopen(path, "wb");
  std::vector<char> bytes(65536);
  DWORD count = 0;
  while (ReadFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) {
    std::fwrite(bytes.data(), 1, count, file);
    std::fflush(file);
  }
  std::fclose(file);
  Say("closed");
}

}  // namespace

int main(int argc, char** argv) {
  corvane::test::UnbufferOutput();
  if (argc != 3) {
    return 2;
  }
  const std::string name = std::string("\\\\.\\pipe\\") + argv[1];
  const HANDLE pipe = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND,
                                       PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 65536,
                                       65536, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) {
    return 1;
  }
  std::thread(Read, pipe, argv[2]).detach();
  Say("ready");
  while (std::getchar() != EOF) {
  }
  // The reading thread may be blocked; the pipe is closed with the process.
  ExitProcess(0);
}
