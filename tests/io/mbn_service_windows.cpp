#include "io/mbn_service_windows.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

// oleauto.h has no declaration of it here.
extern "C" void WINAPI SetOaNoCache();

namespace corvane::test {
namespace {

HMODULE standIn = nullptr;

template <typename Function>
Function* Find(const char* name) {
  // By way of a plain function pointer, as the compilers ask for.
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(standIn, name)));
}

std::wstring PathOfStandIn() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).replace_filename(L"mbn_stand_in.dll").wstring();
}

void ExpectRegistered(const char* function) {
  EXPECT_EQ(Find<HRESULT WINAPI()>(function)(), S_OK) << function;
}

// Does what regsvr32 does.
class cRegistration : public ::testing::Environment {
 public:
  void SetUp() override {
    standIn = LoadLibraryW(PathOfStandIn().c_str());
    ASSERT_NE(standIn, nullptr) << "mbn_stand_in.dll is missing beside the test program";
    ExpectRegistered("DllRegisterServer");
  }
  void TearDown() override { ExpectRegistered("DllUnregisterServer"); }
};

[[maybe_unused]] const auto* const registration =
    ::testing::AddGlobalTestEnvironment(new cRegistration);

// Sees every allocation of COM's allocator.
class cMallocSpy : public IMallocSpy {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (!IsEqualGUID(iid, IID_IMallocSpy) && !IsEqualGUID(iid, IID_IUnknown)) {
      return E_NOINTERFACE;
    }
    *object = this;
    return S_OK;
  }
  // Lives as long as the program.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
  void* STDMETHODCALLTYPE PostAlloc(void* block) override {
    if (block != nullptr) {
      ++live;
    }
    return block;
  }
  void* STDMETHODCALLTYPE PreFree(void* block, BOOL isSpied) override {
    if (block != nullptr && isSpied) {
      --live;
    }
    return block;
  }
  void STDMETHODCALLTYPE PostFree(BOOL) override {}
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** newBlock, BOOL) override {
    *newBlock = block;
    return size;
  }
  void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return block; }
  void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override { return block; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override { return size; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override { return block; }
  int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int result) override { return result; }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}

  std::atomic<std::int64_t> live = 0;
};

}  // namespace

cMbnService::cMbnService(const std::string& scenario) {
  std::ofstream(folder.Path("scenario.txt")) << scenario;
  SetEnvironmentVariableA("CORVANE_MBN_SCENARIO", folder.Path("scenario.txt").c_str());
  SetEnvironmentVariableA("CORVANE_MBN_LOG", folder.Path("log.txt").c_str());
}

cMbnService::~cMbnService() {
  SetEnvironmentVariableA("CORVANE_MBN_SCENARIO", nullptr);
  SetEnvironmentVariableA("CORVANE_MBN_LOG", nullptr);
}

void cMbnService::Do(const std::string& step) {
  EXPECT_EQ(Find<int(const char*)>("StandInDo")(step.c_str()), 1) << step;
}

void cMbnService::Post(const std::string& step) {
  EXPECT_EQ(Find<int(const char*)>("StandInPost")(step.c_str()), 1) << step;
}

std::vector<std::string> cMbnService::Log() const {
  std::ifstream file(folder.Path("log.txt"), std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> cMbnService::Log(const std::string& start) const {
  std::vector<std::string> matching;
  for (const std::string& line : Log()) {
    if (line.starts_with(start)) {
      matching.push_back(line.substr(start.size()));
    }
  }
  return matching;
}

std::vector<std::string> cMbnService::Commands() const {
  std::vector<std::string> frames;
  for (const std::string& line : Log("call SetCommand 2 type 17 from 0 ")) {
    if (line.ends_with(" -> 0x00000000")) {
      frames.push_back(line.substr(0, line.find(' ')));
    }
  }
  return frames;
}

bool cMbnService::WaitForLog(const std::string& start, std::size_t count,
                             std::chrono::milliseconds limit) const {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (Log(start).size() < count) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

bool cMbnService::HasNothingLeft() const {
  return Log("world").size() == Log("end").size() && Log("made ").size() == Log("gone ").size() &&
         Log("array left locked").empty() && Log("waited in vain").empty();
}

cUnregisteredMbnService::cUnregisteredMbnService() { ExpectRegistered("DllUnregisterServer"); }

cUnregisteredMbnService::~cUnregisteredMbnService() { ExpectRegistered("DllRegisterServer"); }

std::int64_t LiveAutomationBlocks() {
  static cMallocSpy spy;
  [[maybe_unused]] static const bool isWatching = [] {
    // Without this, freed strings are kept for the next ones.
    SetOaNoCache();
    return SUCCEEDED(CoRegisterMallocSpy(&spy));
  }();
  return spy.live;
}

}  // namespace corvane::test
