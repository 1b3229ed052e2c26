#include "tools/zorctl/doctor/application.h"

#include <fmt/format.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

#include "discovery/text.h"
#include "interface/zor_loader.h"
#include "tools/zorctl/doctor/image_check.h"

namespace zor::ctl {
namespace {

namespace fs = std::filesystem;

/// Each of these initialises COM on the thread that calls it.
bool InitialisesCom(const std::string& function) {
  constexpr std::array kFunctions{"CoInitialize", "CoInitializeEx", "OleInitialize",
                                  "RoInitialize"};
  return std::ranges::find(kFunctions, function) != kFunctions.end();
}

bool IsTheLibrary(const std::string& name) {
  return EqualIgnoringCase(name.c_str(), "ZorInterface.dll");
}

fs::path WindowsFolder() {
  std::array<wchar_t, 1024> folder{};
  GetWindowsDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
  return folder.data();
}

/// Where the system looks for a library of the application's, in this order. The current folder,
/// which comes before the path's, is the user's affair.
std::vector<fs::path> SearchFolders(const fs::path& application) {
  std::vector<fs::path> folders{application.parent_path(), SystemFolder(), WindowsFolder()};
  for (fs::path& folder : PathFolders()) folders.push_back(std::move(folder));
  return folders;
}

}  // namespace

ApplicationFacts ExamineApplication(const std::string& path) {
  ApplicationFacts facts;
  const fs::path file = fs::absolute(ToWide(path));
  facts.path = ToUtf8(file.wstring());
  const std::vector<fs::path> folders = SearchFolders(file);
  const PeFile image = ReadImage(file, facts.image);
  if (facts.image.state != ImageFacts::State::kSound) return facts;
  facts.image = ExamineImage(file, folders);
  for (const PeImport& import : image.imports) {
    if (IsTheLibrary(import.library)) facts.imports_library = true;
    if (std::ranges::any_of(import.functions, InitialisesCom)) facts.imports_com = true;
  }
  for (const fs::path& folder : folders) {
    const fs::path library = folder / L"ZorInterface.dll";
    std::error_code ignored;
    if (!fs::exists(library, ignored)) continue;
    facts.library = ToUtf8(library.wstring());
    facts.library_image = ExamineImage(library, folders);
    ZorFileVersion version{};
    zor_read_version(library.c_str(), &version);
    facts.library_version =
        fmt::format("{}.{}.{}", version.major_number, version.minor_number, version.patch_number);
    break;
  }
  return facts;
}

}  // namespace zor::ctl
