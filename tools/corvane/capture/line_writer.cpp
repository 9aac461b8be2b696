#include "corvane/capture/line_writer.h"

#include <tuple>
#include <utility>

namespace corvane::tools {

cLineWriter::cLineWriter(WriteCall write, OmissionText omission) {
  state->write = std::move(write);
  state->omission = std::move(omission);
  thread = std::thread([shared = state] { WriteAll(shared); });
}

cLineWriter::~cLineWriter() { Finish(); }

void cLineWriter::Put(std::string text) {
  const std::lock_guard guard(state->mutex);
  if (state->finishing) {
    return;
  }
  if (state->waiting.size() >= kMostWaiting) {
    ++state->omitted;
    return;
  }
  if (const std::uint64_t count = std::exchange(state->omitted, 0); count != 0) {
    state->waiting.push_back(state->omission(count));
  }
  state->waiting.push_back(std::move(text));
  state->changed.notify_all();
}

void cLineWriter::WriteAll(const std::shared_ptr<sState>& state) {
  std::unique_lock guard(state->mutex);
  for (;;) {
    state->changed.wait(guard, [&] { return state->finishing || !state->waiting.empty(); });
    if (state->waiting.empty()) {
      break;
    }
    const std::string text = std::move(state->waiting.front());
    state->waiting.pop_front();
    guard.unlock();
    std::ignore = state->write(text);
    guard.lock();
    ++state->written;
    state->changed.notify_all();
  }
  state->ended = true;
  state->changed.notify_all();
}

void cLineWriter::Finish(std::chrono::milliseconds patience) {
  if (!thread.joinable()) {
    return;
  }
  std::unique_lock guard(state->mutex);
  if (const std::uint64_t count = std::exchange(state->omitted, 0); count != 0) {
    state->waiting.push_back(state->omission(count));
  }
  state->finishing = true;
  state->changed.notify_all();
  std::uint64_t seen = state->written;
  while (!state->ended) {
    const bool moved = state->changed.wait_for(
        guard, patience, [&] { return state->ended || state->written != seen; });
    if (!moved) {
      break;
    }
    seen = state->written;
  }
  const bool ended = state->ended;
  guard.unlock();
  if (ended) {
    thread.join();
  } else {
    thread.detach();
  }
}

}  // namespace corvane::tools
