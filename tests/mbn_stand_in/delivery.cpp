#include "mbn_stand_in/delivery.h"

#include <utility>

namespace mbn_stand_in {
namespace {

thread_local std::uint32_t threadNumber = 0;

}  // namespace

void cDelivery::Start(std::uint32_t threadCount, bool worksAtOnce) {
  const std::lock_guard guard(mutex);
  if (!threads.empty()) {
    return;
  }
  isStopping = false;
  isAtOnce = worksAtOnce;
  for (std::uint32_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([this, i, threadCount] { Work(i, threadCount); });
  }
}

void cDelivery::Stop() {
  std::vector<std::thread> stopped;
  {
    const std::lock_guard guard(mutex);
    isStopping = true;
    done += tasks.size();
    begun += tasks.size();
    tasks.clear();
    stopped.swap(threads);
  }
  changed.notify_all();
  for (std::thread& thread : stopped) {
    thread.join();
  }
}

void cDelivery::Post(Task task) {
  {
    const std::lock_guard guard(mutex);
    ++posted;
    tasks.push_back(std::move(task));
  }
  changed.notify_all();
}

bool cDelivery::FlushWithin(std::chrono::milliseconds limit) {
  std::unique_lock guard(mutex);
  const std::uint64_t target = posted;
  // Tasks that are done at once can be done in another order than they were posted in.
  return changed.wait_for(
      guard, limit, [&] { return isStopping || (isAtOnce ? done == posted : done >= target); });
}

void cDelivery::Work(std::uint32_t number, std::uint32_t threadCount) {
  threadNumber = number + 1;
  std::unique_lock guard(mutex);
  while (true) {
    changed.wait(guard, [&] {
      return isStopping ||
             (!tasks.empty() && (isAtOnce || (begun == done && begun % threadCount == number)));
    });
    if (isStopping) {
      return;
    }
    ++begun;
    Task task = std::move(tasks.front());
    tasks.pop_front();
    guard.unlock();
    task();
    // What the task keeps may call back when it goes.
    task = nullptr;
    guard.lock();
    ++done;
    changed.notify_all();
  }
}

void cDelivery::RunApart(const Task& task) { std::thread(task).join(); }

std::string cDelivery::ThreadName() {
  return threadNumber == 0 ? "own" : std::to_string(threadNumber);
}

}  // namespace mbn_stand_in
