// What the platform of the real system asks of the system, argument by argument, and what it makes
// of failures that the system cannot be brought to. Linked in, since the calls are answered here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <oleauto.h>

#include "platform/debug_output.h"
#include "platform/directory.h"
#include "platform/driver_query.h"
#include "platform/environment.h"
#include "platform/heap.h"
#include "platform/modules.h"
#include "platform/pipe.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/handle.h"
#include "tests/integration/support/import_hook.h"

namespace zor::testing {
namespace {

using platform::PipeHandle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr DWORD kStaleError = 4711;

/// The system's own function, for a hook that hands on.
template <typename Function>
Function* Real(const char* name, const wchar_t* library = L"kernel32.dll") {
  const FARPROC found = GetProcAddress(GetModuleHandleW(library), name);
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(found));
}

// --- pipes

const auto kSomePipe = static_cast<PipeHandle>(0x1234);
const HANDLE kSomeHandle = reinterpret_cast<HANDLE>(0x1234);  // NOLINT(performance-no-int-to-ptr)

TEST(PipeCalls, OpenAnExistingPipeExclusively) {
  static int opened;
  opened = 0;
  const ImportHook<decltype(CreateFileW)> open(
      "CreateFileW", [](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                        DWORD disposition, DWORD flags, HANDLE pattern) {
        ++opened;
        EXPECT_STREQ(name, L"a pipe");
        EXPECT_EQ(access, GENERIC_READ | GENERIC_WRITE);
        EXPECT_EQ(share, 0U);
        EXPECT_EQ(security, nullptr);
        EXPECT_EQ(disposition, static_cast<DWORD>(OPEN_EXISTING));
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(pattern, nullptr);
        return kSomeHandle;
      });
  EXPECT_EQ(platform::OpenPipe(L"a pipe").handle, kSomePipe);
  EXPECT_EQ(opened, 1);
}

TEST(PipeCalls, DisconnectBeforeTheyClose) {
  static std::vector<std::string> calls;
  calls.clear();
  const ImportHook<decltype(DisconnectNamedPipe)> disconnect(
      "DisconnectNamedPipe", [](HANDLE pipe) -> BOOL {
        calls.emplace_back(pipe == kSomeHandle ? "disconnect" : "disconnect another");
        return FALSE;
      });
  const ImportHook<decltype(CloseHandle)> close("CloseHandle", [](HANDLE pipe) -> BOOL {
    calls.emplace_back(pipe == kSomeHandle ? "close" : "close another");
    return TRUE;
  });
  platform::DisconnectPipe(kSomePipe);
  EXPECT_THAT(calls, ElementsAre("disconnect"));
  platform::ClosePipe(kSomePipe);
  EXPECT_THAT(calls, ElementsAre("disconnect", "close"));
}

TEST(PipeCalls, SetOnlyTheReadMode) {
  static int calls;
  calls = 0;
  const ImportHook<decltype(SetNamedPipeHandleState)> set(
      "SetNamedPipeHandleState",
      [](HANDLE pipe, LPDWORD mode, LPDWORD count, LPDWORD time) -> BOOL {
        ++calls;
        EXPECT_EQ(pipe, kSomeHandle);
        EXPECT_EQ(*mode, static_cast<DWORD>(PIPE_READMODE_MESSAGE));
        EXPECT_EQ(count, nullptr);
        EXPECT_EQ(time, nullptr);
        return TRUE;
      });
  platform::SetMessageReadMode(kSomePipe);
  EXPECT_EQ(calls, 1);
}

TEST(PipeCalls, TransferWithoutOverlapping) {
  const ImportHook<decltype(WriteFile)> write(
      "WriteFile",
      [](HANDLE, LPCVOID, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) -> BOOL {
        EXPECT_EQ(size, 3U);
        EXPECT_NE(written, nullptr);
        EXPECT_EQ(overlapped, nullptr);
        return TRUE;
      });
  const ImportHook<decltype(ReadFile)> read(
      "ReadFile", [](HANDLE, LPVOID, DWORD size, LPDWORD count, LPOVERLAPPED overlapped) -> BOOL {
        EXPECT_EQ(size, 3U);
        EXPECT_EQ(overlapped, nullptr);
        *count = 2;
        SetLastError(ERROR_BROKEN_PIPE);
        return FALSE;
      });
  std::array<std::uint8_t, 3> bytes{};
  EXPECT_TRUE(platform::WritePipe(kSomePipe, bytes));
  SetLastError(kStaleError);
  const platform::ReadResult result = platform::ReadPipe(kSomePipe, bytes);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.count, 2U);
  EXPECT_EQ(result.error, static_cast<std::uint32_t>(ERROR_BROKEN_PIPE));
}

