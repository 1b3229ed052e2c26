#include <windows.h>

#include <oleauto.h>

#include <array>
#include <string_view>

#include "tests/selftest/breaks/breaks.h"

namespace zor::selftest::broken {
namespace {

HRESULT WINAPI CreateNothing(const IID& /*kind*/, IUnknown* /*outer*/, DWORD /*context*/,
                             const IID& /*interface_id*/, void** object) {
  *object = nullptr;
  return E_FAIL;
}

HRESULT WINAPI RefuseTheBlanket(IUnknown* /*proxy*/, DWORD /*authentication*/,
                                DWORD /*authorisation*/, OLECHAR* /*server*/, DWORD /*level*/,
                                DWORD /*impersonation*/, void* /*identity*/, DWORD /*flags*/) {
  return E_ACCESSDENIED;
}

HRESULT WINAPI SecurityIsSet(void* /*descriptor*/, LONG /*count*/, void* /*services*/,
                             void* /*reserved*/, DWORD /*level*/, DWORD /*impersonation*/,
                             void* /*list*/, DWORD /*flags*/, void* /*reserved_too*/) {
  return RPC_E_TOO_LATE;
}

/// The management service is asked for something else.
template <bool processes>
BSTR WINAPI AskForAnother(const wchar_t* text) {
  static const auto real =
      reinterpret_cast<BSTR(WINAPI*)(const wchar_t*)>(reinterpret_cast<void (*)()>(
          GetProcAddress(LoadLibraryW(L"oleaut32.dll"), "SysAllocString")));
  if (!std::wstring_view(text).starts_with(L"SELECT")) return real(text);
  return real(processes ? L"SELECT * FROM Win32_Process" : L"SELECT * FROM Win32_OperatingSystem");
}

template <DWORD error>
HANDLE WINAPI FindFails(const wchar_t* /*pattern*/, WIN32_FIND_DATAW* /*entry*/) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

const std::array kBreaks = {
    Make("discovery.needs-com", "CoCreateInstance", CreateNothing),
    Make("discovery.steps-multithreaded", "CoSetProxyBlanket", RefuseTheBlanket),
    Make("discovery.steps-apartment", "CoCreateInstance", CreateNothing),
    Make("discovery.security-twice", "CoInitializeSecurity", SecurityIsSet),
    Make("discovery.drivers", "SysAllocString", AskForAnother<true>),
    Make("discovery.null-property", "SysAllocString", AskForAnother<false>),
    Make("discovery.absent-property", "SysAllocString", AskForAnother<true>),
    Make("discovery.store-order", "FindFirstFileW", FindFails<ERROR_ACCESS_DENIED>),
    Make("discovery.missing-folder", "FindFirstFileW", FindFails<ERROR_FILE_NOT_FOUND>),
};

}  // namespace

std::span<const Break> DiscoveryBreaks() { return kBreaks; }

}  // namespace zor::selftest::broken
