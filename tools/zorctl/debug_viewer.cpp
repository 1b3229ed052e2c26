#include "tools/zorctl/debug_viewer.h"

#include <windows.h>

#include <sddl.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <string>

#include "discovery/text.h"
#include "tools/windows/handle.h"

namespace zor::ctl {
namespace {

// The layout that the system's writers use: the writer's process, then text, zero-terminated.
constexpr DWORD kBufferSize = 4096;
struct Buffer {
  DWORD process_id;
  std::array<char, kBufferSize - sizeof(DWORD)> text;
};
static_assert(sizeof(Buffer) == kBufferSize);

struct Unmapper {
  void operator()(const Buffer* buffer) const noexcept { UnmapViewOfFile(buffer); }
};

// Everyone may write, all application packages (S-1-15-2-1), too, and programs of low integrity;
// by default only programs of this user and of as high an integrity could.
constexpr const wchar_t* kDescriptor =
    L"D:(A;;GRGWGX;;;WD)(A;;GRGWGX;;;S-1-15-2-1)(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;OW)"
    L"S:(ML;;NW;;;LW)";

struct LocalMemory {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};

class Security {
 public:
  Security() {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kDescriptor, SDDL_REVISION_1,
                                                             &descriptor, nullptr) == FALSE) {
      windows::ThrowLastError("describing who may write debugger output");
    }
    descriptor_.reset(descriptor);
    attributes_ = {sizeof(attributes_), descriptor, FALSE};
  }

  [[nodiscard]] SECURITY_ATTRIBUTES* get() noexcept { return &attributes_; }

 private:
  std::unique_ptr<void, LocalMemory> descriptor_;
  SECURITY_ATTRIBUTES attributes_{};
};

std::wstring NameOf(DebugScope scope, const wchar_t* name) {
  return (scope == DebugScope::kGlobal ? L"Global\\" : L"") + std::wstring(name);
}

windows::OwnedHandle MakeEvent(DebugScope scope, const wchar_t* name) {
  Security security;
  windows::OwnedHandle event(
      CreateEventW(security.get(), FALSE, FALSE, NameOf(scope, name).c_str()));
  if (event == nullptr) windows::ThrowLastError("opening the debugger output's events");
  return event;
}

/// The buffer's text is in the system's own code page.
std::string FromSystemText(const char* text, std::size_t size) {
  const auto length = static_cast<int>(size);
  std::wstring wide(size, L'\0');
  const int characters = MultiByteToWideChar(CP_ACP, 0, text, length, wide.data(), length);
  wide.resize(static_cast<std::size_t>(characters));
  return ToUtf8(wide);
}

}  // namespace

struct DebugViewer::Shared {
  explicit Shared(DebugScope scope)
      : ready(MakeEvent(scope, L"DBWIN_BUFFER_READY")),
        filled(MakeEvent(scope, L"DBWIN_DATA_READY")) {}

  windows::OwnedHandle ready;
  windows::OwnedHandle filled;
  windows::OwnedHandle mapping;
  std::unique_ptr<const Buffer, Unmapper> buffer;
};

DebugViewer::DebugViewer(DebugScope scope) : shared_(std::make_unique<Shared>(scope)) {
  Security security;
  shared_->mapping.reset(CreateFileMappingW(INVALID_HANDLE_VALUE, security.get(), PAGE_READWRITE, 0,
                                            kBufferSize, NameOf(scope, L"DBWIN_BUFFER").c_str()));
  if (shared_->mapping == nullptr) windows::ThrowLastError("opening the debugger output's buffer");
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    throw std::runtime_error(
        "another viewer holds the debugger output, of which there can be one at a time: close it "
        "and try again");
  }
  shared_->buffer.reset(static_cast<const Buffer*>(
      MapViewOfFile(shared_->mapping.get(), FILE_MAP_READ, 0, 0, kBufferSize)));
  if (shared_->buffer == nullptr) windows::ThrowLastError("mapping the debugger output's buffer");
  SetEvent(shared_->ready.get());
}

DebugViewer::~DebugViewer() = default;

std::optional<DebugMessage> DebugViewer::Next(void* stop) {
  // In this order: what was written before the stop is still shown.
  const std::array<HANDLE, 2> handles{shared_->filled.get(), stop};
  const DWORD signalled = WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE);
  if (signalled == WAIT_FAILED) windows::ThrowLastError("waiting for debugger output");
  if (signalled != WAIT_OBJECT_0) return std::nullopt;

  const Buffer& buffer = *shared_->buffer;
  DebugMessage message{
      buffer.process_id,
      FromSystemText(buffer.text.data(), strnlen(buffer.text.data(), buffer.text.size()))};
  SetEvent(shared_->ready.get());
  return message;
}

}  // namespace zor::ctl
