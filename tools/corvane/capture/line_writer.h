#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace corvane::tools {

// Writes texts on a thread of its own, each in one piece and in the order in which they came.
// Whoever has something to write never waits: a terminal that stands still, or a pipe that nobody
// reads, must not stop a capture. What does not fit into the waiting line meanwhile is left out,
// and a line says how many there were as soon as there is room again. Every operation may be called
// from any thread.
class cLineWriter {
 public:
  // Writes all of a text, as long as it may take. False when it could not: a closed stream is no
  // reason to end a capture, the texts behind it are tried all the same.
  using WriteCall = std::function<bool(const std::string& text)>;
  // The line for the reader, line end included, when so many texts were left out.
  using OmissionText = std::function<std::string(std::uint64_t count)>;

  static constexpr std::size_t kMostWaiting = 2000;  // texts
  // How long the end of a program waits for a reader that takes nothing.
  static constexpr std::chrono::milliseconds kPatienceAtEnd = std::chrono::seconds(2);

  cLineWriter(WriteCall write, OmissionText omission);
  cLineWriter(const cLineWriter&) = delete;
  cLineWriter& operator=(const cLineWriter&) = delete;
  // Finishes.
  ~cLineWriter();

  void Put(std::string text);

  // Waits until everything is written, and ends the thread. A reader that takes nothing at all for
  // `patience` is given up: the thread then stays behind with what it has. Later texts are dropped.
  void Finish(std::chrono::milliseconds patience = kPatienceAtEnd);

 private:
  // The thread has its share in this, so that it may stay behind.
  struct sState {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> waiting;
    std::uint64_t omitted = 0;  // since the last text that was taken
    std::uint64_t written = 0;  // texts
    bool finishing = false;
    bool ended = false;
    WriteCall write;
    OmissionText omission;
  };

  static void WriteAll(const std::shared_ptr<sState>& state);

  std::shared_ptr<sState> state = std::make_shared<sState>();
  std::thread thread;
};

}  // namespace corvane::tools
