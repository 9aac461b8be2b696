#pragma once

#include <cstdint>
#include <memory>

namespace corvane {

// A lock that its owner may take again: a Win32 critical section, or a recursive mutex elsewhere.
// The member names let it serve std::lock_guard and std::unique_lock.
class cLock {
 public:
  // How Windows makes the critical section. All three end in the same kind of lock.
  enum class eCreation {
    Extended,   // InitializeCriticalSectionEx, flags 0
    SpinCount,  // InitializeCriticalSectionAndSpinCount
    Plain,      // InitializeCriticalSection, no spin count
  };

  // `spinCount`: how often a taker tries again before it sleeps. Throws std::bad_alloc when the
  // system has no memory for the lock.
  explicit cLock(eCreation creation = eCreation::Plain, std::uint32_t spinCount = 0);
  ~cLock();
  cLock(const cLock&) = delete;
  cLock& operator=(const cLock&) = delete;

  void lock();
  [[nodiscard]] bool try_lock();
  void unlock();

 private:
  struct sNative;
  std::unique_ptr<sNative> native;
};

// A manual-reset event, created unsignalled: once set it stays set until Reset.
class cEvent {
 public:
  // Throws std::bad_alloc when the system cannot make one.
  cEvent();
  ~cEvent();
  cEvent(const cEvent&) = delete;
  cEvent& operator=(const cEvent&) = delete;

  void Set();
  void Reset();
  [[nodiscard]] bool IsSet() const;

 private:
  struct sNative;
  std::unique_ptr<sNative> native;
};

}  // namespace corvane
