// The process's state and the C runtime: the system alone.
#include <windows.h>

#include <psapi.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <cwctype>

#include "tools/selftest/background.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/debug_lines.h"
#include "tools/selftest/self.h"

namespace zor::selftest {
namespace {

std::string Result(BOOL ok) {
  const DWORD error = GetLastError();
  return ok != FALSE ? "ok" : Text("error ", error);
}

// --- libraries

std::string DllDirectory(Notes& /*notes*/) {
  constexpr const wchar_t* kMissing = L"C:\\zor-selftest\\no such folder";
  const std::string set = Result(SetDllDirectoryW(kMissing));
  std::array<wchar_t, MAX_PATH> found{};
  GetDllDirectoryW(static_cast<DWORD>(found.size()), found.data());
  const bool same = std::wstring_view(found.data()) == kMissing;
  const std::string reset = Result(SetDllDirectoryW(nullptr));
  const DWORD left = GetDllDirectoryW(static_cast<DWORD>(found.size()), found.data());
  return Text("missing folder: ", set, same ? ", read back" : ", lost", "; none: ", reset, ", ",
              left == 0 ? "empty" : "not empty");
}

std::string Semicolon(Notes& /*notes*/) { return Result(SetDllDirectoryW(L"C:\\one;two")); }

std::string ErrorMode(Notes& /*notes*/) {
  SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
  DWORD elsewhere = 0;
  Background([&] { elsewhere = GetThreadErrorMode(); }).Await("the thread");
  return Text("here ", GetThreadErrorMode(), ", elsewhere ", elsewhere);
}

/// A folder of the check's own for files; gone with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> folder{};
    GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
    path_ = std::wstring(folder.data()) + L"zor-selftest-" + std::to_wstring(GetCurrentProcessId());
    if (CreateDirectoryW(path_.c_str(), nullptr) == FALSE) ThrowLastError("CreateDirectory");
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    for (const std::wstring& file : files_) DeleteFileW(file.c_str());
    for (const std::wstring& folder : folders_) RemoveDirectoryW(folder.c_str());
    RemoveDirectoryW(path_.c_str());
  }

  [[nodiscard]] std::wstring Path(const wchar_t* name) const { return path_ + L"\\" + name; }
  [[nodiscard]] std::wstring MakeFile(const wchar_t* name, const void* data, std::size_t size) {
    files_.push_back(Path(name));
    const UniqueHandle file = Require(
        CreateFileW(files_.back().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr),
        "CreateFile");
    DWORD count = 0;
    WriteFile(file.get(), data, static_cast<DWORD>(size), &count, nullptr);
    return files_.back();
  }
  [[nodiscard]] std::wstring MakeFolder(const wchar_t* name) {
    folders_.push_back(Path(name));
    CreateDirectoryW(folders_.back().c_str(), nullptr);
    return folders_.back();
  }

 private:
  std::wstring path_;
  std::vector<std::wstring> files_;
  std::vector<std::wstring> folders_;
};

std::string LoadError(const std::wstring& path) {
  const HMODULE library = LoadLibraryW(path.c_str());
  const DWORD error = GetLastError();
  if (library == nullptr) return Text(error);
  FreeLibrary(library);
  return "loaded";
}

std::vector<char> HalfOfTheLibrary() {
  const std::wstring path = ProgramFolder() + L"ZorInterface.dll";
  const UniqueHandle file = Require(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr),
      "opening ZorInterface.dll");
  std::vector<char> bytes(GetFileSize(file.get(), nullptr) / 2);
  DWORD count = 0;
  ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
  return bytes;
}

std::string FailedLoad(Notes& /*notes*/) {
  TemporaryFolder folder;
  const std::vector<char> half = HalfOfTheLibrary();
  constexpr std::string_view kText = "not a library";
  return Text("missing ", LoadError(folder.Path(L"missing.dll")), ", text ",
              LoadError(folder.MakeFile(L"text.dll", kText.data(), kText.size())), ", folder ",
              LoadError(folder.MakeFolder(L"folder.dll")), ", half ",
              LoadError(folder.MakeFile(L"half.dll", half.data(), half.size())));
}

std::string FreeNull(Notes& /*notes*/) {
  return FreeLibrary(nullptr) != FALSE ? "succeeds" : "fails";
}

