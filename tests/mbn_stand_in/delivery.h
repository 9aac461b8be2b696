#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace mbn_stand_in {

// The service's own threads. Usually they take turns: the n-th task runs on thread n modulo their
// number, and no task begins before the one in front of it is done. Or they work at once: each
// takes the next task as soon as it has done its last.
class cDelivery {
 public:
  using Task = std::function<void()>;

  cDelivery() = default;
  cDelivery(const cDelivery&) = delete;
  cDelivery& operator=(const cDelivery&) = delete;
  ~cDelivery() { Stop(); }

  // Tasks that were posted before wait for this.
  void Start(std::uint32_t threadCount, bool worksAtOnce);
  // Waits for the task in progress and drops the rest. Not to be called by a task.
  void Stop();

  void Post(Task task);
  // Returns when every task posted so far is done.
  void Flush() { std::ignore = FlushWithin(std::chrono::hours(24)); }
  // False when they are not done by then.
  [[nodiscard]] bool FlushWithin(std::chrono::milliseconds limit);

  // Runs a task on a thread of its own and returns when it is done.
  static void RunApart(const Task& task);

  // "1", "2", ... on a delivery thread, "own" on one of RunApart's.
  [[nodiscard]] static std::string ThreadName();

 private:
  void Work(std::uint32_t number, std::uint32_t threadCount);

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Task> tasks;
  std::vector<std::thread> threads;
  std::uint64_t posted = 0;
  std::uint64_t begun = 0;
  std::uint64_t done = 0;
  bool isStopping = false;
  bool isAtOnce = false;
};

}  // namespace mbn_stand_in
