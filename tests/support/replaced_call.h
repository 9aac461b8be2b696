#pragma once

#include <type_traits>
#include <utility>

namespace corvane {

// Puts `replacement` in the place of a call that the library makes through a pointer, and the
// earlier one back at its own end:
//
//   const cReplacedCall noEvents(KernelCalls().CreateEventW, &RefuseEvent);
//
// A replacement that only counts or delays goes on to the system's function itself.
template <typename Call>
class cReplacedCall {
 public:
  cReplacedCall(Call& replaced, std::type_identity_t<Call> replacement)
      : call(replaced), original(std::exchange(replaced, replacement)) {}
  ~cReplacedCall() { call = original; }
  cReplacedCall(const cReplacedCall&) = delete;
  cReplacedCall& operator=(const cReplacedCall&) = delete;

 private:
  Call& call;
  Call original;
};

}  // namespace corvane
