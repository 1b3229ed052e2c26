#include "tools/zorctl/library.h"

#include <fmt/format.h>
#include <windows.h>

#include <objbase.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "discovery/text.h"
#include "tools/zorctl/owned_handle.h"

namespace zor::ctl {

std::wstring ProgramFolder() {
  std::array<wchar_t, 4096> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  if (length == 0 || length == path.size()) ThrowLastError("finding zorctl's own folder");
  const std::wstring program(path.data(), length);
  return program.substr(0, program.rfind(L'\\'));
}

Library::Library() : path_(ProgramFolder() + L"\\ZorInterface.dll") {
  // Never freed: it goes with the process.
  if (LoadLibraryW(path_.c_str()) == nullptr) {
    const DWORD error = GetLastError();
    throw std::runtime_error(fmt::format(
        "{} cannot be loaded (error {}): it must lie beside zorctl.exe", ToUtf8(path_), error));
  }
  // For the list of algorithms: the library leaves it to the application.
  const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(initialised)) {
    throw std::runtime_error(
        fmt::format("COM cannot be initialised (0x{:08X})", static_cast<unsigned>(initialised)));
  }
}

Library::~Library() { CoUninitialize(); }

std::string Library::Version() const {
  const DWORD size = GetFileVersionInfoSizeW(path_.c_str(), nullptr);
  std::vector<std::uint8_t> resource(size);
  void* found = nullptr;
  UINT length = 0;
  if (size == 0 || GetFileVersionInfoW(path_.c_str(), 0, size, resource.data()) == FALSE ||
      VerQueryValueW(resource.data(), L"\\", &found, &length) == FALSE) {
    return {};
  }
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(found);
  return fmt::format("{}.{}.{}", HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                     HIWORD(info.dwFileVersionLS));
}

}  // namespace zor::ctl
