// The library on this system, with the kit's own server.
#include <windows.h>

#include <malloc.h>
#include <objbase.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>

#include "tools/selftest/acts.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/clock.h"
#include "tools/selftest/debug_lines.h"
#include "tools/selftest/library.h"
#include "tools/selftest/library_pipes.h"
#include "tools/selftest/self.h"
#include "tools/selftest/server.h"
#include "tools/selftest/usage.h"

namespace zor::selftest {
namespace {

// --- loading

std::string Loads(Notes& /*notes*/) {
  ZorLibrary library{};
  ZorLoadError error;
  std::array<char, ZOR_LOAD_TEXT_SIZE> text{};
  zor_load(&library, nullptr, &error);
  const bool gone = zor_unload(&library);
  return Text(zor_load_text(&error, text.data()), ", ", error.version.major_number, ".",
              error.version.minor_number, ".", error.version.patch_number,
              gone ? "" : "; it stays");
}

// --- calls

std::string WithoutAServer(Notes& /*notes*/) {
  const DebugLines lines;
  const Library library;
  const ZorResult result = library->ZorIntfStart(1);
  std::string seen = Text("result ", result);
  for (const DebugLine& line : lines.Taken()) {
    if (line.thread == GetCurrentThreadId()) seen += "; " + line.text;
  }
  return seen;
}

std::string ListenerWithoutAServer(Notes& /*notes*/) {
  const DebugLines lines;
  const Library library;
  for (DWORD waited = 0; waited < kPatienceMs; waited += 10) {
    const std::vector<DebugLine> taken = lines.Taken();
    if (taken.size() >= 2) return taken[0].text + "; " + taken[1].text;
    Sleep(10);
  }
  return "no line";
}

std::string Calls(Notes& /*notes*/) {
  const Server server(kRequestPipe, AnswerAll);
  const Library library;
  ZorServerInfo info{};
  const ZorResult first = library->ZorIntfGetInfo(&info);
  std::uint32_t status = 0;
  const ZorResult second = library->ZorIntfGetStatus(1, &status);
  return Text("results ", first, ", ", second, "; ", info.info0, " ", info.info1, " ", info.info2,
              " ", info.info3, ", status ", status);
}

std::string Block(Notes& /*notes*/) {
  const Server server(kRequestPipe, AnswerAll);
  const Library library;
  std::array<char, 6> name{"block"};
  const ZorBlob wanted{name.data(), 0, nullptr};
  ZorBlob got{};
  const ZorResult result = library->ZorIntfGetSerialized(1, &wanted, &got);
  if (result != ZOR_SUCCESS || got.name == nullptr) return Text("result ", result);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the runtime gives it as a number
  const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
  const bool is_ours = HeapValidate(heap, 0, got.name) != FALSE;
  if (is_ours) std::free(got.name);  // NOLINT: the application's, by the contract
  const auto sum = [&] {
    std::uint32_t total = 0;
    for (std::uint32_t i = 0; i < got.size; ++i) total += got.data[i];
    return total;
  }();
  library->ZorIntfFreeSerialized(1, &got);
  return Text(got.size, " bytes, sum ", sum, "; the name is ",
              is_ours ? "of this program's heap" : "of another heap");
}

std::string Enumerates(Notes& notes) {
  const Server server(kRequestPipe, AnswerAll);
  const Library library;
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return "no COM";
  const DWORD mode = GetThreadErrorMode();
  ZorNameList list{};
  const ZorResult first = library->ZorIntfEnum(2, &list);
  const std::uint32_t count = list.count;
  const ZorResult again = library->ZorIntfEnum(2, &list);
  std::array<wchar_t, 512> folder{};
  const DWORD length = GetDllDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
  notes.push_back(
      Text(count, " algorithms; a folder for libraries is ", length == 0 ? "not " : "", "set"));
  CoUninitialize();
  return Text("results ", first, ", ", again, "; error mode ",
              GetThreadErrorMode() == mode ? "as before" : "changed");
}

std::string NoTimeOut(Notes& /*notes*/) {
  const Event asked;
  const Event hang_up;
  const Server server(kRequestPipe, [&](ServerEnd& end) {
    static_cast<void>(end.Read());
    asked.Set();
    while (!hang_up.IsSetWithin(10) && !end.IsStopped()) {
    }
  });
  const Library library;
  ZorResult result = 4711;
  const Background caller([&] { result = library->ZorIntfStart(1); });
  asked.Await("the request");
  const bool waits = !caller.EndsWithin(kWaitingMs);
  hang_up.Set();
  caller.Await("the call");
  return Text(waits ? "waits" : "does not wait", "; result ", result);
}

std::string Reconnects(Notes& /*notes*/) {
  // One request for each connection.
  const Server server(
      kRequestPipe,
      [](ServerEnd& end) {
        if (end.Read() && end.Write(AnyReply())) end.Pause(50);
      },
      2);
  const Library library;
  const ZorResult first = library->ZorIntfStart(1);
  Sleep(500);  // the server has hung up
  const ZorResult second = library->ZorIntfStart(1);
  return Text("results ", first, ", ", second, "; ", server.connections(), " connections");
}

// --- notifications

struct Received {
  std::atomic<int> events{0};
  std::atomic<int> in_order{0};
  std::atomic<std::uint32_t> last{0};
};

/// What has come in this process.
Received& Events() {
  static Received received;
  return received;
}

void Count(ZorEvent* event) {
  Received& received = Events();
  const std::uint32_t value = event->data.event1.value;
  if (value == received.last + 1) ++received.in_order;
  received.last = value;
  ++received.events;
}

std::string Notifications(Notes& /*notes*/) {
  constexpr std::uint32_t kCount = 500;
  const Event go;
  const Server server(kNotifyPipe, [&](ServerEnd& end) {
    while (!go.IsSetWithin(10) && !end.IsStopped()) {
    }
    for (std::uint32_t i = 1; i <= kCount; ++i) {
      end.Write(Notification(i));
      if (i == kCount / 2) end.Write(Bytes(2'000, 1));  // too long: to be dropped
    }
    StayIdle(end);
  });
  const Library library;
  library->ZorIntfRegEventCallback(Count);
  go.Set();
  int before = -1;
  while (Events().last != kCount && before != Events().events) {
    before = Events().events;
    for (int i = 0; i < 500 && Events().last != kCount && before == Events().events; ++i) Sleep(10);
  }
  return Text(Events().events, " events, ", Events().in_order, " in order");
}

// --- unloading

/// Lets the system take what it keeps for good once a process has used it, such as two objects with
/// the first line of the debugger output.
void WarmUp() {
  const Library library;
  library->ZorIntfStart(1);
  Sleep(150);
}

/// So often, after some times that count for nothing.
template <typename Cycle>
std::string Often(int cycles, Cycle cycle) {
  constexpr int kWarmUp = 5;
  WarmUp();
  int unloaded = 0;
  Usage before;
  for (int i = -kWarmUp; i < cycles; ++i) {
    if (i == 0) {
      Sleep(300);  // the last thread may still be ending
      before = Usage::Now();
    }
    const bool gone = cycle();
    if (i >= 0 && gone) ++unloaded;
  }
  return Text(unloaded, " of ", cycles, " unloaded, ", GrowthSince(before));
}

std::string UnloadAfterLoad(Notes& notes) {
  const Stopwatch watch;
  std::string seen = Often(1'000, [] {
    Library library;
    return library.Unload();
  });
  notes.push_back(Text(static_cast<long>(watch.Microseconds() / 1'000), " us each"));
  return seen;
}

std::string UnloadInFlood(Notes& /*notes*/) {
  const Server server(kNotifyPipe, Flood, 2);
  static std::atomic<int> events{0};
  int late = 0;
  std::string seen = Often(50, [&] {
    Library library;
    const int at_load = events;
    library->ZorIntfRegEventCallback([](ZorEvent*) { ++events; });
    for (DWORD waited = 0; events == at_load && waited < kPatienceMs; ++waited) Sleep(1);
    const bool gone = library.Unload();
    const int at_unload = events;
    Sleep(1);
    if (events != at_unload) ++late;
    return gone;
  });
  return Text(seen, ", ", late, " events afterwards");
}

std::string UnloadInCallback(Notes& /*notes*/) {
  constexpr int kCycles = 10;
  const Server server(kNotifyPipe, Flood, 2);
  static const Event begun;
  static std::atomic<bool> ended{false};
  int in_order = 0;
  for (int i = 0; i < kCycles; ++i) {
    begun.Reset();
    Library library;
    library->ZorIntfRegEventCallback([](ZorEvent*) {
      ended = false;
      begun.Set();
      Sleep(100);  // into the unload
      ended = true;
    });
    begun.Await("a notification");
    if (library.Unload() && ended) ++in_order;
  }
  return Text(in_order, " of ", kCycles, " return when the callback has");
}

std::string UnloadIdle(Notes& notes) {
  const Server request(kRequestPipe, AnswerAll, 2);
  const Server notify(kNotifyPipe, StayIdle, 2);
  double longest = 0;
  std::string seen = Often(20, [&] {
    const int before = notify.connections();
    Library library;
    notify.AwaitConnections(before + 1);
    if (library->ZorIntfStart(1) != ZOR_SUCCESS) return false;
    const Stopwatch watch;
    const bool gone = library.Unload();
    longest = std::max(longest, watch.Microseconds());
    return gone;
  });
  notes.push_back(Text("the longest took ", static_cast<long>(longest / 1'000), " ms"));
  return seen;
}

std::string Slots(Notes& notes) {
  const Server server(kRequestPipe, AnswerAll, 2);
  const auto cycle = [] {
    const Library library;
    library->ZorIntfStart(1);
    Background([&] { library->ZorIntfStart(1); }).Await("the other thread");
  };
  // What this program's own runtime takes once, it takes before.
  for (int i = 0; i < 5; ++i) cycle();
  notes.push_back(Text(FreeTlsSlots(), " TLS and ", FreeFlsSlots(), " FLS slots are free"));
  const int tls = FreeTlsSlots();
  const int fls = FreeFlsSlots();
  for (int i = 0; i < 50; ++i) cycle();
  return Text(tls - FreeTlsSlots(), " TLS and ", fls - FreeFlsSlots(), " FLS slots fewer");
}

std::string ThreadGivenBack(Notes& /*notes*/) {
  const Server server(kNotifyPipe, Flood, 2);
  static const Event begun;
  static std::atomic<HANDLE> thread{nullptr};
  Library library;
  library->ZorIntfRegEventCallback([](ZorEvent*) {
    if (begun.IsSetWithin(0)) return;
    thread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION | THREAD_QUERY_INFORMATION, FALSE,
                        GetCurrentThreadId());
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
    SetThreadAffinityMask(GetCurrentThread(), 1);
    begun.Set();
  });
  begun.Await("a notification");
  const UniqueHandle owner = Require(thread, "OpenThread");
  const int before = GetThreadPriority(owner.get());
  const bool gone = library.Unload();
  return Text("priority ", before, ", then ", GetThreadPriority(owner.get()),
              gone ? "; unloaded" : "; it stays");
}

// --- the process's end

std::string Exits(Notes& /*notes*/) {
  std::string seen;
  const auto end_in = [&](const wchar_t* state, const char* word) {
    const SelfProcess child(std::wstring(L"--act ") + kEndIn + L" " + state);
    const bool ended = child.EndsWithin(kPatienceMs);
    seen += Text(seen.empty() ? "" : ", ", word, " ",
                 ended ? Text(child.ExitCode()) : std::string("hangs"));
  };
  end_in(kLoaded, "without a server");
  const Server notify(kNotifyPipe, Flood, 2);
  const Server request(kRequestPipe, StayIdle, 2);
  end_in(kLoaded, "in a flood");
  end_in(kInCallback, "in a callback");
  end_in(kInCall, "in a call");
  return seen;
}

constexpr std::string_view kThreading = "docs/threading.md";
constexpr std::string_view kTroubles = "docs/troubleshooting.md";
constexpr std::string_view kLifetimes = "docs/lifetimes.md";

constexpr std::array kChecks = {
    Check{"library.loads", "The library loads from beside the program, and unloads.",
          "docs/package.md", "it needs nothing but Windows 10 or later",
          "the library is loaded, " ZOR_VERSION_STRING, "", Loads},
    Check{"library.no-server", "Without a server a call returns 2 and says why.", kTroubles,
          "the request pipe could not be opened; nothing was sent",
          "result 2; [zor] Error occurred while connecting to the server: 2", "", WithoutAServer},
    Check{"library.listener-lines",
          "Without a server the background thread writes two lines a pass.", kThreading,
          "write two log lines, sleep for 1 ms and begin the next pass",
          "[zor] Error occurred while connecting to the server: 2; [zor] Connection was fail.", "",
          ListenerWithoutAServer},
    Check{"library.calls", "Calls get their replies.", "docs/protocol.md",
          "Then the library looks at `result`", "results 0, 0; 1 2 3 4, status 5", "", Calls},
    Check{"library.block", "The name of a block belongs to the program's own heap.", kLifetimes,
          "the application, with `free`", "600 bytes, sum 4200; the name is of this program's heap",
          "", Block},
    Check{"library.enumerates",
          "Selector 2 succeeds on this machine, twice, and leaves the thread's error mode.",
          "docs/decisions.md", "Then it is restored", "results 0, 0; error mode as before", "",
          Enumerates},
    Check{"library.no-time-out",
          "A call waits for its reply until the pipe breaks, then returns 1.", kThreading,
          "the call blocks until the pipe breaks", "waits; result 1", "", NoTimeOut},
    Check{"library.reconnects", "The call after the server has hung up opens the pipe again.",
          "docs/decisions.md", "the next call's peek decides", "results 0, 0; 2 connections", "",
          Reconnects},
    Check{"library.notifications",
          "Notifications arrive in order; one of more than 1024 bytes is dropped.",
          "docs/decisions.md", "A longer message is dropped: its rest is read and thrown away",
          "500 events, 500 in order", "", Notifications},
    Check{"library.unload-after-load",
          "An unload right after the load unloads, a thousand times, and leaves nothing.",
          kThreading, "No thread remains, and no handle but these",
          "1000 of 1000 unloaded, 0 handles and 0 threads more", "", UnloadAfterLoad},
    Check{"library.unload-idle", "An unload with both connections open leaves nothing.", kThreading,
          "This takes as long as the rest of the listener's pass",
          "20 of 20 unloaded, 0 handles and 0 threads more", "", UnloadIdle},
    Check{"library.unload-in-flood",
          "An unload while notifications pour in leaves nothing, and no event comes after it.",
          kThreading, "nothing of the library is on any stack afterwards",
          "50 of 50 unloaded, 0 handles and 0 threads more, 0 events afterwards", "",
          UnloadInFlood},
    Check{"library.unload-in-callback", "An unload waits for the callback that runs.", kThreading,
          "plus the time that a running callback still needs",
          "10 of 10 return when the callback has", "", UnloadInCallback},
    Check{"library.slots", "Loading and unloading takes no thread-local and no fiber-local slot.",
          "docs/decisions.md", "leave handles and a thread-local slot behind at each unload",
          "0 TLS and 0 FLS slots fewer", "", Slots},
    Check{"library.thread-given-back",
          "What a callback has changed of its thread is put back at the unload.", kThreading,
          "restores them when it ends", "priority 2, then 0; unloaded", "", ThreadGivenBack},
    Check{"library.exits", "A process ends with its own exit code, whatever the library is doing.",
          kThreading, "When the process ends",
          "without a server 42, in a flood 42, in a callback 42, in a call 42", "", Exits},
};

}  // namespace

std::span<const Check> LibraryChecks() { return kChecks; }

}  // namespace zor::selftest
