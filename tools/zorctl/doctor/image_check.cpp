#include "tools/zorctl/doctor/image_check.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "discovery/text.h"
#include "tools/zorctl/system_text.h"

namespace zor::ctl {
namespace {

namespace fs = std::filesystem;
using State = ImageFacts::State;

std::string ToLower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return text;
}

/// The system has this library, by the loader's own search. Extensions of it may be missing.
bool SystemHas(const std::string& name) {
  if (ToLower(name).starts_with("ext-ms-")) return true;
  const HMODULE module =
      LoadLibraryExW(ToWide(name).c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (module == nullptr) return false;
  FreeLibrary(module);
  return true;
}

const char* ReasonOf(const ImageFacts& facts, std::string& text) {
  switch (facts.state) {
    case State::kFolder:
      return "is a folder";
    case State::kUnreadable:
      text = "cannot be read: " + facts.error.text;
      return text.c_str();
    case State::kNotAnImage:
      return "is no library";
    case State::kTruncated:
      return "is cut off";
    case State::kOtherMachine:
      text = "is for " + facts.machine;
      return text.c_str();
    default:
      return "is missing";
  }
}

class Search {
 public:
  explicit Search(const std::vector<fs::path>& folders) : folders_(folders) {}

  /// Follows what the image needs.
  void Follow(const PeFile& image, const std::string& name, std::vector<MissingImport>& missing) {
    for (const PeImport& import : image.imports) {
      // What is in the process already is taken, whatever lies in the folders.
      if (GetModuleHandleW(ToWide(import.library).c_str()) != nullptr) continue;
      if (import.delayed || !seen_.insert(ToLower(import.library)).second) continue;
      Find(import, name, missing);
    }
  }

 private:
  void Find(const PeImport& import, const std::string& by, std::vector<MissingImport>& missing) {
    for (const fs::path& folder : folders_) {
      const fs::path file = folder / ToWide(import.library);
      std::error_code ignored;
      if (!fs::exists(file, ignored)) continue;
      ImageFacts facts;
      const PeFile image = ReadImage(file, facts);
      if (facts.state != State::kSound) {
        std::string text;
        missing.push_back({import.library, by, ReasonOf(facts, text)});
        return;
      }
      for (const std::string& function : import.functions) {
        if (std::ranges::find(image.exports, function) != image.exports.end()) continue;
        missing.push_back({import.library, by, "lacks the function " + function});
        return;
      }
      Follow(image, import.library, missing);
      return;
    }
    if (SystemHas(import.library)) return;
    missing.push_back({import.library, by, "is missing"});
  }

  const std::vector<fs::path>& folders_;
  std::set<std::string> seen_;
};

}  // namespace

PeFile ReadImage(const fs::path& file, ImageFacts& facts) {
  const DWORD attributes = GetFileAttributesW(file.c_str());
  const DWORD error = attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : 0;
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
    facts.state = State::kMissing;
    return {};
  }
  if (error == 0 && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    facts.state = State::kFolder;
    return {};
  }
  const HANDLE handle = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD number = GetLastError();
    facts.state = State::kUnreadable;
    facts.error = {number, SystemText(number)};
    return {};
  }
  CloseHandle(handle);
  std::ifstream stream(file, std::ios::binary);
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
  PeFile image = ReadPeFile(bytes);
  if (!image.is_image) {
    facts.state = State::kNotAnImage;
  } else if (image.machine != kMachineX64) {
    facts.state = State::kOtherMachine;
    facts.machine = MachineName(image.machine);
  } else if (image.is_truncated) {
    facts.state = State::kTruncated;
  }
  return image;
}

ImageFacts ExamineImage(const fs::path& file, const std::vector<fs::path>& folders) {
  ImageFacts facts;
  const PeFile image = ReadImage(file, facts);
  if (facts.state == State::kSound) {
    Search(folders).Follow(image, ToUtf8(file.filename().wstring()), facts.missing);
  }
  return facts;
}

fs::path SystemFolder() {
  std::array<wchar_t, 1024> folder{};
  GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
  return folder.data();
}

std::vector<fs::path> PathFolders() {
  std::wstring path(GetEnvironmentVariableW(L"PATH", nullptr, 0), L'\0');
  path.resize(GetEnvironmentVariableW(L"PATH", path.data(), static_cast<DWORD>(path.size())));
  std::vector<fs::path> folders;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find(L';', begin), path.size());
    if (end > begin) folders.emplace_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return folders;
}

}  // namespace zor::ctl