// --- folders

/// A folder as the system shows it, one entry after the other, up to an error.
struct Folder {
  std::vector<std::wstring> entries;
  DWORD end = 0;  ///< the error after the last entry
  std::wstring pattern;
  int open = 0;
  std::size_t next = 0;
};
Folder folder;

BOOL ShowNext(WIN32_FIND_DATAW* entry) {
  if (folder.next == folder.entries.size()) {
    SetLastError(folder.end);
    return FALSE;
  }
  // A success leaves any last error.
  SetLastError(kStaleError);
  folder.entries[folder.next++].copy(entry->cFileName, MAX_PATH - 1);
  return TRUE;
}

class DirectoryCalls : public ::testing::Test {
 protected:
  ~DirectoryCalls() override { EXPECT_EQ(folder.open, 0); }

  struct Listed {
    std::vector<std::wstring> names;
    std::uint32_t error = 0;
  };

  /// The names of the entries that the system shows, and the error that ends them.
  static Listed List(std::vector<std::wstring> entries, DWORD end = ERROR_NO_MORE_FILES) {
    folder = {};
    folder.entries = std::move(entries);
    folder.end = end;
    const platform::OpenListingResult opened = platform::OpenListing(L"X:\\folder");
    Listed listed{.names = {}, .error = opened.error};
    if (opened.listing == nullptr) return listed;
    EXPECT_EQ(folder.open, 1);
    while (const wchar_t* name = platform::EntryName(opened.listing)) {
      listed.names.emplace_back(name);
      listed.error = platform::NextEntry(opened.listing);
      if (listed.error != 0) break;
    }
    platform::CloseListing(opened.listing);
    return listed;
  }

 private:
  ImportHook<decltype(FindFirstFileW)> first_{"FindFirstFileW",
                                              [](LPCWSTR pattern, LPWIN32_FIND_DATAW entry) {
                                                folder.pattern = pattern;
                                                *entry = {};
                                                if (ShowNext(entry) == FALSE)
                                                  return INVALID_HANDLE_VALUE;
                                                ++folder.open;
                                                return kSomeHandle;
                                              }};
  ImportHook<decltype(FindNextFileW)> next_{"FindNextFileW",
                                            [](HANDLE find, LPWIN32_FIND_DATAW entry) -> BOOL {
                                              EXPECT_EQ(find, kSomeHandle);
                                              *entry = {};
                                              return ShowNext(entry);
                                            }};
  ImportHook<decltype(FindClose)> close_{"FindClose", [](HANDLE find) -> BOOL {
                                           EXPECT_EQ(find, kSomeHandle);
                                           --folder.open;
                                           return TRUE;
                                         }};
};

TEST_F(DirectoryCalls, ListEverythingInTheFolder) {
  const Listed listed = List({L"a", L"b"});
  EXPECT_THAT(listed.names, ElementsAre(L"a", L"b"));
  EXPECT_EQ(listed.error, 0U);
  EXPECT_EQ(folder.pattern, L"X:\\folder\\*");
}

TEST_F(DirectoryCalls, SkipDotsWhereverTheyStand) {
  const Listed listed = List({L"a", L".", L"..", L"...", L"b", L".."});
  EXPECT_THAT(listed.names, ElementsAre(L"a", L"...", L"b"));
  EXPECT_EQ(listed.error, 0U);
  const Listed empty = List({L".", L".."});
  EXPECT_THAT(empty.names, IsEmpty());
  EXPECT_EQ(empty.error, 0U);
}

