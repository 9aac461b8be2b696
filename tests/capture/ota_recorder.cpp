#include "capture/ota_recorder.h"

#include <utility>

#include "ota/dispatcher.h"

namespace corvane {
namespace {

cOtaRecorder* current = nullptr;

}  // namespace

cOtaRecorder::cOtaRecorder(Handler inEachCall) : handler(std::move(inEachCall)) { current = this; }

cOtaRecorder::~cOtaRecorder() { current = nullptr; }

void cOtaRecorder::Record(cISFStore& store, sSharedBuffer& item, std::uint64_t arrivalTime) {
  const auto bytes = item.Bytes();
  calls.push_back({&store, {bytes.begin(), bytes.end()}, arrivalTime});
  if (handler) {
    handler(store, item);
  }
}

void ProcessOtaLogItem(cISFStore& store, sSharedBuffer& item, std::uint64_t arrivalTime) {
  if (current != nullptr) {
    current->Record(store, item, arrivalTime);
  }
}

}  // namespace corvane
