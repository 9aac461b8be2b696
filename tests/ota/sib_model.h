#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ota/bits.h"
#include "ota/sib_blocks.h"

namespace corvane {

// A second, plain and slow statement of what system-information packets do, on texts of '0' and
// '1'. It shares no code with what it is compared with, and counts what happened to each piece of
// the messages.
class cSibModel {
 public:
  // What this log packet completes.
  std::vector<ByteVector> Decode(const ByteVector& packet, std::uint64_t timestamp);

  // What a message on one of the two BCCH channels completes whose payload choice, 1 to 10, is
  // known.
  std::vector<ByteVector> DecodeMessage(unsigned choice, int channel, int rbId, const Bits& message,
                                        std::uint64_t timestamp);

  BlockMap blocks;
  std::set<BlockKey> touched;             // by the last message, changed or not
  std::map<std::string, int> outcomes{};  // how often each thing happened

 private:
  bool Take(std::size_t count, Bits& taken);
  void Note(const std::string& outcome);
  [[nodiscard]] BlockKey KeyOf(const Bits& type);
  void First(bool isShort);
  void Subsequent();
  void Last(bool isShort);
  bool LastBeforeMore();
  bool List();
  void Single();
  std::string Append(const BlockKey& key, unsigned index, std::size_t count);
  void Emit(const BlockKey& key, sBlock& block);

  // The message in progress.
  unsigned currentChoice = 0;
  int marker = 0;
  int bearer = 0;
  std::uint64_t stamp = 0;
  Bits rest;  // what is still to be read
  std::vector<ByteVector> emitted;
};

}  // namespace corvane