TEST_F(DirectoryCalls, ReportTheErrorThatEndsTheListing) {
  EXPECT_EQ(List({}, ERROR_PATH_NOT_FOUND).error, static_cast<std::uint32_t>(ERROR_PATH_NOT_FOUND));
  const Listed listed = List({L"a"}, ERROR_ACCESS_DENIED);
  EXPECT_THAT(listed.names, ElementsAre(L"a"));
  EXPECT_EQ(listed.error, static_cast<std::uint32_t>(ERROR_ACCESS_DENIED));
  // Among the dots, too.
  const Listed dots = List({L"."}, ERROR_ACCESS_DENIED);
  EXPECT_THAT(dots.names, IsEmpty());
  EXPECT_EQ(dots.error, static_cast<std::uint32_t>(ERROR_ACCESS_DENIED));
}

// --- libraries, environment, text, heap, debugger output

TEST(ModuleCalls, LoadByThePathAlone) {
  static std::wstring loaded;
  static HMODULE freed;
  const ImportHook<decltype(LoadLibraryW)> load("LoadLibraryW", [](LPCWSTR path) -> HMODULE {
    loaded = path;
    SetLastError(ERROR_BAD_EXE_FORMAT);
    return nullptr;
  });
  const ImportHook<decltype(FreeLibrary)> free("FreeLibrary", [](HMODULE library) -> BOOL {
    freed = library;
    return TRUE;
  });
  SetLastError(kStaleError);
  const platform::LoadModuleResult result = platform::LoadModule(L"X:\\library.dll");
  EXPECT_EQ(loaded, L"X:\\library.dll");
  EXPECT_EQ(result.module, nullptr);
  EXPECT_EQ(result.error, static_cast<std::uint32_t>(ERROR_BAD_EXE_FORMAT));
  platform::ReleaseModule(reinterpret_cast<platform::Module*>(kSomeHandle));
  EXPECT_EQ(freed, kSomeHandle);
}

TEST(ModuleCalls, LookForTheEntryInTheLibrary) {
  const ImportHook<decltype(GetProcAddress)> find("GetProcAddress",
                                                  [](HMODULE library, LPCSTR name) -> FARPROC {
                                                    EXPECT_EQ(library, kSomeHandle);
                                                    EXPECT_STREQ(name, "entry");
                                                    return nullptr;
                                                  });
  auto* const library = reinterpret_cast<platform::Module*>(kSomeHandle);
  EXPECT_EQ(platform::FindEntryPoint(library, "entry"), nullptr);
}

TEST(ModuleCalls, ReportADirectoryThatIsRefused) {
  static BOOL result;
  const ImportHook<decltype(SetDllDirectoryW)> set("SetDllDirectoryW", [](LPCWSTR directory) {
    EXPECT_STREQ(directory, L"X:\\folder");
    return result;
  });
  result = FALSE;
  EXPECT_FALSE(platform::SetLibraryDirectory(L"X:\\folder"));
  result = TRUE;
  EXPECT_TRUE(platform::SetLibraryDirectory(L"X:\\folder"));
}

TEST(ModuleCalls, SetTheErrorModeOfTheThreadAlone) {
  const DWORD of_process = GetErrorMode();
  const std::uint32_t before = platform::ThreadErrorMode();
  platform::SetThreadErrorMode(before ^ SEM_NOGPFAULTERRORBOX);
  EXPECT_EQ(platform::ThreadErrorMode(), before ^ SEM_NOGPFAULTERRORBOX);
  EXPECT_EQ(GetErrorMode(), of_process);
  platform::SetThreadErrorMode(before);
}

TEST(EnvironmentCalls, StayWithinTheBuffer) {
  SetEnvironmentVariableW(L"zor_test", L"four");
  std::array<wchar_t, 6> buffer{};
  buffer.fill(L'#');
  EXPECT_EQ(platform::GetEnvironment(L"zor_test", std::span(buffer).first(5)), 4U);
  EXPECT_EQ(std::wstring(buffer.data(), buffer.size()), std::wstring(L"four\0#", 6));
  buffer.fill(L'#');
  EXPECT_EQ(platform::GetEnvironment(L"zor_test", std::span(buffer).first(4)), 5U);
  EXPECT_EQ(buffer[4], L'#');
  SetEnvironmentVariableW(L"zor_test", nullptr);
  EXPECT_EQ(platform::GetEnvironment(L"zor_test", buffer), 0U);
}

