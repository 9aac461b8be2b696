#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

// Where the bytes of an export go: a file, a pipe. They are handed on in large pieces, so a live
// export calls Flush when it has nothing more for now. What one call of Write gives is handed on
// together: who reads a pipe gets whole blocks or lines.
//
// The first failure ends it: what is written later goes nowhere.
class cByteSink {
 public:
  cByteSink() = default;
  cByteSink(const cByteSink&) = delete;
  cByteSink& operator=(const cByteSink&) = delete;
  virtual ~cByteSink() = default;

  void Write(std::span<const std::uint8_t> bytes);
  void Write(std::string_view text);
  // Hands on what is still held.
  void Flush();

  [[nodiscard]] bool IsGood() const { return error == 0; }
  // Whether it ended because nobody reads the pipe any more.
  [[nodiscard]] bool ReaderIsGone() const;
  // Why it ended: "No space left on device". Empty while it is good.
  [[nodiscard]] std::string Problem() const;

 protected:
  // Takes all of `bytes`. Returns 0, or a value of errno.
  [[nodiscard]] virtual int Deliver(std::span<const std::uint8_t> bytes) = 0;
  // Remembers a failure, if it is the first.
  void Fail(int reason);

 private:
  std::vector<std::uint8_t> held;
  int error = 0;  // a value of errno
};

// A stream of the C library.
class cStreamSink final : public cByteSink {
 public:
  // Takes the file or pipe at `path`, which is emptied. Null, with errno set, when it cannot be
  // opened.
  [[nodiscard]] static std::unique_ptr<cStreamSink> Open(const std::string& path);
  // `borrowed` stays open, and the caller's.
  explicit cStreamSink(std::FILE* borrowed);

  // Hands on what is still held, and closes a stream that was opened here: only then is it known
  // that all went well. Nothing may be written afterwards.
  void Close();

 private:
  struct sCloser {
    void operator()(std::FILE* file) const { std::ignore = std::fclose(file); }
  };

  [[nodiscard]] int Deliver(std::span<const std::uint8_t> bytes) override;

  std::FILE* stream;
  std::unique_ptr<std::FILE, sCloser> opened;
};

}  // namespace corvane
