#include "platform/windows_handle.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace corvane {
namespace {

std::vector<int> closed;

// Numbers for handles; "none" is -1.
struct sNumber {
  using Handle = int;
  static constexpr int None() { return -1; }
  static void Close(int handle) { closed.push_back(handle); }
};
using NumberHandle = cOwnedHandle<sNumber>;

class WindowsHandleTest : public testing::Test {
 protected:
  WindowsHandleTest() { closed.clear(); }
};

TEST_F(WindowsHandleTest, AnOwnerGivesItsHandleBackOnce) {
  {
    const NumberHandle owner(7);
    EXPECT_TRUE(owner);
    EXPECT_EQ(owner.Get(), 7);
  }
  EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(WindowsHandleTest, AnOwnerOfNoneGivesNothingBack) {
  {
    const NumberHandle fresh;
    const NumberHandle ofNone(sNumber::None());
    EXPECT_FALSE(fresh || ofNone);
    EXPECT_EQ(fresh.Get(), -1);
  }
  EXPECT_TRUE(closed.empty());
}

TEST_F(WindowsHandleTest, ResetGivesTheOldHandleBackAndKeepsTheNewOne) {
  {
    NumberHandle owner(7);
    owner.Reset(8);
    EXPECT_EQ(closed, std::vector<int>{7});
    EXPECT_EQ(owner.Get(), 8);
    owner.Reset();
    EXPECT_FALSE(owner);
  }
  EXPECT_EQ(closed, (std::vector<int>{7, 8}));
}

TEST_F(WindowsHandleTest, ADetachedHandleIsTheCallers) {
  {
    NumberHandle owner(7);
    EXPECT_EQ(owner.Detach(), 7);
    EXPECT_FALSE(owner);
  }
  EXPECT_TRUE(closed.empty());
}

TEST_F(WindowsHandleTest, AMoveCarriesTheHandleOver) {
  {
    NumberHandle first(7);
    NumberHandle second(std::move(first));
    EXPECT_EQ(second.Get(), 7);
    NumberHandle third(8);
    third = std::move(second);
    EXPECT_EQ(closed, std::vector<int>{8});
    EXPECT_EQ(third.Get(), 7);
  }
  EXPECT_EQ(closed, (std::vector<int>{8, 7}));
}

TEST_F(WindowsHandleTest, AHandleMovedToItselfStaysOpen) {
  {
    NumberHandle owner(7);
    NumberHandle& same = owner;
    owner = std::move(same);
    EXPECT_EQ(owner.Get(), 7);
    EXPECT_TRUE(closed.empty());
  }
  EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(WindowsHandleTest, NoneIsNullForKernelObjectsAndTheInvalidHandleForFiles) {
  EXPECT_EQ(KernelHandle().Get(), nullptr);
  EXPECT_EQ(FileHandle().Get(), INVALID_HANDLE_VALUE);
}

TEST_F(WindowsHandleTest, AKernelObjectIsClosedWithTheLastOfItsHandles) {
  constexpr wchar_t kName[] = L"Local\\CorvaneWindowsHandleTest";
  KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, kName));
  ASSERT_TRUE(event);
  EXPECT_TRUE(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, kName)));
  event.Reset();
  EXPECT_FALSE(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, kName)));
}

}  // namespace
}  // namespace corvane