TEST(TextCalls, ConvertUpToTheEnd) {
  std::array<wchar_t, 4> wide{};
  wide.fill(L'#');
  EXPECT_EQ(platform::Utf8ToWide("\xC3\xA4", nullptr, 0), 2);
  EXPECT_EQ(platform::Utf8ToWide("\xC3\xA4", wide.data(), 4), 2);
  EXPECT_THAT(wide, ElementsAre(L'\xE4', L'\0', L'#', L'#'));
  EXPECT_EQ(platform::Utf8ToWide("\xC3\xA4", wide.data(), 1), 0);
  std::array<char, 4> narrow{};
  narrow.fill('#');
  EXPECT_EQ(platform::WideToUtf8(L"\xE4", nullptr, 0), 3);
  EXPECT_EQ(platform::WideToUtf8(L"\xE4", narrow.data(), 4), 3);
  EXPECT_THAT(narrow, ElementsAre('\xC3', '\xA4', '\0', '#'));
  EXPECT_EQ(platform::WideToUtf8(L"\xE4", narrow.data(), 2), 0);
}

TEST(TextCalls, ReplaceWhatIsNoText) {
  std::array<wchar_t, 4> wide{};
  EXPECT_EQ(platform::Utf8ToWide("a\xFF", wide.data(), 4), 3);
  EXPECT_THAT(wide, ElementsAre(L'a', L'\xFFFD', L'\0', L'\0'));
  std::array<char, 8> narrow{};
  const std::array<wchar_t, 2> half_a_pair{L'\xD800', L'\0'};
  EXPECT_EQ(platform::WideToUtf8(half_a_pair.data(), narrow.data(), 8), 4);
  EXPECT_STREQ(narrow.data(), "\xEF\xBF\xBD");
}

TEST(HeapCalls, ZeroEveryByteWhenAsked) {
  const ImportHook<void*(std::size_t, std::size_t)> zeroed("calloc",
                                                           [](std::size_t count, std::size_t size) {
                                                             EXPECT_EQ(count, 3U);
                                                             EXPECT_EQ(size, 5U);
                                                             return static_cast<void*>(kSomeHandle);
                                                           });
  EXPECT_EQ(platform::HeapAllocateZeroed(3, 5), kSomeHandle);
}

TEST(HeapCalls, GiveTheirBlockBack) {
  static void* block;
  static int freed;
  block = platform::HeapAllocate(1);
  freed = 0;
  const ImportHook<decltype(std::free)> free("free", [](void* given) {
    if (given == block) ++freed;
    Real<decltype(std::free)>("free", L"ucrtbase.dll")(given);
  });
  platform::HeapFree(block);
  EXPECT_EQ(freed, 1);
}

int Measure(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = platform::FormattedLength(format, arguments);
  va_end(arguments);
  return length;
}

int Measure(const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = platform::FormattedLength(format, arguments);
  va_end(arguments);
  return length;
}

TEST(FormatCalls, MeasureTheTextWithoutItsEnd) {
  EXPECT_EQ(Measure("%d", 42), 2);
  EXPECT_EQ(Measure(L"%d", 42), 2);
}

TEST(OutputCalls, HandOnWideTextAsItIs) {
  static std::wstring written;
  const ImportHook<decltype(OutputDebugStringW)> output("OutputDebugStringW",
                                                        [](LPCWSTR text) { written = text; });
  platform::DebugOutput(L"a \xE4 \x4E00\n");
  EXPECT_EQ(written, L"a \xE4 \x4E00\n");
}

// --- the driver query

/// What the query has of the system's libraries, and what it is refused.
struct Borrowed {
  std::vector<std::wstring> loaded;
  int libraries = 0;
  std::wstring missing_library;
  std::string missing_function;
  int strings_until_refusal = -1;  ///< counted down; none is refused below zero
  std::multiset<BSTR> strings;
  int variants = 0;  ///< handed out by reads and not yet cleared
  std::vector<std::string> held_when_freed;
  WmiStandIn* service = nullptr;
};
Borrowed borrowed;

BSTR WINAPI AllocateString(const OLECHAR* text) {
  if (borrowed.strings_until_refusal-- == 0) return nullptr;
  BSTR made = SysAllocString(text);
  borrowed.strings.insert(made);
  return made;
}

void WINAPI FreeString(BSTR text) {
  if (text == nullptr) return;
  EXPECT_EQ(borrowed.strings.erase(text), 1U);
  SysFreeString(text);
}

