#include "tools/zorctl/doctor/process_facts.h"

#include <fmt/format.h>
#include <windows.h>

#include <array>
#include <cstddef>
#include <vector>

#include "discovery/text.h"
#include "tools/windows/handle.h"

namespace zor::ctl {
namespace {

windows::OwnedHandle Open(std::uint32_t process) {
  return windows::OwnedHandle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
}

windows::OwnedHandle TokenOf(HANDLE process) {
  HANDLE token = nullptr;
  if (OpenProcessToken(process, TOKEN_QUERY, &token) == FALSE) return {};
  return windows::OwnedHandle(token);
}

/// "DOMAIN\name".
std::string UserOfToken(HANDLE token) {
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<std::byte> memory(size);
  if (size == 0 || GetTokenInformation(token, TokenUser, memory.data(), size, &size) == FALSE) {
    return {};
  }
  std::array<wchar_t, 256> name{};
  std::array<wchar_t, 256> domain{};
  auto name_size = static_cast<DWORD>(name.size());
  auto domain_size = static_cast<DWORD>(domain.size());
  SID_NAME_USE use{};
  if (LookupAccountSidW(nullptr, reinterpret_cast<const TOKEN_USER*>(memory.data())->User.Sid,
                        name.data(), &name_size, domain.data(), &domain_size, &use) == FALSE) {
    return {};
  }
  return ToUtf8(std::wstring(domain.data()) + L'\\' + name.data());
}

bool IsElevated(HANDLE token) {
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &size) !=
             FALSE &&
         elevation.TokenIsElevated != 0;
}

/// Not by GetVersionEx(), which tells a program without a manifest an old version.
std::string SystemVersion() {
  using Function = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto found = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (found == nullptr ||
      reinterpret_cast<Function>(reinterpret_cast<void (*)()>(found))(&version) != 0) {
    return "Windows";
  }
  return fmt::format("Windows {}.{}.{}", version.dwMajorVersion, version.dwMinorVersion,
                     version.dwBuildNumber);
}

}  // namespace

std::string ImageOf(std::uint32_t process) {
  const windows::OwnedHandle opened = Open(process);
  std::array<wchar_t, 1024> path{};
  auto size = static_cast<DWORD>(path.size());
  if (opened == nullptr ||
      QueryFullProcessImageNameW(opened.get(), 0, path.data(), &size) == FALSE) {
    return {};
  }
  return ToUtf8(path.data());
}

std::string UserOf(std::uint32_t process) {
  const windows::OwnedHandle opened = Open(process);
  if (opened == nullptr) return {};
  const windows::OwnedHandle token = TokenOf(opened.get());
  return token == nullptr ? std::string() : UserOfToken(token.get());
}

std::uint32_t SessionOf(std::uint32_t process) {
  DWORD session = 0;
  ProcessIdToSessionId(process, &session);
  return session;
}

ProcessFacts ExamineThisProcess() {
  ProcessFacts facts;
  facts.session = SessionOf(GetCurrentProcessId());
  facts.system = SystemVersion();
  if (const windows::OwnedHandle token = TokenOf(GetCurrentProcess())) {
    facts.user = UserOfToken(token.get());
    facts.elevated = IsElevated(token.get());
  }
  return facts;
}

}  // namespace zor::ctl
