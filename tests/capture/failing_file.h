#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <ios>
#include <limits>
#include <stdexcept>
#include <streambuf>
#include <vector>

namespace corvane {

// Puts itself between a file stream and its file: forwards everything, counts the writes, and lets
// one of them (or of what hands them on: the seeks and flushes) fail, or that one and all that
// follow. It must outlive the stream's use.
class cFailingFile : public std::streambuf {
 public:
  static constexpr std::uint32_t kNever = std::numeric_limits<std::uint32_t>::max();

  // A short write takes half of the bytes.
  enum class eFailure { Fails, Throws, IsShort };

  explicit cFailingFile(std::ofstream& stream) : real(*stream.rdbuf()) {
    static_cast<std::ios&>(stream).rdbuf(this);
  }

  // The `nth` write (from 1) from now on fails.
  void FailWrite(std::uint32_t nth, eFailure how = eFailure::Fails) {
    writesToGo = nth;
    failure = how;
  }
  // The same of the seeks and flushes, counted together.
  void FailHandOver(std::uint32_t nth) { handOversToGo = nth; }
  // What has failed once does not work again before Heal.
  void StayBroken() { staysBroken = true; }
  void Heal() {
    writesToGo = handOversToGo = kNever;
    staysBroken = isBroken = false;
  }

  std::vector<std::streamsize> writes;  // the length of each
  std::function<void()> duringWrites;
  bool hasFailed = false;

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize length) override {
    writes.push_back(length);
    if (duringWrites) {
      duringWrites();
    }
    const bool wasBroken = isBroken;
    if (!FailsNow(writesToGo)) {
      return real.sputn(bytes, length);
    }
    if (failure == eFailure::Throws) {
      throw std::runtime_error("the device is gone");
    }
    return failure == eFailure::IsShort && !wasBroken ? real.sputn(bytes, length / 2) : 0;
  }

  int_type overflow(int_type next) override {
    if (traits_type::eq_int_type(next, traits_type::eof())) {
      return traits_type::not_eof(next);
    }
    const char byte = traits_type::to_char_type(next);
    return xsputn(&byte, 1) == 1 ? next : traits_type::eof();
  }

  pos_type seekoff(off_type offset, std::ios::seekdir way, std::ios::openmode mode) override {
    return FailsNow(handOversToGo) ? pos_type(off_type{-1}) : real.pubseekoff(offset, way, mode);
  }

  pos_type seekpos(pos_type position, std::ios::openmode mode) override {
    return FailsNow(handOversToGo) ? pos_type(off_type{-1}) : real.pubseekpos(position, mode);
  }

  int sync() override { return FailsNow(handOversToGo) ? -1 : real.pubsync(); }

 private:
  [[nodiscard]] bool FailsNow(std::uint32_t& toGo) {
    if (isBroken) {
      return true;
    }
    if (toGo == kNever || --toGo != 0) {
      return false;
    }
    toGo = kNever;
    hasFailed = true;
    isBroken = staysBroken;
    return true;
  }

  std::filebuf& real;
  std::uint32_t writesToGo = kNever;
  std::uint32_t handOversToGo = kNever;
  bool staysBroken = false;
  bool isBroken = false;
  eFailure failure = eFailure::Fails;
};

}  // namespace corvane