HRESULT WINAPI ClearVariant(VARIANT* variant) {
  --borrowed.variants;
  return VariantClear(variant);
}

HRESULT WINAPI SetSecurity(PSECURITY_DESCRIPTOR descriptor, LONG services,
                           SOLE_AUTHENTICATION_SERVICE* service, void* reserved,
                           DWORD authentication, DWORD impersonation, void* list,
                           DWORD capabilities, void* reserved_too) {
  EXPECT_EQ(descriptor, nullptr);
  EXPECT_EQ(services, -1);
  EXPECT_EQ(service, nullptr);
  EXPECT_EQ(reserved, nullptr);
  EXPECT_EQ(authentication, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_DEFAULT));
  EXPECT_EQ(impersonation, static_cast<DWORD>(RPC_C_IMP_LEVEL_IMPERSONATE));
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(capabilities, static_cast<DWORD>(EOAC_NONE));
  EXPECT_EQ(reserved_too, nullptr);
  return S_FALSE;
}

template <typename Function>
FARPROC ToAddress(Function* function) noexcept {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

class QueryCalls : public ::testing::Test {
 protected:
  QueryCalls() {
    borrowed = {};
    borrowed.service = &service_;
  }
  ~QueryCalls() override {
    EXPECT_EQ(borrowed.libraries, 0);
    EXPECT_THAT(borrowed.strings, IsEmpty());
    EXPECT_EQ(borrowed.variants, 0);
    EXPECT_EQ(service_.live_objects, 0);
  }

  /// A query that stands at the service's first row.
  static std::unique_ptr<platform::DriverQuery> AtFirstRow() {
    auto query = std::make_unique<platform::DriverQuery>();
    EXPECT_EQ(query->CreateLocator(), S_OK);
    EXPECT_EQ(query->ConnectServer(L"ROOT"), S_OK);
    EXPECT_EQ(query->ExecQuery(L"WQL", L"SELECT"), S_OK);
    EXPECT_TRUE(query->NextRow());
    return query;
  }

  static platform::ComResult Read(platform::DriverQuery& query, const wchar_t* name) {
    ++borrowed.variants;
    return query.ReadProperty(name);
  }

  Com com_;
  WmiStandIn service_;

 private:
  ImportHook<decltype(LoadLibraryExW)> load_{
      "LoadLibraryExW", [](LPCWSTR name, HANDLE file, DWORD flags) -> HMODULE {
        EXPECT_EQ(file, nullptr);
        EXPECT_EQ(flags, static_cast<DWORD>(LOAD_LIBRARY_SEARCH_SYSTEM32));
        if (name == borrowed.missing_library) return nullptr;
        borrowed.loaded.emplace_back(name);
        ++borrowed.libraries;
        return LoadLibraryW(name);
      }};
  ImportHook<decltype(FreeLibrary)> free_{"FreeLibrary", [](HMODULE) -> BOOL {
                                            --borrowed.libraries;
                                            // The counterpart is left to the end of the process:
                                            // the test itself needs the libraries.
                                            if (borrowed.service->live_objects != 0)
                                              borrowed.held_when_freed.emplace_back("objects");
                                            if (borrowed.variants != 0)
                                              borrowed.held_when_freed.emplace_back("a value");
                                            return TRUE;
                                          }};
  ImportHook<decltype(GetProcAddress)> find_{"GetProcAddress",
                                             [](HMODULE library, LPCSTR name) -> FARPROC {
                                               const std::string_view function = name;
                                               if (function == borrowed.missing_function)
                                                 return nullptr;
                                               if (function == "CoInitializeSecurity")
                                                 return ToAddress(&SetSecurity);
                                               if (function == "SysAllocString")
                                                 return ToAddress(&AllocateString);
                                               if (function == "SysFreeString")
                                                 return ToAddress(&FreeString);
                                               if (function == "VariantClear")
                                                 return ToAddress(&ClearVariant);
                                               EXPECT_NE(library, nullptr);
                                               if (function == "CoCreateInstance")
                                                 return ToAddress(&CoCreateInstance);
                                               if (function == "CoSetProxyBlanket")
                                                 return ToAddress(&CoSetProxyBlanket);
                                               return nullptr;
                                             }};
};

TEST_F(QueryCalls, LoadTheSystemsOwnLibraries) {
  const platform::DriverQuery query;
  EXPECT_THAT(borrowed.loaded, UnorderedElementsAre(L"ole32.dll", L"oleaut32.dll"));
}

TEST_F(QueryCalls, ReportWhatTheSystemDoesNotHave) {
  constexpr auto kModuleNotFound = static_cast<platform::ComResult>(0x8007007E);
  for (const wchar_t* library : {L"ole32.dll", L"oleaut32.dll"}) {
    borrowed.missing_library = library;
    platform::DriverQuery query;
    EXPECT_EQ(query.InitializeSecurity(), kModuleNotFound);
  }
  borrowed.missing_library.clear();
  for (const char* function : {"CoInitializeSecurity", "CoCreateInstance", "CoSetProxyBlanket",
                               "SysAllocString", "SysFreeString", "VariantClear"}) {
    borrowed.missing_function = function;
    platform::DriverQuery query;
    EXPECT_EQ(query.InitializeSecurity(), kModuleNotFound) << function;
  }
}

TEST_F(QueryCalls, AskForDefaultSecurityAndImpersonation) {
  platform::DriverQuery query;
  EXPECT_EQ(query.InitializeSecurity(), S_FALSE);
}

TEST_F(QueryCalls, AskTheServiceAsItExpects) {
  service_.rows = {{{L"Text", {.text = L"text"}}}};
  {
    platform::DriverQuery query;
    EXPECT_EQ(query.CreateLocator(), S_OK);
    EXPECT_EQ(query.ConnectServer(L"ROOT"), S_OK);
    EXPECT_EQ(query.SetProxyBlanket(), S_OK);
    EXPECT_EQ(query.ExecQuery(L"WQL", L"SELECT"), S_OK);
    EXPECT_TRUE(query.NextRow());
    EXPECT_EQ(Read(query, L"Text"), S_OK);
    EXPECT_FALSE(query.NextRow());
  }
  EXPECT_THAT(
      service_.calls,
      ElementsAre(L"CreateInstance", L"ConnectServer ROOT", L"SetBlanket 10 0 none 3 3 none 0",
                  L"ExecQuery WQL, SELECT, 48", L"Next -1 1", L"Get Text", L"Next -1 1"));
}

TEST_F(QueryCalls, ReportAStringThatIsNotMade) {
  platform::DriverQuery query;
  ASSERT_EQ(query.CreateLocator(), S_OK);
  borrowed.strings_until_refusal = 0;
  EXPECT_EQ(query.ConnectServer(L"ROOT"), E_OUTOFMEMORY);
  EXPECT_EQ(query.ConnectServer(L"ROOT"), S_OK);
  for (const int nth : {0, 1}) {
    borrowed.strings_until_refusal = nth;
    EXPECT_EQ(query.ExecQuery(L"WQL", L"SELECT"), E_OUTOFMEMORY);
  }
  EXPECT_EQ(query.ExecQuery(L"WQL", L"SELECT"), S_OK);
}

TEST_F(QueryCalls, ReadTextsAndNothingElseAsText) {
  service_.rows = {{{L"Text", {.text = L"text"}},
                    {L"Number", {.text = {}}},
                    {L"FailedText", {.text = L"failed", .result = kWmiFailed}},
                    {L"Nothing", {.result = kWmiFailed, .stores = false}}}};
  const auto query = AtFirstRow();
  EXPECT_EQ(query->text(), nullptr);
  EXPECT_EQ(Read(*query, L"Text"), S_OK);
  EXPECT_STREQ(query->text(), L"text");
  EXPECT_EQ(query->ReadProperty(L"Nothing"), kWmiFailed);
  EXPECT_STREQ(query->text(), L"text");
  EXPECT_EQ(Read(*query, L"FailedText"), kWmiFailed);
  EXPECT_STREQ(query->text(), L"failed");
  EXPECT_EQ(Read(*query, L"Number"), S_OK);
  EXPECT_EQ(query->text(), nullptr);
  EXPECT_EQ(Read(*query, L"Text"), S_OK);
  query->ClearValue();
  EXPECT_EQ(query->text(), nullptr);
}

TEST_F(QueryCalls, ReadANullStringAsEmpty) {
  const ImportHook<decltype(SysAllocStringLen)> none(
      "SysAllocStringLen", [](const OLECHAR*, UINT) -> BSTR { return nullptr; });
  service_.rows = {{{L"Text", {.text = L"text"}}}};
  const auto query = AtFirstRow();
  EXPECT_EQ(Read(*query, L"Text"), S_OK);
  EXPECT_STREQ(query->text(), L"");
}

TEST_F(QueryCalls, LetTheLibrariesGoLast) {
  service_.rows = {{{L"Text", {.text = L"text"}}}};
  {
    const auto query = AtFirstRow();
    EXPECT_EQ(Read(*query, L"Text"), S_OK);
  }
  EXPECT_EQ(borrowed.libraries, 0);
  EXPECT_THAT(borrowed.held_when_freed, IsEmpty());
}

// --- the thread

/// What was asked of the thread pool, in its order; the system does it too.
std::vector<std::string> pool_calls;

class ThreadCalls : public ::testing::Test {
 protected:
  ThreadCalls() { pool_calls.clear(); }

  static void DoNothing(void* /*argument*/) {}

 private:
  ImportHook<decltype(WaitForThreadpoolWorkCallbacks)> wait_{
      "WaitForThreadpoolWorkCallbacks", [](PTP_WORK work, BOOL cancel) {
        pool_calls.emplace_back(cancel != FALSE ? "call off or wait" : "wait");
        Real<decltype(WaitForThreadpoolWorkCallbacks)>("WaitForThreadpoolWorkCallbacks")(work,
                                                                                         cancel);
      }};
  ImportHook<decltype(CloseThreadpoolWork)> close_work_{
      "CloseThreadpoolWork", [](PTP_WORK work) {
        pool_calls.emplace_back("close the work");
        Real<decltype(CloseThreadpoolWork)>("CloseThreadpoolWork")(work);
      }};
  ImportHook<decltype(CloseThreadpool)> close_pool_{
      "CloseThreadpool", [](PTP_POOL pool) {
        pool_calls.emplace_back("close the pool");
        Real<decltype(CloseThreadpool)>("CloseThreadpool")(pool);
      }};
};

TEST_F(ThreadCalls, WaitBeforeTheyClose) {
  platform::Thread* thread = platform::StartThread(DoNothing, nullptr);
  ASSERT_NE(thread, nullptr);
  EXPECT_TRUE(platform::JoinThread(thread));
  EXPECT_THAT(pool_calls, ElementsAre("call off or wait", "close the work", "close the pool"));
}

TEST_F(ThreadCalls, GiveTheirMemoryBack) {
  static platform::Thread* thread;
  static int freed;
  freed = 0;
  thread = platform::StartThread(DoNothing, nullptr);
  ASSERT_NE(thread, nullptr);
  const ImportHook<decltype(std::free)> free("free", [](void* given) {
    if (given == thread) ++freed;
    Real<decltype(std::free)>("free", L"ucrtbase.dll")(given);
  });
  EXPECT_TRUE(platform::JoinThread(thread));
  EXPECT_EQ(freed, 1);
}

TEST_F(ThreadCalls, RunOnceInAPoolOfOneThread) {
  static PTP_POOL made;
  made = nullptr;
  const ImportHook<decltype(CreateThreadpool)> pool("CreateThreadpool", [](PVOID reserved) {
    return made = Real<decltype(CreateThreadpool)>("CreateThreadpool")(reserved);
  });
  const ImportHook<decltype(SetThreadpoolThreadMaximum)> maximum(
      "SetThreadpoolThreadMaximum", [](PTP_POOL of, DWORD threads) {
        EXPECT_EQ(of, made);
        EXPECT_EQ(threads, 1U);
        pool_calls.emplace_back("maximum");
      });
  const ImportHook<decltype(SetThreadpoolThreadMinimum)> minimum(
      "SetThreadpoolThreadMinimum", [](PTP_POOL of, DWORD threads) -> BOOL {
        EXPECT_EQ(of, made);
        EXPECT_EQ(threads, 1U);
        pool_calls.emplace_back("minimum");
        return TRUE;
      });
  const ImportHook<decltype(CreateThreadpoolWork)> work(
      "CreateThreadpoolWork",
      [](PTP_WORK_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON environment) {
        EXPECT_EQ(environment->Pool, made);
        return Real<decltype(CreateThreadpoolWork)>("CreateThreadpoolWork")(callback, context,
                                                                            environment);
      });
  const ImportHook<decltype(SubmitThreadpoolWork)> submit(
      "SubmitThreadpoolWork", [](PTP_WORK submitted) {
        pool_calls.emplace_back("submit");
        Real<decltype(SubmitThreadpoolWork)>("SubmitThreadpoolWork")(submitted);
      });
  platform::Thread* thread = platform::StartThread(DoNothing, nullptr);
  ASSERT_NE(thread, nullptr);
  EXPECT_THAT(pool_calls, ElementsAre("maximum", "minimum", "submit"));
  EXPECT_TRUE(platform::JoinThread(thread));
}

/// A thread whose routine ends when it may, and what was asked of the system at its end.
struct EndingThread {
  platform::Thread* thread = nullptr;
  Event begun;
  Event may_end;
  std::vector<int> priorities;
  bool is_current = false;
  bool is_current_at_end = true;
};
EndingThread* ending = nullptr;

TEST_F(ThreadCalls, EndTheRoutineBeforeTheyRestoreTheThread) {
  const ImportHook<decltype(SetThreadToken)> token("SetThreadToken", [](PHANDLE, HANDLE) -> BOOL {
    ending->is_current_at_end = platform::IsCurrentThread(ending->thread);
    return TRUE;
  });
  const ImportHook<decltype(SetThreadPriority)> priority("SetThreadPriority",
                                                         [](HANDLE, int value) -> BOOL {
                                                           ending->priorities.push_back(value);
                                                           return TRUE;
                                                         });
  EndingThread state;
  ending = &state;
  state.thread = platform::StartThread(
      [](void*) {
        ending->begun.Set();
        EXPECT_TRUE(ending->may_end.WaitMs(kPatienceMs));
        ending->is_current = platform::IsCurrentThread(ending->thread);
      },
      nullptr);
  ASSERT_NE(state.thread, nullptr);
  // One that has not begun would be called off.
  EXPECT_TRUE(state.begun.WaitMs(kPatienceMs));
  state.may_end.Set();
  EXPECT_TRUE(platform::JoinThread(state.thread));
  EXPECT_TRUE(state.is_current);
  EXPECT_FALSE(state.is_current_at_end);
  EXPECT_THAT(state.priorities, ElementsAre(THREAD_MODE_BACKGROUND_END, THREAD_PRIORITY_NORMAL));
}

TEST_F(ThreadCalls, SleepAsLongAsTheyAreAsked) {
  static DWORD slept;
  const ImportHook<decltype(Sleep)> sleep("Sleep",
                                          [](DWORD milliseconds) { slept = milliseconds; });
  platform::Sleep(100);
  EXPECT_EQ(slept, 100U);
}

TEST_F(ThreadCalls, StartNothingWithoutAPool) {
  const ImportHook<decltype(CreateThreadpool)> none("CreateThreadpool",
                                                    [](PVOID) -> PTP_POOL { return nullptr; });
  EXPECT_EQ(platform::StartThread(DoNothing, nullptr), nullptr);
  EXPECT_THAT(pool_calls, IsEmpty());
}

TEST_F(ThreadCalls, CloseThePoolOfAFailedStart) {
  {
    const ImportHook<decltype(SetThreadpoolThreadMinimum)> no_thread(
        "SetThreadpoolThreadMinimum", [](PTP_POOL, DWORD) -> BOOL { return FALSE; });
    EXPECT_EQ(platform::StartThread(DoNothing, nullptr), nullptr);
    EXPECT_THAT(pool_calls, ElementsAre("close the pool"));
  }
  const ImportHook<decltype(CreateThreadpoolWork)> no_work(
      "CreateThreadpoolWork",
      [](PTP_WORK_CALLBACK, PVOID, PTP_CALLBACK_ENVIRON) -> PTP_WORK { return nullptr; });
  EXPECT_EQ(platform::StartThread(DoNothing, nullptr), nullptr);
  EXPECT_THAT(pool_calls, ElementsAre("close the pool", "close the pool"));
}

}  // namespace
}  // namespace zor::testing
