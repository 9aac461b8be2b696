#include "capture/ota_recorder.h"

#include <utility>

namespace corvane {
namespace {

cOtaRecorder* current = nullptr;

}  // namespace

cOtaRecorder::cOtaRecorder(Handler inEachCall) : handler(std::move(inEachCall)) { current = this; }

cOtaRecorder::~cOtaRecorder() { current = nullptr; }

void cOtaRecorder::Offer(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                         std::uint64_t arrivalTime, cRebuiltPacketSink& sink) {
  if (current == nullptr) {
    return;
  }
  const auto bytes = item.Bytes();
  current->calls.push_back({&assemblyMap, {bytes.begin(), bytes.end()}, arrivalTime});
  if (current->handler) {
    current->handler(sink);
  }
}

}  // namespace corvane