std::string Environment(Notes& /*notes*/) {
  std::array<wchar_t, 512> value{};
  const DWORD length = GetEnvironmentVariableW(L"systemroot", value.data(), 512);
  const DWORD needed = GetEnvironmentVariableW(L"systemroot", value.data(), 1);
  SetLastError(0);
  const DWORD absent = GetEnvironmentVariableW(L"zor-selftest-no-such-name", value.data(), 512);
  const DWORD error = GetLastError();
  return Text("systemroot ", length > 0 ? "there" : "absent",
              "; short buffer: ", needed == length + 1 ? "one more" : Text(needed, " for ", length),
              "; absent: ", absent, ", error ", error);
}

// --- the debugger output

std::string DebugEvents(Notes& /*notes*/) {
  const DebugLines lines;
  OutputDebugStringA("one\n");
  OutputDebugStringW(L"two\n");
  OutputDebugStringA("three\n");
  std::string seen;
  for (const DebugLine& line : lines.Taken()) {
    seen += Text(seen.empty() ? "" : ", ", Hex(line.code), " ", line.text);
  }
  return seen;
}

/// What a viewer of the debugger output shares with all processes.
struct DebugBuffer {
  DWORD process;
  std::array<char, 4092> text;
};

UniqueHandle MakeSharedEvent(const wchar_t* name) {
  UniqueHandle event = Require(CreateEventW(nullptr, FALSE, FALSE, name), "CreateEvent");
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    throw std::runtime_error("a viewer of the debugger output is running; close it");
  }
  return event;
}

std::string DebugViewer(Notes& /*notes*/) {
  const UniqueHandle ready = MakeSharedEvent(L"DBWIN_BUFFER_READY");
  const UniqueHandle data = MakeSharedEvent(L"DBWIN_DATA_READY");
  const UniqueHandle mapping =
      Require(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                 sizeof(DebugBuffer), L"DBWIN_BUFFER"),
              "CreateFileMapping");
  const auto* buffer =
      static_cast<const DebugBuffer*>(MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0));
  if (buffer == nullptr) ThrowLastError("MapViewOfFile");

  constexpr int kLines = 20;
  const Background writer([&] {
    for (int i = 0; i < kLines; ++i) OutputDebugStringA(Text("line ", i).c_str());
    OutputDebugStringA("end");
  });
  int in_order = 0;
  std::string text;
  while (text != "end") {
    SetEvent(ready.get());
    if (WaitForSingleObject(data.get(), kPatienceMs) != WAIT_OBJECT_0) return "nothing comes";
    if (buffer->process != GetCurrentProcessId()) continue;
    text = buffer->text.data();
    if (text == Text("line ", in_order)) ++in_order;
  }
  SetEvent(ready.get());
  writer.Await("the writer");
  UnmapViewOfFile(buffer);
  return Text(in_order, " lines in order");
}

// --- the C runtime

// NOLINTBEGIN(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory): the heap itself is
// looked at NOLINTBEGIN(clang-analyzer-optin.portability.UnixAPI)

std::string MallocZero(Notes& /*notes*/) {
  void* volatile block = std::malloc(0);  // volatile: a compiler may leave it out
  const bool null = block == nullptr;
  std::free(block);
  return null ? "null" : "not null";
}

std::size_t WorkingSet() {
  PROCESS_MEMORY_COUNTERS counters{};
  if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) == FALSE) {
    ThrowLastError("GetProcessMemoryInfo");
  }
  return counters.WorkingSetSize;
}

std::string CallocLazy(Notes& notes) {
  constexpr std::size_t kMebibyte = 1 << 20;
  constexpr std::size_t kSize = 256 * kMebibyte;
  const std::size_t before = WorkingSet();
  void* volatile block = std::calloc(kSize / 8, 8);
  if (block == nullptr) return "refused";
  const std::size_t after = WorkingSet();
  std::free(block);
  notes.push_back(Text("grown by ", (after > before ? after - before : 0) / kMebibyte, " MiB"));
  return after < before + kSize / 2 ? "taken, not used" : "used at once";
}

// NOLINTEND(clang-analyzer-optin.portability.UnixAPI)
// NOLINTEND(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)

std::string Digits(Notes& notes) {
  constexpr wchar_t kLast = 0xFFFF;
  int digits = 0;
  int in_numbers = 0;
  for (wchar_t c = 1; c < kLast; ++c) {
    const std::array<wchar_t, 3> text{L'1', c, L'\0'};
    if (std::iswdigit(c) != 0) ++digits;
    if (std::wcstoul(text.data(), nullptr, 10) >= 10) ++in_numbers;
  }
  notes.push_back(Text(digits, " characters are digits"));
  const auto kind = [](wchar_t c) { return std::iswdigit(c) != 0 ? "is a digit" : "is none"; };
  const auto number = [](const wchar_t* text) { return std::wcstoul(text, nullptr, 10); };
  return Text(in_numbers, " characters go on with a number; U+0663 ", kind(0x663), " and makes ",
              number(L"1\u0663"), ", U+00B2 ", kind(0xB2), " and makes ", number(L"1\u00B2"));
}

