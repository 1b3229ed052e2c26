#include "tools/zorctl/debug_viewer.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <stdexcept>

#include "discovery/text.h"
#include "tools/zorctl/owned_handle.h"

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

OwnedHandle MakeEvent(const wchar_t* name) {
  OwnedHandle event(CreateEventW(nullptr, FALSE, FALSE, name));
  if (event == nullptr) ThrowLastError("opening the debugger output's events");
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
  OwnedHandle ready = MakeEvent(L"DBWIN_BUFFER_READY");
  OwnedHandle filled = MakeEvent(L"DBWIN_DATA_READY");
  OwnedHandle mapping;
  std::unique_ptr<const Buffer, Unmapper> buffer;
};

DebugViewer::DebugViewer() : shared_(std::make_unique<Shared>()) {
  shared_->mapping.reset(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                            kBufferSize, L"DBWIN_BUFFER"));
  if (shared_->mapping == nullptr) ThrowLastError("opening the debugger output's buffer");
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    throw std::runtime_error(
        "another viewer holds the debugger output, of which there can be one at a time: close it "
        "and "
        "try again");
  }
  shared_->buffer.reset(static_cast<const Buffer*>(
      MapViewOfFile(shared_->mapping.get(), FILE_MAP_READ, 0, 0, kBufferSize)));
  if (shared_->buffer == nullptr) ThrowLastError("mapping the debugger output's buffer");
  SetEvent(shared_->ready.get());
}

DebugViewer::~DebugViewer() = default;

std::optional<DebugMessage> DebugViewer::Next(void* stop) {
  // In this order: what was written before the stop is still shown.
  const std::array<HANDLE, 2> handles{shared_->filled.get(), stop};
  const DWORD signalled = WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE);
  if (signalled == WAIT_FAILED) ThrowLastError("waiting for debugger output");
  if (signalled != WAIT_OBJECT_0) return std::nullopt;

  const Buffer& buffer = *shared_->buffer;
  DebugMessage message{
      buffer.process_id,
      FromSystemText(buffer.text.data(), strnlen(buffer.text.data(), buffer.text.size()))};
  SetEvent(shared_->ready.get());
  return message;
}

}  // namespace zor::ctl
