#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "capture/reader_loop.h"
#include "capture/session.h"
#include "capture/session_fixture.h"
#include "capture/traffic.h"
#include "capture/transport.h"
#include "support/bytes.h"

// One whole capture by a script, on one thread: start, connection, every request, traffic of every
// kind, disconnection, another connection, stop. It is the same each time, so that one thing after
// the other can be made to fail in it.
namespace corvane {

enum class eWay { SerialPort, MobileBroadband };

// What is told when an item cannot be recorded.
enum class eTold {
  Never,
  Packet,    // "error 9 writing item", on the mobile-broadband transport
  PortText,  // "bad string write response"
  StartOnly  // "Unable to write info string", and there is no capture
};

// An item that the capture file has to have, and what follows when it has not.
struct sExpectedItem {
  sFileItem item;
  eTold told = eTold::Never;
};

// Bytes that arrive at once, and the items that they make.
struct sDelivery {
  ByteVector bytes;
  std::vector<sExpectedItem> items;
  bool goesOn = false;  // in the next delivery: no answer comes between the two
};

// What the modem sends on its own in each of the two connections.
[[nodiscard]] std::array<std::vector<sDelivery>, 2> ScriptOf(eWay way);

// The items of a file with what changes from run to run taken out: the time in rebuilt packets.
[[nodiscard]] std::vector<sFileItem> ComparableItems(std::vector<sFileItem> items);

// Answers every request, and sends a delivery of the script between two answers.
class cScriptedModem {
 public:
  explicit cScriptedModem(eWay way);

  void Connect(std::size_t connection);
  void TakeFrame(std::span<const std::uint8_t> frame);
  // The next bytes; none when everything has been sent.
  [[nodiscard]] std::span<const std::uint8_t> Next();

  std::uint32_t framesTaken = 0;
  // Takes down what the file has to have; null while memory runs out.
  std::vector<sExpectedItem>* expected = nullptr;

 private:
  void Expect(const std::vector<sExpectedItem>& items);

  const std::array<std::vector<sDelivery>, 2> script;
  std::vector<sDelivery> replies;
  sDelivery eventReply;
  const std::vector<sDelivery>* traffic = nullptr;
  std::size_t trafficSent = 0;
  std::size_t repliesSent = 0;
  std::array<const sDelivery*, 64> pending{};  // replies that are due
  std::size_t pendingFirst = 0;
  std::size_t pendingEnd = 0;
  bool isTrafficsTurn = false;
};

// Runs the capture.
class cWholeCapture {
 public:
  explicit cWholeCapture(eWay way);
  cWholeCapture(const cWholeCapture&) = delete;
  cWholeCapture& operator=(const cWholeCapture&) = delete;

  // Starts the capture of the session; false or std::bad_alloc where it does not start.
  using Start = std::function<bool(cCaptureSession& session)>;

  // The whole course. Each is called, where there is one: `behindDelivery` whenever what arrived
  // has been dealt with, `beforeEnd` when the file is about to be closed, `whenStopped` when it is
  // closed and the session is still there. Returns whether the capture started.
  bool Run(const Start& start);

  std::function<void()> behindDelivery;
  std::function<void(cCaptureSession& session)> beforeEnd;
  std::function<void(cCaptureSession& session)> whenStopped;

  cScriptedModem modem;

 private:
  class cTransport;
  class cPort;
  class cScriptedTraffic;

  void RunConnection(cCaptureSession& session, std::size_t number);
  void ReadPort(cCaptureSession& session);
  void DeliverData(cCaptureSession& session);
  bool Capture(cCaptureSession& session, const Start& start);
  void Expect(std::string_view text, eTold told);

  const eWay way;
};

// The filters of the capture: each kind of request is among what they ask for.
[[nodiscard]] bool StartWithFilters(cCaptureSession& session, std::unique_ptr<std::ofstream> file);
// The same as the text of a configuration.
extern const std::string_view kConfigurationText;

}  // namespace corvane
