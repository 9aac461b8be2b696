#include "io/mbn_service_windows.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include "io/mbn/com_owners.h"
#include "io/mbn/mbn_api.h"

// That the stand-in sees what a careless client leaves behind.
namespace corvane::test {
namespace {

class MbnStandIn : public ::testing::Test {
 protected:
  MbnStandIn() { EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  ~MbnStandIn() override { CoUninitialize(); }

  [[nodiscard]] static IMbnInterfaceManager* MakeManager() {
    void* made = nullptr;
    EXPECT_EQ(CoCreateInstance(kInterfaceManagerClass, nullptr, CLSCTX_INPROC_SERVER,
                               kInterfaceId<IMbnInterfaceManager>, &made),
              S_OK);
    return static_cast<IMbnInterfaceManager*>(made);
  }
};

TEST_F(MbnStandIn, SeesAnObjectThatIsNotGivenBack) {
  const cMbnService service("");
  auto* const manager = MakeManager();
  ASSERT_NE(manager, nullptr);
  EXPECT_FALSE(service.HasNothingLeft());
  manager->AddRef();
  manager->Release();
  EXPECT_FALSE(service.HasNothingLeft());
  manager->Release();
  EXPECT_TRUE(service.HasNothingLeft());
}

TEST_F(MbnStandIn, CountsTheStringsAndArraysThatAreNotFreed) {
  const cMbnService service("interface {5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}");
  const std::int64_t before = LiveAutomationBlocks();
  auto* const manager = MakeManager();
  ASSERT_NE(manager, nullptr);
  SAFEARRAY* interfaces = nullptr;
  EXPECT_EQ(manager->GetInterfaces(&interfaces), S_OK);
  manager->Release();
  EXPECT_GT(LiveAutomationBlocks(), before);
  EXPECT_FALSE(service.HasNothingLeft()) << "the array's elements";
  SafeArrayDestroy(interfaces);
  EXPECT_EQ(LiveAutomationBlocks(), before);
  EXPECT_TRUE(service.HasNothingLeft());

  const BSTR text = SysAllocString(L"text");
  EXPECT_GT(LiveAutomationBlocks(), before);
  SysFreeString(text);
  EXPECT_EQ(LiveAutomationBlocks(), before);
}

TEST_F(MbnStandIn, RefusesAScenarioThatItDoesNotUnderstand) {
  const cMbnService service("interfaces {5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}");
  void* made = nullptr;
  EXPECT_TRUE(FAILED(CoCreateInstance(kInterfaceManagerClass, nullptr, CLSCTX_INPROC_SERVER,
                                      kInterfaceId<IMbnInterfaceManager>, &made)));
  EXPECT_EQ(service.Log("scenario refused: ").size(), 1U);
}

}  // namespace
}  // namespace corvane::test
