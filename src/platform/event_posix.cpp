#include <atomic>

#include "platform/event.h"

namespace corvane {

struct cEvent::sNative {
  std::atomic<bool> set{false};
};

cEvent::cEvent() : native(std::make_unique<sNative>()) {}

cEvent::~cEvent() = default;

void cEvent::Set() { native->set = true; }

void cEvent::Reset() { native->set = false; }

bool cEvent::IsSet() const { return native->set; }

}  // namespace corvane
