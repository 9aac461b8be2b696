#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "capture/isf/store.h"
#include "diag/shared_buffer.h"

// Stands in for the reassembly of system information: the store's calls end up here.
namespace corvane {

struct sOtaCall {
  const cISFStore* store = nullptr;
  std::vector<std::uint8_t> packet;
  std::uint64_t arrivalTime = 0;
};

// The calls since the recorder was made. There is at most one at a time; without one, calls are
// ignored.
class cOtaRecorder {
 public:
  // Runs inside every call, after it was recorded.
  using Handler = std::function<void(cISFStore& store, sSharedBuffer& item)>;

  explicit cOtaRecorder(Handler handler = {});
  ~cOtaRecorder();
  cOtaRecorder(const cOtaRecorder&) = delete;
  cOtaRecorder& operator=(const cOtaRecorder&) = delete;

  void Record(cISFStore& store, sSharedBuffer& item, std::uint64_t arrivalTime);

  std::vector<sOtaCall> calls;

 private:
  Handler handler;
};

}  // namespace corvane
