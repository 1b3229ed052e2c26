#include "tests/support/machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace zor::scripted {
namespace {

std::filesystem::path MakeFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "zor-machine-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  return name;
}

}  // namespace

std::int32_t Answers(void* record) {
  // The whole of what a library may use.
  auto* words = static_cast<std::uint32_t*>(record);
  for (std::uint32_t i = 0; i < 8; ++i) words[i] = 100 + i;
  return 0;
}

std::int32_t Fails(void* /*record*/) { return 1; }

// What the library calls a path is one file name here, separators included.
Machine::Machine()
    : folder_(MakeFolder()),
      store_((folder_ / "windows").wstring() + L"\\System32\\DriverStore\\FileRepository") {
  FailConversions(false);
  TheEnvironment() = {};
  TheEnvironment().variables[L"systemroot"] = (folder_ / "windows").wstring();
  TheDirectories() = {};
  TheDirectories().directories[store_] = {};
  TheModules() = {};
  TheDrivers() = {};
}

Machine::~Machine() {
  EXPECT_EQ(TheDrivers().open_queries, 0);
  EXPECT_EQ(TheDirectories().open_count, 0);
  EXPECT_EQ(TheModules().LoadedCount(), 0);
  std::filesystem::remove_all(folder_);
}

void Machine::InstallDriver(std::wstring version) {
  TheDrivers().rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                               {L"DriverVersion", {.text = std::move(version)}}});
}

std::wstring Machine::AddPackage(const std::wstring& name, std::string_view inf) {
  auto& entries = TheDirectories().directories[store_].entries;
  if (std::find(entries.begin(), entries.end(), name) == entries.end()) entries.push_back(name);
  std::wstring folder = store_ + L"\\" + name;
  TheDirectories().directories[folder] = {};
  std::ofstream(std::filesystem::path(folder + L"\\zorapo.inf"), std::ios::binary) << inf;
  return folder;
}

std::wstring Machine::AddPackageOfVersion(const std::wstring& name, const std::string& version) {
  return AddPackage(name, "[Version]\r\nDriverVer=06/21/2023," + version + "\r\n");
}

void Machine::AddLibrary(const std::wstring& folder, const std::wstring& file,
                         std::int32_t (*information)(void*)) {
  TheDirectories().directories[folder].entries.push_back(file);
  TheModules().files[folder + L"\\" + file].information = information;
}

}  // namespace zor::scripted
