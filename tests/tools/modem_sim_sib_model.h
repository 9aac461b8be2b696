#pragma once

#include <map>
#include <string>
#include <tuple>

#include "modem_sim/bytes.h"

namespace corvane::modem_sim {

// What a recorder makes of 0x412F packets, packet by packet, in strings of '0' and '1': plain and
// slow, apart from both the simulator's encoder and the recorder's decoder. It does not know which
// blocks were cut up, only what the bits say.
class cSibModel {
 public:
  // Takes the packet. Returns the whole blocks that it completes, their time stamps zero.
  [[nodiscard]] std::vector<Bytes> Take(ByteView packet);

  // The combination that the packet's first bits tell, read least significant bit first; 0 when
  // they are no system information.
  [[nodiscard]] static unsigned Choice(ByteView packet);

 private:
  struct sHeld {
    std::size_t expected = 0;
    std::size_t received = 0;
    std::string bits;
  };
  using Key = std::tuple<unsigned, unsigned, unsigned>;  // channel, bearer, type

  [[nodiscard]] unsigned Read(unsigned count);
  [[nodiscard]] std::string Cut(std::size_t count);
  [[nodiscard]] Key KeyOf(unsigned type) const { return {channel, bearer, type}; }
  void First(bool isShort);
  void Continue(bool isShort, bool isLast);
  void List();
  void Emit(unsigned type, const std::string& bits);

  std::map<Key, sHeld> held;
  std::vector<Bytes> completed;
  std::string left;  // bits of the message that are not read yet
  unsigned channel = 0;
  unsigned bearer = 0;
};

}  // namespace corvane::modem_sim