std::string Utf8(Notes& /*notes*/) {
  std::array<wchar_t, 16> wide{};
  const int count = MultiByteToWideChar(CP_UTF8, 0,
                                        "A\xFF"
                                        "B",
                                        -1, wide.data(), static_cast<int>(wide.size()));
  std::array<char, 16> narrow{};
  const std::array<wchar_t, 2> lone{0xD800, 0};
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, lone.data(), -1, narrow.data(),
                                        static_cast<int>(narrow.size()), nullptr, nullptr);
  std::string seen = Text(count, ":");
  for (int i = 0; i + 1 < count; ++i)
    seen += " " + Hex(wide[static_cast<std::size_t>(i)]).substr(4);
  seen += Text("; ", bytes, ":");
  for (int i = 0; i + 1 < bytes; ++i) {
    seen += " " + Hex(static_cast<unsigned char>(narrow[static_cast<std::size_t>(i)])).substr(6);
  }
  return seen;
}

constexpr std::string_view kDecisions = "docs/decisions.md";
constexpr std::string_view kLifetimes = "docs/lifetimes.md";

constexpr std::array kChecks = {
    Check{
        "runtime.dll-directory",
        "The system takes a folder for libraries without looking whether it exists, and null puts "
        "the default back.",
        kLifetimes, "To undo the former, call `SetDllDirectoryW` afterwards, with `NULL`",
        "missing folder: ok, read back; none: ok, empty", "", DllDirectory},
    Check{"runtime.dll-directory-semicolon", R"(A folder for libraries with a ";" is refused.)",
          "docs/troubleshooting.md", R"(its path contains ";")", "error 87", "ok", Semicolon},
    Check{"runtime.error-mode", "A thread's error mode concerns that thread only.", kDecisions,
          "`SetThreadErrorMode` affects the calling thread only", "here 1, elsewhere 0", "",
          ErrorMode},
    Check{"runtime.failed-load",
          "A library that cannot be loaded is refused with an error, without a box on the screen.",
          kDecisions, "the call would wait for a user who may not be there",
          "missing 126, text 193, folder 5, half 193", "", FailedLoad},
    Check{"runtime.free-null", "Freeing no library fails, and does no harm.",
          "src/discovery/library_scan.cpp",
          "Frees its module on every path, also when there is none", "fails", "", FreeNull},
    Check{"runtime.environment",
          "\"systemroot\" is there; a buffer that is too short gets the size that is needed.",
          "SECURITY.md", R"(But the library reads "systemroot" from the environment)",
          "systemroot there; short buffer: one more; absent: 0, error 203", "", Environment},
    Check{"runtime.debug-events",
          "Each line of the debugger output is one exception, in the order of writing; wide ones "
          "come "
          "as wide ones.",
          "docs/troubleshooting.md",
          "write a line with the prefix \"[zor] \" to the debugger output",
          "40010006 one, 4001000A two, 40010006 three",
          "40010006 one, 40010006 two, 40010006 three", DebugEvents},
    Check{"runtime.debug-viewer", "A viewer of the debugger output sees all lines in order.",
          "docs/troubleshooting.md", "or use a viewer of the debugger output", "20 lines in order",
          "", DebugViewer},
    Check{"runtime.malloc-zero", "`malloc(0)` is not null.", kLifetimes,
          "`data` is not null when `size` is 0", "not null", "", MallocZero},
    Check{"runtime.calloc-lazy", "Large zeroed memory is not used up before it is written to.",
          kDecisions, "So most entries remain null and should take no memory", "taken, not used",
          "", CallocLazy},
    Check{
        "runtime.digits",
        "Digits and numbers are those of the Universal C Runtime: 180 characters go on with a "
        "number.",
        kDecisions, R"(For example "1" and U+0663 give 13, while "1" and U+00B2 give 1)",
        "180 characters go on with a number; U+0663 is a digit and makes 13, U+00B2 is a digit and "
        "makes 1",
        "", Digits},
    Check{"runtime.utf8",
          "What is no UTF-8, and a lone surrogate, become the replacement character.",
          "src/platform/text.h",
          "bytes or characters that are not valid become the replacement character",
          "4: 0041 FFFD 0042; 4: EF BF BD", "", Utf8},
};

}  // namespace

std::span<const Check> RuntimeChecks() { return kChecks; }

}  // namespace zor::selftest
