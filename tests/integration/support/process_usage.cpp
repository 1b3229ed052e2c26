#include "tests/integration/support/process_usage.h"

#include <tlhelp32.h>

#include <array>
#include <span>
#include <vector>

#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

// Handles are multiples of four, given out from the lowest free one. A gap this wide is the end of
// them; one that earlier tests have left by closing theirs is narrower.
constexpr std::uintptr_t kHandleStep = 4;
constexpr std::uintptr_t kWidestGap = 0x4000;

template <typename Visit>
void ForEachHandle(Visit visit) {
  std::uintptr_t last = 0;
  for (std::uintptr_t value = kHandleStep; value < last + kWidestGap; value += kHandleStep) {
    const auto handle = reinterpret_cast<HANDLE>(value);
    DWORD flags = 0;
    if (GetHandleInformation(handle, &flags) == FALSE) continue;
    last = value;
    visit(handle);
  }
}

int CountThreads() {
  const UniqueHandle snapshot =
      Require(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0), "CreateToolhelp32Snapshot");
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  int count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &thread); more != FALSE;
       more = Thread32Next(snapshot.get(), &thread)) {
    if (thread.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  return count;
}

// By looking at each: the call that gives the number answers 0 on Wine.
int CountHandles() {
  int count = 0;
  ForEachHandle([&](HANDLE) { ++count; });
  return count;
}

std::size_t BytesInUse(HANDLE heap) {
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry{};
  HeapLock(heap);
  while (HeapWalk(heap, &entry) != FALSE) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  HeapUnlock(heap);
  return bytes;
}

std::size_t HeapBytes() {
  std::array<HANDLE, 64> heaps{};
  const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
  if (count == 0 || count > heaps.size()) ThrowLastError("GetProcessHeaps");
  std::size_t bytes = 0;
  for (const HANDLE heap : std::span(heaps).first(count)) bytes += BytesInUse(heap);
  return bytes;
}

std::size_t AddressSpaceBytes() {
  std::size_t bytes = 0;
  MEMORY_BASIC_INFORMATION region{};
  const char* address = nullptr;
  while (VirtualQuery(address, &region, sizeof(region)) != 0) {
    if (region.State != MEM_FREE) bytes += region.RegionSize;
    address = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
  }
  return bytes;
}

}  // namespace

Usage Usage::Now() { return {CountThreads(), CountHandles(), HeapBytes(), AddressSpaceBytes()}; }

bool Usage::IsWithin(const Usage& limit) const {
  return threads <= limit.threads && handles <= limit.handles && heap_bytes <= limit.heap_bytes &&
         address_space_bytes <= limit.address_space_bytes;
}

std::ostream& operator<<(std::ostream& stream, const Usage& usage) {
  return stream << usage.threads << " threads, " << usage.handles << " handles, "
                << usage.heap_bytes << " bytes of heap, " << usage.address_space_bytes
                << " bytes of address space";
}

Usage SettleWithin(const Usage& limit, DWORD patience_ms) {
  constexpr DWORD kPollMs = 20;
  Usage last = Usage::Now();
  for (DWORD idle = 0; !last.IsWithin(limit) && idle < patience_ms; idle += kPollMs) {
    Sleep(kPollMs);
    const Usage now = Usage::Now();
    if (now.threads < last.threads || now.handles < last.handles) idle = 0;
    last = now;
  }
  return last;
}

std::set<HANDLE> ClientPipeEnds() {
  std::set<HANDLE> ends;
  ForEachHandle([&](HANDLE handle) {
    if (GetFileType(handle) != FILE_TYPE_PIPE) return;
    // A client's end whose server has gone gives no information.
    DWORD flags = PIPE_CLIENT_END;
    GetNamedPipeInfo(handle, &flags, nullptr, nullptr, nullptr);
    if ((flags & PIPE_SERVER_END) == 0) ends.insert(handle);
  });
  return ends;
}

}  // namespace zor::testing
