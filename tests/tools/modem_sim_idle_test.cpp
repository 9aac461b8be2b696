#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <string_view>

#include "modem_sim/simulator.h"
#include "support/temp_directory.h"

namespace corvane::modem_sim {
namespace {

// Stands between a simulator and the system's poll: opens and closes the terminal as a host does,
// and ends the simulator once that waits for its descriptors alone.
class cVisitor {
 public:
  cVisitor(std::string terminalLink, int commandPipe)
      : link(std::move(terminalLink)), commands(commandPipe) {}

  int Poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    // Far more than one visit takes. A simulator that never rests comes here without end.
    constexpr int kMostLooks = 1000;
    if (++looks > kMostLooks) {
      Quit();
      return ::poll(descriptors, count, 0);
    }
    const bool rests = milliseconds < 0 && ::poll(descriptors, count, 0) == 0;
    if (stage == eStage::Before && rests) {
      host = cUniqueFd(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
      stage = eStage::Visiting;
    } else if (stage == eStage::Visiting && milliseconds > 0) {
      // It has seen the host: a heartbeat is due for it.
      host.Reset();
      stage = eStage::Gone;
    } else if (stage == eStage::Gone && rests) {
      stage = eStage::RestsAgain;
      Quit();
    }
    return ::poll(descriptors, count, milliseconds);
  }

  [[nodiscard]] bool SawItRestAgain() const { return stage == eStage::RestsAgain; }

 private:
  enum class eStage { Before, Visiting, Gone, RestsAgain };

  void Quit() {
    constexpr std::string_view kQuit = "quit\n";
    EXPECT_EQ(::write(commands, kQuit.data(), kQuit.size()), static_cast<ssize_t>(kQuit.size()));
  }

  std::string link;
  int commands;
  cUniqueFd host;
  eStage stage = eStage::Before;
  int looks = 0;
};

TEST(ModemSimIdleTest, AfterItsHostHasGoneItWaitsWithoutWakingUp) {
  const cTempDirectory folder;
  sOptions options;
  options.link = folder.Path("modem");
  int commands[2] = {-1, -1};
  ASSERT_EQ(::pipe2(commands, O_CLOEXEC), 0);
  const cUniqueFd commandsOut(commands[0]);
  const cUniqueFd commandsIn(commands[1]);
  const cUniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  cReport report(nowhere.Get(), cUniqueFd(), false);

  cVisitor visitor(options.link, commandsIn.Get());
  cSimulator simulator(options, report, [&](pollfd* descriptors, nfds_t count, int milliseconds) {
    return visitor.Poll(descriptors, count, milliseconds);
  });
  EXPECT_TRUE(simulator.Run(commandsOut.Get(), -1));
  EXPECT_TRUE(visitor.SawItRestAgain());
}

}  // namespace
}  // namespace corvane::modem_sim
