// What zor_loader.h loads, what it refuses and what it says about it.
#include "interface/zor_loader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "tests/integration/support/loaded_library.h"

namespace zor::testing {
namespace {

using ::testing::StartsWith;

constexpr std::array<const char*, ZOR_EXPORT_COUNT> kExports = {"ZorIntfConfig",
                                                                "ZorIntfCreate",
                                                                "ZorIntfDestroy",
                                                                "ZorIntfEnum",
                                                                "ZorIntfFreeSerialized",
                                                                "ZorIntfGet",
                                                                "ZorIntfGetInfo",
                                                                "ZorIntfGetSerialized",
                                                                "ZorIntfGetStatus",
                                                                "ZorIntfRegEventCallback",
                                                                "ZorIntfSet",
                                                                "ZorIntfSetSerialized",
                                                                "ZorIntfStart",
                                                                "ZorIntfStop"};

using Content = std::vector<char>;

/// A file beside the test program, as long as this object lives.
class File {
 public:
  File(const std::wstring& name, const Content& content) : path_(BinaryFolder() + L"\\" + name) {
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
    std::ofstream(std::filesystem::path(path_), std::ios::binary)
        .write(content.data(), static_cast<std::streamsize>(content.size()));
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { DeleteFileW(path_.c_str()); }

  [[nodiscard]] const wchar_t* path() const { return path_.c_str(); }

 private:
  std::wstring path_;
};

Content BuiltLibraryContent() {
  std::ifstream file(std::filesystem::path(BuiltLibrary()), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Where `what` begins.
std::size_t Find(const Content& content, const std::string_view& what) {
  const std::size_t found = std::string_view(content.data(), content.size()).find(what);
  EXPECT_NE(found, std::string_view::npos);
  return found;
}

template <typename T>
void Store(Content& content, std::size_t at, T value) {
  std::memcpy(&content.at(at), &value, sizeof value);
}

/// Where the fixed part of the version resource begins.
std::size_t VersionOf(const Content& content) {
  return Find(content, std::string_view("\xBD\x04\xEF\xFE", 4));
}

Content WithVersion(DWORD major_and_minor, DWORD patch) {
  Content content = BuiltLibraryContent();
  const std::size_t version = VersionOf(content);
  Store(content, version + offsetof(VS_FIXEDFILEINFO, dwFileVersionMS), major_and_minor);
  Store(content, version + offsetof(VS_FIXEDFILEINFO, dwFileVersionLS), patch);
  return content;
}

class Loader : public ::testing::Test {
 protected:
  ~Loader() override { zor_unload(&library_); }

  ZorLoadStatus Load(const wchar_t* path) { return zor_load(&library_, path, &error_); }

  [[nodiscard]] std::string Text() const {
    std::array<char, ZOR_LOAD_TEXT_SIZE> text{};
    return zor_load_text(&error_, text.data());
  }

  /// That `path` is refused, and nothing of it is left in the process.
  void ExpectRefused(const wchar_t* path, ZorLoadStatus status, const std::string& text) {
    EXPECT_EQ(Load(path), status);
    EXPECT_EQ(error_.status, status);
    EXPECT_THAT(Text(), StartsWith(text));
    EXPECT_LT(Text().size(), std::size_t{ZOR_LOAD_TEXT_SIZE});
    EXPECT_EQ(library_.module, nullptr);
    EXPECT_EQ(library_.ZorIntfConfig, nullptr);
    EXPECT_EQ(GetModuleHandleW(path), nullptr);
  }

  ZorLibrary library_ = {};
  ZorLoadError error_ = {};
};

TEST_F(Loader, LoadsTheLibraryBesideTheProgram) {
  ASSERT_EQ(Load(nullptr), ZOR_LOAD_OK) << Text();
  EXPECT_EQ(Text(), "the library is loaded");
  EXPECT_EQ(BuiltLibrary(), error_.path);
  EXPECT_EQ(library_.module, GetModuleHandleW(BuiltLibrary().c_str()));
  EXPECT_EQ(error_.version.major_number, unsigned{ZOR_VERSION_MAJOR});
  EXPECT_EQ(error_.version.minor_number, unsigned{ZOR_VERSION_MINOR});
  EXPECT_EQ(error_.version.patch_number, unsigned{ZOR_VERSION_PATCH});
}

TEST_F(Loader, FindsEachCallUnderItsName) {
  ASSERT_EQ(Load(nullptr), ZOR_LOAD_OK) << Text();
  std::array<FARPROC, ZOR_EXPORT_COUNT> table{};
  static_assert(sizeof library_ == sizeof library_.module + sizeof table);
  std::memcpy(table.data(), &library_.ZorIntfConfig, sizeof table);
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(table.at(i), GetProcAddress(library_.module, kExports.at(i))) << kExports.at(i);
  }
}

TEST_F(Loader, LoadsTheFileOfAGivenPath) {
  const LibraryCopy copy(L"loader_copy.dll");
  ASSERT_EQ(zor_load(&library_, copy.path().c_str(), nullptr), ZOR_LOAD_OK);
  EXPECT_EQ(library_.module, GetModuleHandleW(copy.path().c_str()));
  EXPECT_TRUE(zor_unload(&library_));
}

TEST_F(Loader, RefusesAPathThatIsNotFull) {
  for (const auto* path : {L"ZorInterface.dll", L".\\ZorInterface.dll", L"\\ZorInterface.dll",
                           L"C:ZorInterface.dll", L"", L"\\", L"C", L"C:"}) {
    EXPECT_EQ(Load(path), ZOR_LOAD_BAD_PATH) << std::wstring(path).size();
  }
  EXPECT_EQ(Text(), "the path of the library is not a full path, or is too long");
}

TEST_F(Loader, RefusesAPathThatIsTooLong) {
  const std::wstring longest = L"C:\\" + std::wstring(ZOR_LOAD_PATH_SIZE - 4, L'x');
  EXPECT_NE(Load(longest.c_str()), ZOR_LOAD_BAD_PATH);
  EXPECT_EQ(Load((longest + L"x").c_str()), ZOR_LOAD_BAD_PATH);
}

TEST_F(Loader, NeverSearchesForAFile) {
  const File elsewhere(L"elsewhere\\ZorInterface.dll", BuiltLibraryContent());
  ASSERT_TRUE(SetDllDirectoryW((BinaryFolder() + L"\\elsewhere").c_str()));
  EXPECT_EQ(Load((BinaryFolder() + L"\\nowhere\\ZorInterface.dll").c_str()), ZOR_LOAD_FILE_MISSING);
  EXPECT_EQ(Load(L"ZorInterface.dll"), ZOR_LOAD_BAD_PATH);
  EXPECT_EQ(GetModuleHandleW(elsewhere.path()), nullptr);
  SetDllDirectoryW(nullptr);
}

TEST_F(Loader, ReportsThatThereIsNoFile) {
  ExpectRefused(L"C:\\none\\ZorInterface.dll", ZOR_LOAD_FILE_MISSING,
                "there is no such file (error ");
  EXPECT_STREQ(error_.path, L"C:\\none\\ZorInterface.dll");
}

TEST_F(Loader, ReportsAFileThatIsNoLibrary) {
  const File text(L"loader_text.dll", Content(200, 'x'));
  ExpectRefused(text.path(), ZOR_LOAD_NOT_A_LIBRARY, "the file is not a library, or is damaged");
  const File empty(L"loader_empty.dll", {});
  ExpectRefused(empty.path(), ZOR_LOAD_NOT_A_LIBRARY, "the file is not a library, or is damaged");
  Content cut = BuiltLibraryContent();
  cut.resize(sizeof(IMAGE_DOS_HEADER) + 8);
  const File start(L"loader_start.dll", cut);
  ExpectRefused(start.path(), ZOR_LOAD_NOT_A_LIBRARY, "the file is not a library, or is damaged");
}

TEST_F(Loader, ReportsALibraryOfTheWrongBitness) {
  Content content = BuiltLibraryContent();
  Store(content, Find(content, std::string_view("PE\0\0", 4)) + 4, WORD{IMAGE_FILE_MACHINE_I386});
  const File file(L"loader_i386.dll", content);
  ExpectRefused(file.path(), ZOR_LOAD_WRONG_BITNESS,
                "the program and the library must both be for 64-bit x86");
}

TEST_F(Loader, ReportsAnotherVersion) {
  const File minor(L"loader_minor.dll", WithVersion(ZOR_VERSION_MINOR + 7, 0));
  ExpectRefused(minor.path(), ZOR_LOAD_WRONG_VERSION,
                "the program needs version " + std::to_string(ZOR_VERSION_MAJOR) + "." +
                    std::to_string(ZOR_VERSION_MINOR) + "; the library's file has version ");
  EXPECT_EQ(error_.version.minor_number, ZOR_VERSION_MINOR + 7U);
  const File major(L"loader_major.dll",
                   WithVersion((ZOR_VERSION_MAJOR + 65535U) << 16U | ZOR_VERSION_MINOR, 0));
  ExpectRefused(major.path(), ZOR_LOAD_WRONG_VERSION, "the program needs version ");
}

TEST_F(Loader, AcceptsAnotherPatch) {
  const File patch(L"loader_patch.dll",
                   WithVersion(ZOR_VERSION_MAJOR << 16U | ZOR_VERSION_MINOR, 9U << 16U));
  EXPECT_EQ(Load(patch.path()), ZOR_LOAD_OK);
  EXPECT_EQ(error_.version.patch_number, 9U);
  EXPECT_TRUE(zor_unload(&library_));
}

TEST_F(Loader, RefusesALibraryWithoutAVersion) {
  Content content = BuiltLibraryContent();
  Store(content, VersionOf(content), DWORD{0});
  const File file(L"loader_no_version.dll", content);
  ExpectRefused(file.path(), ZOR_LOAD_WRONG_VERSION, "the program needs version ");
  EXPECT_EQ(error_.version.major_number + error_.version.minor_number, 0U);
}

TEST_F(Loader, NamesAnExportThatIsMissing) {
  for (const char* name : kExports) {
    Content content = BuiltLibraryContent();
    // Wherever it is as a whole: between two NULs.
    const std::string whole = std::string("\0", 1) + name + std::string("\0", 1);
    const auto find = [&](auto from) {
      return std::search(from, content.end(), whole.begin(), whole.end());
    };
    for (auto at = find(content.begin()); at != content.end(); at = find(at)) at[1] = '~';
    const File file(L"loader_export.dll", content);
    ExpectRefused(file.path(), ZOR_LOAD_EXPORT_MISSING,
                  std::string("the library has no function ") + name);
    ASSERT_NE(error_.missing_export, nullptr);
    EXPECT_STREQ(error_.missing_export, name);
  }
}

TEST_F(Loader, MayLoadAndUnloadRepeatedly) {
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(Load(nullptr), ZOR_LOAD_OK) << Text();
    ASSERT_EQ(Load(nullptr), ZOR_LOAD_OK) << "loaded already";
    const auto* const inside = reinterpret_cast<const void*>(library_.ZorIntfConfig);
    EXPECT_TRUE(zor_unload(&library_));
    EXPECT_TRUE(IsUnmapped(inside));
    EXPECT_EQ(library_.ZorIntfStop, nullptr);
    EXPECT_TRUE(zor_unload(&library_)) << "unloaded already";
  }
}

TEST_F(Loader, SaysThatSomebodyElseHoldsTheLibrary) {
  const LoadedLibrary other;
  ASSERT_EQ(Load(nullptr), ZOR_LOAD_OK) << Text();
  EXPECT_FALSE(zor_unload(&library_));
  EXPECT_EQ(library_.module, nullptr);
}

/// What the call of a library did to the process's directory.
std::function<void()> change_directory;

std::wstring DllDirectory() {
  std::array<wchar_t, 500> path{};
  GetDllDirectoryW(static_cast<DWORD>(path.size()), path.data());
  return path.data();
}

class Enumeration : public Loader {
 protected:
  Enumeration() {
    library_.ZorIntfEnum = [](std::uint32_t selector, ZorNameList* list) -> ZorResult {
      change_directory();
      list->count = selector;
      return 77;
    };
  }
  ~Enumeration() override { SetDllDirectoryW(nullptr); }

  void Enumerate() {
    ZorNameList list = {0, nullptr};
    EXPECT_EQ(zor_enum(&library_, 2, &list), 77U);
    EXPECT_EQ(list.count, 2U);
  }
};

TEST_F(Enumeration, SetsTheDirectoryBack) {
  change_directory = [] { SetDllDirectoryW(L"C:\\package"); };
  SetDllDirectoryW(L"C:\\mine");
  Enumerate();
  EXPECT_EQ(DllDirectory(), L"C:\\mine");
}

TEST_F(Enumeration, SetsTheDirectoryBackToNone) {
  change_directory = [] { SetDllDirectoryW(L"C:\\package"); };
  SetDllDirectoryW(nullptr);
  Enumerate();
  EXPECT_EQ(DllDirectory(), L"");
}

TEST_F(Enumeration, LeavesADirectoryThatHasNotChanged) {
  change_directory = [] {};
  SetDllDirectoryW(L"C:\\mine");
  Enumerate();
  EXPECT_EQ(DllDirectory(), L"C:\\mine");
}

}  // namespace
}  // namespace zor::testing
