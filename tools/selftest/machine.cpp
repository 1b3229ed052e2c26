#include "tools/selftest/machine.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "interface/zor_interface.h"
#include "tools/selftest/library_pipes.h"
#include "tools/selftest/self.h"
#include "tools/selftest/text.h"

namespace zor::selftest {
namespace {

/// Null when there is no such function.
template <typename Function>
Function FindInNtdll(const char* name) {
  const HMODULE library = GetModuleHandleW(L"ntdll.dll");
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

/// Empty on Windows.
std::string WineVersion() {
  const auto version = FindInNtdll<const char*(CDECL*)()>("wine_get_version");
  return version == nullptr ? std::string() : version();
}

/// The true one: what GetVersionEx() says depends on the program's manifest.
std::string WindowsVersion() {
  const auto get = FindInNtdll<LONG(WINAPI*)(OSVERSIONINFOW*)>("RtlGetVersion");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (get == nullptr || get(&version) != 0) return "unknown";
  return Text(version.dwMajorVersion, ".", version.dwMinorVersion, ".", version.dwBuildNumber);
}

/// Windows 11 tells itself from 10 by the build alone; the update is in the registry.
std::string WindowsUpdate() {
  DWORD revision = 0;
  DWORD size = sizeof(revision);
  if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"UBR",
                   RRF_RT_REG_DWORD, nullptr, &revision, &size) != ERROR_SUCCESS) {
    return {};
  }
  return Text(".", revision);
}

std::string Sha256(std::vector<unsigned char> bytes) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  std::array<unsigned char, 32> hash{};
  if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0) return {};
  const NTSTATUS status =
      BCryptHash(algorithm, nullptr, 0, bytes.data(), static_cast<ULONG>(bytes.size()), hash.data(),
                 static_cast<ULONG>(hash.size()));
  BCryptCloseAlgorithmProvider(algorithm, 0);
  if (status != 0) return {};
  std::string text;
  for (const unsigned char byte : hash) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

std::string LibraryHash() {
  const std::wstring path = ProgramFolder() + L"ZorInterface.dll";
  const UniqueHandle file(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  LARGE_INTEGER size{};
  if (file.get() == INVALID_HANDLE_VALUE || GetFileSizeEx(file.get(), &size) == FALSE) {
    return "not beside this program";
  }
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size.QuadPart));
  DWORD count = 0;
  if (ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) ==
      FALSE) {
    return "cannot be read";
  }
  return Text(bytes.size(), " bytes, SHA-256 ", Sha256(bytes));
}

std::string Now() {
  SYSTEMTIME now{};
  GetSystemTime(&now);
  const auto two = [](WORD number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return Text(now.wYear, "-", two(now.wMonth), "-", two(now.wDay), " ", two(now.wHour), ":",
              two(now.wMinute), " UTC");
}

std::string Processors() {
  SYSTEM_INFO info{};
  GetNativeSystemInfo(&info);
  const bool native = info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
  return Text(info.dwNumberOfProcessors, native ? ", x64" : ", not x64: this program is emulated");
}

}  // namespace

Platform ThisPlatform() {
  const std::string version = WineVersion();
  if (version.empty()) return Platform::kWindows;
  return version.starts_with("8.") ? Platform::kWine8 : Platform::kOtherWine;
}

std::vector<std::pair<std::string, std::string>> AboutThisMachine() {
  const std::string wine = WineVersion();
  return {{"kit", ZOR_VERSION_STRING},
          {"library", LibraryHash()},
          {"system", wine.empty() ? "Windows " + WindowsVersion() + WindowsUpdate()
                                  : "Wine " + wine + ", as Windows " + WindowsVersion()},
          {"processors", Processors()},
          {"time", Now()}};
}

bool AServerIsThere() {
  const auto is_there = [](const wchar_t* pipe) {
    // Takes no instance, and no server notices it.
    return WaitNamedPipeW(pipe, 1) != FALSE || GetLastError() != ERROR_FILE_NOT_FOUND;
  };
  return is_there(kRequestPipe) || is_there(kNotifyPipe);
}

}  // namespace zor::selftest
