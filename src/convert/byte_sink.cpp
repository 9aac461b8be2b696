#include "convert/byte_sink.h"

#include <cerrno>
#include <system_error>
#include <tuple>

#include "platform/stream_error.h"

namespace corvane {
namespace {

// A call to the system for each block takes longer than making the block.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

}  // namespace

void cByteSink::Write(std::span<const std::uint8_t> bytes) {
  if (!IsGood()) {
    return;
  }
  held.insert(held.end(), bytes.begin(), bytes.end());
  if (held.size() >= kPiece) {
    Flush();
  }
}

void cByteSink::Write(std::string_view text) {
  if (!IsGood()) {
    return;
  }
  held.insert(held.end(), text.begin(), text.end());
  if (held.size() >= kPiece) {
    Flush();
  }
}

void cByteSink::Flush() {
  if (IsGood() && !held.empty()) {
    Fail(Deliver(held));
  }
  held.clear();
}

bool cByteSink::ReaderIsGone() const { return error == EPIPE; }

std::string cByteSink::Problem() const {
  return IsGood() ? std::string() : std::generic_category().message(error);
}

void cByteSink::Fail(int reason) {
  if (IsGood()) {
    error = reason;
  }
}

std::unique_ptr<cStreamSink> cStreamSink::Open(const std::string& path) {
  std::unique_ptr<std::FILE, sCloser> file(std::fopen(path.c_str(), "wb"));
  if (file == nullptr) {
    return nullptr;
  }
  auto sink = std::make_unique<cStreamSink>(file.get());
  sink->opened = std::move(file);
  return sink;
}

cStreamSink::cStreamSink(std::FILE* borrowed) : stream(borrowed) {
  // The pieces are large enough, and a second buffer would hold them back.
  std::ignore = std::setvbuf(stream, nullptr, _IONBF, 0);
}

void cStreamSink::Close() {
  Flush();
  errno = 0;
  if (opened != nullptr && std::fclose(opened.release()) != 0) {
    Fail(LastStreamError());
  }
}

int cStreamSink::Deliver(std::span<const std::uint8_t> bytes) {
  errno = 0;
  return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() ? 0 : LastStreamError();
}

}  // namespace corvane
