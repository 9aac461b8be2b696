// Writes the corpus of reader_fuzzer: make_reader_corpus FOLDER
#include <fstream>
#include <iostream>
#include <string>

#include "fuzz/file_script.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

constexpr std::uint64_t kStart = 13'360'420'800'000;

[[nodiscard]] cCaptureBuilder EveryKindOfItem() {
  cCaptureBuilder builder;
  builder.Add({7, kStart, TextItem("Port COM7 connected"), {}});
  builder.Add({2, kStart + 300, Hex("7D 04 05 00 05 00 00 00 09 00 00 00"), {}});
  builder.Add({1, kStart + 70'000, Hex("60 00 00"), {}});
  builder.Add({10, kStart - 1, Hex("4B 0F 00 00"), {}});
  builder.Add({9, kStart, Hex("4B 25 08 00 00 00 00 00 00 00 00 00 00 10 00"), {}});
  builder.Add({4, kStart, Hex("60 0B 00 01 20 01 02 03 04 05 06 07 08 AA"), {}});
  builder.Add(
      {6, kStart, Hex("79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 6F 00"), {}});
  builder.Add({0, kStart, Hex("10 00 04 00 04 00 34 12"), {}});
  builder.Add({5, kStart, Hex("10 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"), {}});
  builder.Add(
      {8, kStart, Hex("10 00 12 00 12 00 2F 41 00 00 00 00 00 00 00 00 FE 00 02 00 05 AA"), 7});
  return builder;
}

// A full block and a second one with an item, made by the step for a full directory.
[[nodiscard]] ByteVector TwoBlockScript() {
  ByteVector script = Hex("03 08 31 60 AB 81");
  const std::size_t second = 4 + 57360 + 8192 * 2;
  ByteVector rest;
  Append(rest, second, 8);
  Append(rest, kStart, 8);
  rest.insert(rest.end(), 8192 * 2, 0);
  cCaptureBuilder one;
  one.Add({1, kStart, {0x42}, {}});
  rest.insert(rest.end(), one.Unclosed().begin() + 4, one.Unclosed().end());
  for (const std::uint64_t number : {std::uint64_t{4}, kStart, std::uint64_t{second}, kStart}) {
    Append(rest, number, 8);
  }
  Append(rest, 0, 8);
  Append(rest, 8193, 4);
  Append(rest, 0xAB603107, 4);
  const ByteVector more = ScriptOf(rest);
  script.insert(script.end(), more.begin(), more.end());
  return script;
}

// A file that is read after its header, its block, and its item.
[[nodiscard]] ByteVector GrowingScript() {
  cCaptureBuilder builder;
  ByteVector script = ScriptOf(builder.Unclosed());
  const auto append = [&script](const ByteVector& steps) {
    script.insert(script.end(), steps.begin(), steps.end());
  };
  append(Hex("82"));
  builder.AddBlock(kStart);
  append(ScriptOf(ByteVector(builder.Unclosed().begin() + 4, builder.Unclosed().end())));
  append(Hex("82 01 07 42 82"));                             // the record: time and one byte
  append(Hex("83 04 00 00 00 01 00 00 00 00 01 00 00 82"));  // its directory entry
  return script;
}

void Write(const std::string& path, const ByteVector& script) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(script.data()),
             static_cast<std::streamsize>(script.size()));
  if (!file.flush()) {
    std::cerr << path << " cannot be written\n";
  }
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
  using namespace corvane;
  if (argc != 2) {
    std::cerr << "make_reader_corpus FOLDER\n";
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  Write(folder + "every-item-closed", ScriptOf(EveryKindOfItem().Closed()));
  Write(folder + "every-item-unclosed", ScriptOf(EveryKindOfItem().Unclosed()));
  Write(folder + "no-items", ScriptOf(cCaptureBuilder().Closed()));
  Write(folder + "two-blocks", TwoBlockScript());
  Write(folder + "growing", GrowingScript());
  return 0;
}
