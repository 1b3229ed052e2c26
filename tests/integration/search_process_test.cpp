// What a search of this machine does to the process: calls from within it, on a single-threaded
// apartment; the thread's error mode; the memory of a long list.
#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>
// After windows.h.
#include <psapi.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/kit/messages.h"

namespace zor::testing {
namespace {

constexpr std::uint32_t kAlgorithms = 2;

// --- Calls from within

/// Without names, so that the table of ids does not grow.
constexpr std::uint32_t kSlots = 1000;

/// A window whose messages make calls, as an application's buttons do.
class CallingWindow {
 public:
  CallingWindow(const LoadedLibrary& library, ZorNameList& list)
      : library_(library),
        list_(list),
        window_(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                nullptr)) {
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetWindowLongPtrW(window_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Receive));
  }
  CallingWindow(const CallingWindow&) = delete;
  CallingWindow& operator=(const CallingWindow&) = delete;
  ~CallingWindow() { DestroyWindow(window_); }

  [[nodiscard]] int calls() const { return calls_; }

  /// Lets the next message that is dispatched make a call.
  void Press() const { EXPECT_TRUE(PostMessageW(window_, WM_APP, 0, 0)); }

 private:
  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM word, LPARAM value) {
    auto* self = reinterpret_cast<CallingWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message != WM_APP) return DefWindowProcW(window, message, word, value);
    ++self->calls_;
    EXPECT_EQ(self->library_->Enum(kAlgorithms, &self->list_), ZOR_SUCCESS);
    EXPECT_EQ(self->list_.count, kSlots);
    return 0;
  }

  const LoadedLibrary& library_;
  ZorNameList& list_;
  int calls_ = 0;
  HWND window_;
};

/// As COM does while a single-threaded apartment waits for a call.
void PumpMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

TEST(ReentrantEnumeration, LeaksNoList) {
  std::thread([] {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    {
      RequestServer server;
      const LoadedLibrary library;
      WmiStandIn wmi;
      ZorNameList list = {};
      const CallingWindow window(library, list);
      wmi.while_querying = PumpMessages;
      const auto enumerate = [&] {
        server.Answer(Build(Reply{.enum_result = Reply::Names{kSlots, {{}}}}));
        server.Answer(Build(Reply{.enum_result = Reply::Names{kSlots, {{}}}}));
        window.Press();
        EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_SUCCESS);
        EXPECT_EQ(list.count, kSlots);
      };
      constexpr int kCalls = 100;
      enumerate();
      const std::size_t before = Usage::Now().heap_bytes;
      for (int i = 0; i < kCalls; ++i) enumerate();
      constexpr std::size_t kList = kSlots * sizeof(char*);
      EXPECT_LT(Usage::Now().heap_bytes, before + kCalls / 2 * kList);
      EXPECT_EQ(window.calls(), kCalls + 1);
      server.Answer(Build(Reply{}));
      EXPECT_EQ(library->Enum(0, &list), ZOR_SUCCESS);
    }
    CoUninitialize();
  }).join();
}

// --- The error mode

std::string Variable(const char* name) {
  std::array<char, 8> value{};
  GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size()));
  return value.data();
}

TEST(ErrorMode, KeepsBoxesAwayWhileLibrariesLoad) {
  const Com com;
  WmiStandIn wmi;
  const Machine machine;
  RequestServer server;
  const LoadedLibrary library;
  wmi.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                      {L"DriverVersion", {.text = L"1.0.0.5"}}});
  const auto package = machine.AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
  Machine::AddLibrary(package, L"K270502.dll", L"zor_test_tells_error_mode.dll");
  Machine::AddLibrary(package, L"K270506.dll", L"zor_test_does_not_load.dll");
  std::ofstream(package / L"K270C02.dll") << "no library";

  constexpr DWORD kNoFaultBox = SEM_NOGPFAULTERRORBOX;
  DWORD before = 0;
  ASSERT_TRUE(SetThreadErrorMode(kNoFaultBox, &before));
  ZorNameList list = {};
  server.Answer(Build(Reply{.enum_result = Reply::Names{2, {{"general", "private"}}}}));
  EXPECT_EQ(library->Enum(kAlgorithms, &list), ZOR_SUCCESS);
  EXPECT_EQ(list.count, 1U);
  EXPECT_EQ(GetThreadErrorMode(), kNoFaultBox);
  EXPECT_EQ(Variable("ZOR_TEST_MODE_LOADED"), "3");  // and SEM_FAILCRITICALERRORS
  EXPECT_EQ(Variable("ZOR_TEST_MODE_ASKED"), "2");
  SetThreadErrorMode(before, nullptr);
  server.Answer(Build(Reply{}));
  EXPECT_EQ(library->Enum(0, &list), ZOR_SUCCESS);
}

// --- The memory

std::size_t ResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
  return counters.WorkingSetSize;
}

TEST(LongList, TakesNoMemoryForSlotsThatStayNull) {
  constexpr std::uint32_t kClaimed = 1U << 28U;  // two gigabytes of pointers
  RequestServer server;
  const LoadedLibrary library;
  ZorNameList list = {};
  server.Answer(Build(Reply{.enum_result = Reply::Names{kClaimed, {{"a"}}}}));
  const std::size_t before = ResidentBytes();
  ASSERT_EQ(library->Enum(0, &list), ZOR_SUCCESS);
  EXPECT_LT(ResidentBytes(), before + (std::size_t{64} << 20U));
  ASSERT_EQ(list.count, kClaimed);
  EXPECT_STREQ(list.items[0], "a");
  EXPECT_EQ(list.items[1], nullptr);
  EXPECT_EQ(list.items[kClaimed - 1], nullptr);
  server.Answer(Build(Reply{}));
  EXPECT_EQ(library->Enum(0, &list), ZOR_SUCCESS);
  EXPECT_EQ(list.items, nullptr);
}

}  // namespace
}  // namespace zor::testing
