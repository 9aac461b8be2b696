#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "diag/shared_buffer.h"
#include "ota/dispatcher.h"

// Stands in for the reassembly of system information (sStoreSeams::offerLogItem).
namespace corvane {

struct sOtaCall {
  const SibAssemblyMap* assemblyMap = nullptr;
  std::vector<std::uint8_t> packet;
  std::uint64_t arrivalTime = 0;
};

// The calls since the recorder was made. There is at most one at a time; without one, calls are
// ignored.
class cOtaRecorder {
 public:
  // Runs inside every call, after it was recorded.
  using Handler = std::function<void(cRebuiltPacketSink& sink)>;

  explicit cOtaRecorder(Handler handler = {});
  ~cOtaRecorder();
  cOtaRecorder(const cOtaRecorder&) = delete;
  cOtaRecorder& operator=(const cOtaRecorder&) = delete;

  // What a store offers its items to.
  static void Offer(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                    std::uint64_t arrivalTime, cRebuiltPacketSink& sink);

  std::vector<sOtaCall> calls;

 private:
  Handler handler;
};

}  // namespace corvane
