#include "tests/integration/support/import_faults.h"

#include <winternl.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <string_view>

#include "tests/integration/support/handle.h"
#include "tests/integration/support/import_hook.h"

namespace zor::testing {
namespace {

struct Plan {
  std::atomic<bool> active{false};
  std::atomic<bool> refused{false};
  std::atomic<int> left{0};  ///< requests until the one that is refused
  Import import = {};
  Which which = {};
  Whose whose = {};
  DWORD thread = 0;
};

Plan plan;

bool Refuses(Import import) {
  if (!plan.active || plan.import != import) return false;
  if ((GetCurrentThreadId() == plan.thread) != (plan.whose == Whose::kMine)) return false;
  const int left = --plan.left;
  if (left > 0 || (left < 0 && plan.which == Which::kOne)) return false;
  plan.refused = true;
  return true;
}

// --- what the library calls

// NOLINTBEGIN(cppcoreguidelines-no-malloc)
void* Malloc(std::size_t size) { return Refuses(Import::kMemory) ? nullptr : std::malloc(size); }

void* Calloc(std::size_t count, std::size_t size) {
  return Refuses(Import::kMemory) ? nullptr : std::calloc(count, size);
}

void* Realloc(void* block, std::size_t size) {
  return Refuses(Import::kMemory) ? nullptr : std::realloc(block, size);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

PTP_POOL WINAPI CreatePool(void* reserved) {
  if (!Refuses(Import::kThreadPool)) return CreateThreadpool(reserved);
  SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return nullptr;
}

BOOL WINAPI SetPoolMinimum(PTP_POOL pool, DWORD minimum) {
  if (!Refuses(Import::kThreadPoolMinimum)) return SetThreadpoolThreadMinimum(pool, minimum);
  SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return FALSE;
}

PTP_WORK WINAPI CreateWork(PTP_WORK_CALLBACK callback, void* context, PTP_CALLBACK_ENVIRON pool) {
  if (!Refuses(Import::kWorkItem)) return CreateThreadpoolWork(callback, context, pool);
  SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return nullptr;
}

struct Replacement {
  std::string_view name;
  void* function;
};

const Replacement kReplacements[] = {
    {"malloc", reinterpret_cast<void*>(&Malloc)},
    {"calloc", reinterpret_cast<void*>(&Calloc)},
    {"realloc", reinterpret_cast<void*>(&Realloc)},
    {"CreateThreadpool", reinterpret_cast<void*>(&CreatePool)},
    {"SetThreadpoolThreadMinimum", reinterpret_cast<void*>(&SetPoolMinimum)},
    {"CreateThreadpoolWork", reinterpret_cast<void*>(&CreateWork)},
};

void ReplaceImports(void* library) {
  for (const Replacement& replacement : kReplacements) {
    void** const slot = FindImport(static_cast<HMODULE>(library), replacement.name);
    if (slot != nullptr) SetImport(slot, replacement.function);
  }
}

// --- the loader's notifications, which no header declares

struct Notification {
  ULONG flags;
  const UNICODE_STRING* full_name;
  const UNICODE_STRING* base_name;
  void* base;
  ULONG size;
};

constexpr ULONG kLoaded = 1;  // its imports are bound, and it has not run yet

void CALLBACK OnLibrary(ULONG reason, const Notification* notification, void* /*context*/) {
  if (reason != kLoaded) return;
  const std::wstring_view name(notification->base_name->Buffer,
                               notification->base_name->Length / sizeof(wchar_t));
  if (name == L"ZorInterface.dll") ReplaceImports(notification->base);
}

template <typename Function>
Function* Find(const char* name) {
  const FARPROC found = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name);
  if (found == nullptr) ThrowLastError(name);
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(found));
}

}  // namespace

ImportFaults::ImportFaults() {
  using Register = NTSTATUS NTAPI(ULONG, decltype(&OnLibrary), void*, void**);
  if (Find<Register>("LdrRegisterDllNotification")(0, OnLibrary, nullptr, &cookie_) != 0) {
    ThrowLastError("LdrRegisterDllNotification");
  }
}

ImportFaults::~ImportFaults() {
  Stop();
  using Unregister = NTSTATUS NTAPI(void*);
  Find<Unregister>("LdrUnregisterDllNotification")(cookie_);
}

void ImportFaults::Fail(Import import, int nth, Which which, Whose whose) {
  plan.active = false;
  plan.refused = false;
  plan.left = nth;
  plan.import = import;
  plan.which = which;
  plan.whose = whose;
  plan.thread = GetCurrentThreadId();
  plan.active = true;
}

bool ImportFaults::Stop() {
  plan.active = false;
  return plan.refused;
}

}  // namespace zor::testing
