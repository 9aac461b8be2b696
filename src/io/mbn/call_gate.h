#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

// Which of the platform's threads come into the mobile-broadband transport, which thread opens the
// device's service, and which one reports what became of the session.
namespace corvane {

// Lets calls of other threads in while it is open. Close keeps further ones out and waits for those
// that are inside, so that what they use can be taken down afterwards.
class cCallGate {
 public:
  // One call's stay inside, or the refusal of one.
  class cPass {
   public:
    explicit cPass(cCallGate* entered) : gate(entered) {}
    cPass(const cPass&) = delete;
    cPass& operator=(const cPass&) = delete;
    ~cPass() {
      if (gate != nullptr) {
        gate->Leave();
      }
    }
    explicit operator bool() const { return gate != nullptr; }

   private:
    cCallGate* gate;
  };

  // A new gate is closed.
  void Open();

  // Returns once nobody is inside, and nobody can come in until the next Open. Must not be called
  // from inside.
  void Close();

  [[nodiscard]] cPass Enter();

 private:
  void Leave();

  // Never held while anything else is called.
  std::mutex mutex;
  std::condition_variable lastOneLeft;
  bool isOpen = false;
  std::uint32_t callsInside = 0;
};

// Makes one thread at a time open the device's service. It is a flag and no lock: a platform that
// waits for its callbacks before it answers the thread that opens is not kept waiting.
class cOpeningTurn {
 public:
  // A new one is forbidden.
  void Allow();

  // Keeps further threads from opening, and returns when the one that is opening is done. Not to be
  // called by that one.
  void Forbid();

  // The caller opens from now on. Waits while another thread does, so not to be called by a call of
  // the platform's. False: forbidden.
  [[nodiscard]] bool Take();

  // The same without waiting. False: forbidden, or another thread is opening, which looks again
  // before it gives its turn back.
  [[nodiscard]] bool TryTake();

  // The caller is done. False: it has to look again first, because another thread would have opened
  // meanwhile. Never false once it is forbidden.
  [[nodiscard]] bool GiveBack();

 private:
  std::mutex mutex;  // never held while anything else is called
  std::condition_variable becameFree;
  bool isAllowed = false;
  bool isTaken = false;
  bool lookAgain = false;
};

// What a connection handler is called for.
enum class eReport { Opened, Ended };

// Makes one thread at a time report, in the order in which the reports were added. It is a flag and
// no lock: a thread that finds another one reporting leaves its report to that one.
class cReportTurn {
 public:
  // Adds a report for whoever has the turn or takes it next; the caller goes on to Take. Reports
  // wait only while a handler runs. When as many wait as there is room for, the newest takes the
  // place of the one before it: the last report is always that of the present state.
  void Add(eReport report);

  // The caller reports from now on, until Next has none. False: another thread does.
  [[nodiscard]] bool Take();

  // What the caller reports next. None: the turn is given back.
  [[nodiscard]] std::optional<eReport> Next();

  // Whether an end waits: what the handlers know is then still a session that is gone.
  [[nodiscard]] bool HasEndWaiting();

  // How many reports have room to wait.
  static constexpr std::size_t kRoom = 32;

 private:
  std::mutex mutex;  // never held while anything else is called
  bool isTaken = false;
  std::array<eReport, kRoom> waiting{};  // the first `count`, oldest first
  std::size_t count = 0;
};

}  // namespace corvane
