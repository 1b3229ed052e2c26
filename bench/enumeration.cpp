// What ZorIntfEnum costs with selector 2, beside the system calls that it cannot do without, and
// how it grows with the table of ids.
//
//   bench_enumeration.exe machine   by the number of candidate libraries and of WMI rows
//   bench_enumeration.exe table     by the number of calls before
#include <windows.h>

#include <wbemidl.h>

#include <array>
#include <stdexcept>

#include "bench/support/clock.h"
#include "bench/support/messages.h"
#include "bench/support/raw_pipe.h"
#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "discovery/merge.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"

namespace zor::bench {
namespace {

// --- the machine

void Require(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(what);
}

/// One row's worth of the query: the next object, its hardware id, and its release.
void ReadRow(IEnumWbemClassObject* rows) {
  IWbemClassObject* row = nullptr;
  ULONG count = 0;
  rows->Next(static_cast<LONG>(WBEM_INFINITE), 1, &row, &count);
  Require(count == 1, "no row came");
  VARIANT value;
  VariantInit(&value);
  row->Get(L"HardwareID", 0, &value, nullptr, nullptr);
  VariantClear(&value);
  row->Release();
}

/// The query with nothing but its calls.
void BareQuery(int count) {
  IWbemLocator* locator = nullptr;
  Require(SUCCEEDED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IWbemLocator, reinterpret_cast<void**>(&locator))),
          "no locator");
  IWbemServices* services = nullptr;
  const BSTR name = SysAllocString(L"ROOT\\CIMV2");
  locator->ConnectServer(name, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
  SysFreeString(name);
  IEnumWbemClassObject* rows = nullptr;
  const BSTR language = SysAllocString(L"WQL");
  const BSTR query = SysAllocString(L"SELECT * FROM Win32_PnpSignedDriver");
  services->ExecQuery(language, query, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                      nullptr, &rows);
  SysFreeString(language);
  SysFreeString(query);
  for (int i = 0; i < count; ++i) ReadRow(rows);
  rows->Release();
  services->Release();
  locator->Release();
}

/// Lists the package, and loads, asks and frees each of its libraries.
void BareScan(const std::wstring& package) {
  WIN32_FIND_DATAW entry{};
  const HANDLE listing = FindFirstFileW((package + L"\\*").c_str(), &entry);
  Require(listing != INVALID_HANDLE_VALUE, "the package cannot be listed");
  do {
    if (entry.cFileName[0] != L'K') continue;
    SetDllDirectoryW(package.c_str());
    const HMODULE module = LoadLibraryW((package + L'\\' + entry.cFileName).c_str());
    Require(module != nullptr, "a library does not load");
    std::array<std::uint32_t, 64> record{};
    reinterpret_cast<int (*)(void*)>(reinterpret_cast<void (*)()>(
        GetProcAddress(module, "zor_get_dll_information")))(record.data());
    FreeLibrary(module);
  } while (FindNextFileW(listing, &entry) != FALSE);
  FindClose(listing);
}

/// The first are known to the catalogue, and all pass the filter.
std::wstring LibraryName(int number) {
  constexpr std::array kKnown = {L"K270502.dll", L"K030102.dll", L"K030806.dll",
                                 L"K250902.dll", L"K250B06.dll", L"K030R06.dll"};
  if (number < static_cast<int>(kKnown.size())) return kKnown[static_cast<std::size_t>(number)];
  constexpr int kFirst = 900'000;
  return L"K" + std::to_wstring(kFirst + number) + L".dll";
}

struct Extent {
  int libraries = 0;
  int rows = 0;
};

void MeasureMachine(const Extent& extent, int rounds) {
  const testing::Com com;
  testing::WmiStandIn service;
  for (int i = 0; i + 1 < extent.rows; ++i) {
    service.rows.push_back({{L"HardwareID", {.text = L"PCI\\VEN_0000"}}});
  }
  service.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                          {L"DriverVersion", {.text = L"1.0.0.5"}}});
  const testing::Machine machine;
  const auto package = machine.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
  for (int i = 0; i < extent.libraries; ++i) {
    testing::Machine::AddLibrary(package, LibraryName(i), L"zor_test_answers.dll");
  }

  const ServerProcess server(L"names");
  // A fresh table each time: the library's grows with every call.
  const testing::LoadedLibrary library;
  RawPipe pipe(testing::kRequestPipe);
  const Bytes request = InfoRequest();
  const std::string name =
      "libraries: " + std::to_string(extent.libraries) + ", rows: " + std::to_string(extent.rows);
  RunInRotation({{name + "/library",
                  [&] {
                    ZorNameList list = {};
                    Require(library->Enum(2, &list) == ZOR_SUCCESS, "a call failed");
                    Require(list.count != 0, "there are no algorithms");
                    service.calls.clear();
                  }},
                 {name + "/bare",
                  [&] {
                    pipe.Peek();
                    pipe.Write(request);
                    pipe.Read();
                    BareQuery(extent.rows);
                    BareScan(package);
                    service.calls.clear();
                  }}},
                {.rounds = rounds, .blocks = 2, .repeats = 10, .warm_ups = 3});
}

// --- the table

/// Enumerations one after another in one process, of which those are timed whose table has just
/// reached a round size.
void MeasureTable() {
  const auto names = ServerNames();
  const std::vector<std::string_view> server(names.begin(), names.end());
  const std::vector<std::string> local(names.begin(), names.begin() + 6);
  const auto count = static_cast<std::uint32_t>(server.size());
  AlgorithmIdTable table;
  Recorder recorder;
  constexpr int kCalls = 10'000;
  constexpr int kTimed = 5;
  for (int call = 1; call <= kCalls + kTimed; ++call) {
    const std::int64_t begin = Now();
    const std::uint32_t length = MergeAlgorithms(table, server, count, local);
    const auto slots = AssignSlots(table, length);
    const std::int64_t merged = Now();
    // The worst case: no row matches.
    const bool found = FindByServerId(table, -2) != nullptr;
    const std::int64_t looked = Now();
    Require(!found && !slots.empty(), "the table is wrong");
    for (int size = 1; size <= kCalls; size *= 10) {
      if (call < size || call >= size + kTimed) continue;
      recorder.Add(std::to_string(size) + "/merge", merged - begin);
      recorder.Add(std::to_string(size) + "/lookup", looked - merged);
    }
  }
  recorder.Print(0);
}

}  // namespace
}  // namespace zor::bench

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    const std::string mode = argc > 1 ? argv[1] : "";
    const int rounds = zor::bench::Option(argc, argv, "--rounds", 5);
    if (mode == "machine") {
      constexpr std::array<zor::bench::Extent, 4> kExtents{{{1, 1}, {11, 1}, {31, 1}, {1, 301}}};
      for (const auto& extent : kExtents) zor::bench::MeasureMachine(extent, rounds);
    } else if (mode == "table") {
      zor::bench::MeasureTable();
    } else {
      throw std::runtime_error("usage: bench_enumeration machine|table");
    }
  });
}
