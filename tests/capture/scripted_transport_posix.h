#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <vector>

#include "capture/traffic.h"
#include "capture/transport.h"
#include "capture/turns_posix.h"
#include "support/bytes.h"

// A transport without Windows: it calls a session from the same threads, under the same locks and
// with the same promises as the real one does, in an order that cTurns chooses. There is one of
// each kind (scripted_port_posix.h, scripted_broadband_posix.h).
namespace corvane {

// What a seed decides of one capture.
struct sSchedule {
  explicit sSchedule(std::uint64_t seed);

  std::uint64_t seed;
  bool isSerial;
  cTurns::eOrder order;
  std::uint32_t connections;  // that the device begins, if it is not stopped before
  bool stopsWhenQuiet;        // the last one stays, and has answered everything before the stop
  std::uint32_t stopBehind;   // seams of the thread that stops, otherwise
};

// What one thread has handed to the session for good: it has to be in the file, in this order.
using HandedOver = std::vector<ByteVector>;

// What the modem sends: a packet on its own, which tells who sent it and a number, and the reply to
// a request.
[[nodiscard]] ByteVector TrafficPacket(cDice& dice, std::uint8_t source, std::uint16_t number);
[[nodiscard]] ByteVector ReplyPacket(std::uint8_t source, std::uint16_t number);
extern const ByteVector kEventReply;  // to the event-reporting request, which tells neither

class cScriptedTransport : public cIO, public cTraffic {
 public:
  cScriptedTransport(const sSchedule& chosen, cTurns& allTurns, std::uint32_t kindOfTransport);

  // Whether the device has answered all that the connection asks for, which stays.
  [[nodiscard]] virtual bool IsQuiet() const = 0;
  // Once the session is closed: ends what still runs on the platform's side.
  virtual void EndPlatform() {}

  // The rest once every thread has ended. How often the session's handlers were called:
  std::uint32_t connected = 0;
  std::uint32_t disconnected = 0;
  std::list<HandedOver> handedOver;
  // The requests of each connection that were written, or could not be.
  std::list<HandedOver> requests;
  // How often the session was called, in any way; the test sees whether that goes on.
  std::atomic<std::uint32_t> calls = 0;

 protected:
  void CallConnected();
  void CallDisconnected();

  const sSchedule schedule;
  cTurns& turns;
  ConnectionHandler onConnected = nullptr;
  ConnectionHandler onDisconnected = nullptr;
  void* context = nullptr;
};

}  // namespace corvane
