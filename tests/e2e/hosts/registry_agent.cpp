// Changes the registry on command, much faster than a program started for each change.
//
//   string  KEY NAME TEXT     number  KEY NAME VALUE     key  KEY     delete  KEY
//
// Keys are under HKEY_LOCAL_MACHINE; "delete" takes the whole tree. Each command is answered by
// "ok" or "error <code>".
#include <windows.h>

#include <string>
#include <vector>

#include "e2e/hosts/command_lines.h"
#include "support/windows_handles.h"

namespace {

using corvane::test::RegistryKey;

LSTATUS OpenOrCreate(const std::string& path, RegistryKey& key) {
  HKEY opened = nullptr;
  const LSTATUS result = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE,
                                         nullptr, &opened, nullptr);
  if (result == ERROR_SUCCESS) {
    key.Reset(opened);
  }
  return result;
}

LSTATUS SetValue(const std::string& path, const std::string& name, DWORD type, const void* bytes,
                 std::size_t size) {
  RegistryKey key;
  const LSTATUS result = OpenOrCreate(path, key);
  if (result != ERROR_SUCCESS) {
    return result;
  }
  return RegSetValueExA(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(bytes),
                        static_cast<DWORD>(size));
}

LSTATUS Run(const std::vector<std::string>& command) {
  const std::string& verb = command[0];
  if (verb == "string" && command.size() >= 3) {
    const std::string text = command.size() > 3 ? command[3] : "";
    return SetValue(command[1], command[2], REG_SZ, text.c_str(), text.size() + 1);
  }
  if (verb == "number" && command.size() == 4) {
    const DWORD value = static_cast<DWORD>(std::stoul(command[3]));
    return SetValue(command[1], command[2], REG_DWORD, &value, sizeof value);
  }
  if (verb == "key" && command.size() == 2) {
    RegistryKey key;
    return OpenOrCreate(command[1], key);
  }
  if (verb == "delete" && command.size() == 2) {
    return RegDeleteTreeA(HKEY_LOCAL_MACHINE, command[1].c_str());
  }
  return ERROR_BAD_COMMAND;
}

}  // namespace

int main() {
  using namespace corvane::test;
  UnbufferOutput();
  Say("ready");
  for (auto command = NextCommand(); !command.empty(); command = NextCommand()) {
    const LSTATUS result = Run(command);
    Say(result == ERROR_SUCCESS ? "ok" : "error " + std::to_string(result));
  }
  return 0;
}
