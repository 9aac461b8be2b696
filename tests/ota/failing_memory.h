#pragma once

namespace corvane {

// Makes allocations of this test program fail: those by malloc and those by operator new alike,
// counted together from the construction on. Only while an object of this class lives.
//
// Needs failing_memory.cpp and -Wl,--wrap=malloc in the program.
class cFailingMemory {
 public:
  enum class eWhich { OnlyThat, ThatAndAllLater };

  // The first allocation is number 0.
  explicit cFailingMemory(int failing, eWhich which = eWhich::OnlyThat);
  cFailingMemory(const cFailingMemory&) = delete;
  cFailingMemory& operator=(const cFailingMemory&) = delete;
  ~cFailingMemory();

  // How many allocations were asked for since the construction.
  [[nodiscard]] int Asked() const;
};

}  // namespace corvane
