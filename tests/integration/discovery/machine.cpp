#include "tests/integration/discovery/machine.h"

#include <array>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/integration/support/loaded_library.h"

namespace zor::testing {
namespace {

constexpr const wchar_t* kRootVariable = L"systemroot";
// As wide strings they all fit.
using Text = std::array<wchar_t, 1024>;

}  // namespace

Machine::Machine()
    : root_(NewFolder(L"zor-machine-")),
      store_(root_ / L"System32" / L"DriverStore" / L"FileRepository") {
  std::filesystem::create_directories(store_);
  Text old{};
  GetEnvironmentVariableW(kRootVariable, old.data(), static_cast<DWORD>(old.size()));
  old_root_ = old.data();
  SetEnvironmentVariableW(kRootVariable, root_.c_str());
}

Machine::~Machine() {
  SetEnvironmentVariableW(kRootVariable, old_root_.c_str());
  SetDllDirectoryW(nullptr);
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

std::filesystem::path Machine::NewFolder(const std::wstring& prefix) {
  Text temp{};
  if (GetTempPathW(static_cast<DWORD>(temp.size()), temp.data()) == 0) {
    throw std::runtime_error("no temporary folder");
  }
  const std::wstring name =
      prefix + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount64());
  std::filesystem::path folder = std::filesystem::path(temp.data()) / name;
  std::filesystem::create_directories(folder);
  return folder;
}

std::filesystem::path Machine::AddPackage(const std::wstring& name, std::string_view inf) const {
  std::filesystem::path folder = store_ / name;
  std::filesystem::create_directories(folder);
  std::ofstream(folder / L"zorapo.inf", std::ios::binary) << inf;
  return folder;
}

std::filesystem::path Machine::AddPackageOfVersion(const std::wstring& name,
                                                   std::string_view version) const {
  return AddPackage(name, "[Version]\r\nSignature=\"$WINDOWS NT$\"\r\nDriverVer = 06/21/2023," +
                              std::string(version) + "\r\n[Strings]\r\n");
}

void Machine::AddLibrary(const std::filesystem::path& package, const std::wstring& name,
                         const std::wstring& built) {
  std::filesystem::copy_file(std::filesystem::path(BinaryFolder()) / L"algorithms" / built,
                             package / name);
}

std::wstring LibraryDirectory() {
  Text directory{};
  GetDllDirectoryW(static_cast<DWORD>(directory.size()), directory.data());
  return directory.data();
}

}  // namespace zor::testing
