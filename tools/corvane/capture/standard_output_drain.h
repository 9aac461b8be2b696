#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace corvane::tools {

// Cuts bytes that come in pieces into lines. A carriage return in front of a line end belongs to
// it.
class cLineCutter {
 public:
  using LineTaker = std::function<void(const std::string& line)>;

  // A longer line is given in pieces, so that memory stays bounded.
  static constexpr std::size_t kLongestLine = 4000;

  explicit cLineCutter(LineTaker taker) : take(std::move(taker)) {}

  void Add(std::string_view bytes);
  // Gives what stands behind the last line end, if anything does.
  void Finish();

 private:
  void Give();

  LineTaker take;
  std::string line;
};

// Takes away from standard output what the process prints there, the libraries that share its C
// runtime included, and gives it line by line. It is read on a thread of its own as fast as it
// comes: a library that prints never waits. While this exists, standard output itself is reached by
// what KeepStandardOutput has given. At most one may exist.
class cStandardOutputDrain {
 public:
  // `take` is called on the thread. Throws std::system_error when the system refuses.
  explicit cStandardOutputDrain(cLineCutter::LineTaker take);
  cStandardOutputDrain(const cStandardOutputDrain&) = delete;
  cStandardOutputDrain& operator=(const cStandardOutputDrain&) = delete;
  // Gives standard output back. Every line that was printed has been taken then.
  ~cStandardOutputDrain();

 private:
  void ReadAll();

  cLineCutter cutter;
  int original = -1;  // descriptor of what standard output was; -1 for none
  int readEnd = -1;
  std::thread thread;
};

// What writes to standard output as it is now, in one piece, also when it is redirected later. It
// works for as long as the process, so that a writer which is stuck may be left behind.
[[nodiscard]] std::function<bool(const std::string&)> KeepStandardOutput();

// Writes to standard error in one piece.
[[nodiscard]] bool WriteStandardError(const std::string& text);

}  // namespace corvane::tools
