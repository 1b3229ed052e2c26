// COM, the management service and the driver store, as the library asks them: the system alone.
#include <windows.h>

#include <oleauto.h>
#include <wbemidl.h>
#include <wrl/client.h>

#include <algorithm>
#include <array>

#include "tools/selftest/background.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/clock.h"

namespace zor::selftest {
namespace {

using Microsoft::WRL::ComPtr;

/// COM on this thread.
class Apartment {
 public:
  explicit Apartment(DWORD kind) {
    const HRESULT result = CoInitializeEx(nullptr, kind);
    if (FAILED(result)) throw std::runtime_error("CoInitializeEx: " + Hex(Bits(result)));
  }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  ~Apartment() { CoUninitialize(); }

  static unsigned long Bits(HRESULT result) { return static_cast<unsigned long>(result); }
};

std::string Told(HRESULT result) { return Hex(Apartment::Bits(result)); }

HRESULT SetSecurity() {
  return CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                              RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
}

HRESULT MakeLocator(ComPtr<IWbemLocator>& locator) {
  return CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                          reinterpret_cast<void**>(locator.ReleaseAndGetAddressOf()));
}

class SystemString {
 public:
  explicit SystemString(const wchar_t* text) : text_(SysAllocString(text)) {}
  SystemString(const SystemString&) = delete;
  SystemString& operator=(const SystemString&) = delete;
  ~SystemString() { SysFreeString(text_); }
  [[nodiscard]] BSTR get() const noexcept { return text_; }

 private:
  BSTR text_;
};

/// The library's steps up to the query, with the time of each.
struct Query {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  ComPtr<IEnumWbemClassObject> rows;
  std::string results;  ///< of each step

  Query(const wchar_t* text, Notes& notes) {
    // The steps, up to the first that fails.
    const auto step = [&](const char* name, auto run) {
      const Stopwatch watch;
      const HRESULT result = run();
      results += Text(results.empty() ? "" : ", ", name, " ", Told(result));
      notes.push_back(Text(name, ": ", static_cast<long>(watch.Microseconds()), " us"));
      return SUCCEEDED(result);
    };
    const SystemString space(L"ROOT\\CIMV2");
    const SystemString language(L"WQL");
    const SystemString query(text);
    static_cast<void>(
        step("security", SetSecurity) && step("locator", [&] { return MakeLocator(locator); }) &&
        step("name space",
             [&] {
               return locator->ConnectServer(space.get(), nullptr, nullptr, nullptr, 0, nullptr,
                                             nullptr, services.ReleaseAndGetAddressOf());
             }) &&
        step("blanket",
             [&] {
               return CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                        nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
             }) &&
        step("query", [&] {
          return services->ExecQuery(language.get(), query.get(),
                                     WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                     rows.ReleaseAndGetAddressOf());
        }));
  }

  /// Null at the end.
  [[nodiscard]] ComPtr<IWbemClassObject> Next() const {
    ComPtr<IWbemClassObject> row;
    ULONG count = 0;
    if (rows != nullptr) {
      rows->Next(static_cast<LONG>(WBEM_INFINITE), 1, row.ReleaseAndGetAddressOf(), &count);
    }
    return count == 0 ? nullptr : row;
  }
};

constexpr const wchar_t* kDrivers = L"SELECT * FROM Win32_PnpSignedDriver";

std::string NeedsCom(Notes& /*notes*/) {
  ComPtr<IWbemLocator> locator;
  const HRESULT without = MakeLocator(locator);
  const Apartment apartment(COINIT_MULTITHREADED);
  return Text("without ", Told(without), ", with ", Told(MakeLocator(locator)));
}

std::string StepsIn(DWORD kind, Notes& notes) {
  const Apartment apartment(kind);
  return Query(kDrivers, notes).results;
}

std::string StepsInMany(Notes& notes) { return StepsIn(COINIT_MULTITHREADED, notes); }

std::string StepsInOne(Notes& notes) { return StepsIn(COINIT_APARTMENTTHREADED, notes); }

std::string SecurityTwice(Notes& /*notes*/) {
  const Apartment apartment(COINIT_MULTITHREADED);
  const HRESULT first = SetSecurity();
  return Text(Told(first), ", then ", Told(SetSecurity()));
}

std::string Drivers(Notes& notes) {
  const Apartment apartment(COINIT_MULTITHREADED);
  const Query query(kDrivers, notes);
  const Stopwatch watch;
  int rows = 0;
  int without_id = 0;
  int without_version = 0;
  for (auto row = query.Next(); row != nullptr; row = query.Next()) {
    ++rows;
    for (const auto& [name, missing] :
         {std::pair{L"HardwareID", &without_id}, std::pair{L"DriverVersion", &without_version}}) {
      VARIANT value{};
      if (FAILED(row->Get(name, 0, &value, nullptr, nullptr)) || value.vt != VT_BSTR) ++*missing;
      VariantClear(&value);
    }
  }
  notes.push_back(Text(rows, " rows in ", static_cast<long>(watch.Microseconds() / 1000), " ms"));
  notes.push_back(
      Text(without_id, " without a hardware id, ", without_version, " without a version"));
  return rows == 0 ? "no row" : "some rows";
}

/// What reading a property of a query's first row comes to.
std::string ReadProperty(const wchar_t* query_text, const wchar_t* name) {
  Notes unused;
  const Apartment apartment(COINIT_MULTITHREADED);
  const Query query(query_text, unused);
  const auto row = query.Next();
  if (row == nullptr) return "no row";
  VARIANT value{};
  const HRESULT result = row->Get(name, 0, &value, nullptr, nullptr);
  const VARTYPE type = value.vt;
  VariantClear(&value);
  return Text(Told(result), ", kind ", type);
}

std::string NullProperty(Notes& /*notes*/) {
  return ReadProperty(L"SELECT * FROM Win32_Process", L"InstallDate");
}

std::string AbsentProperty(Notes& /*notes*/) {
  return ReadProperty(L"SELECT * FROM Win32_OperatingSystem", L"ProcessId");
}

// --- the driver store

struct Found {
  std::vector<std::wstring> names;
  DWORD error = 0;
};

Found List(const std::wstring& folder) {
  Found found;
  WIN32_FIND_DATAW entry{};
  const HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &entry);
  if (find == INVALID_HANDLE_VALUE) {
    found.error = GetLastError();
    return found;
  }
  do {
    found.names.emplace_back(entry.cFileName);
  } while (FindNextFileW(find, &entry) != FALSE);
  FindClose(find);
  return found;
}

std::string StoreOrder(Notes& notes) {
  std::array<wchar_t, MAX_PATH> root{};
  GetEnvironmentVariableW(L"systemroot", root.data(), static_cast<DWORD>(root.size()));
  const Found found = List(std::wstring(root.data()) + L"\\System32\\DriverStore\\FileRepository");
  if (found.error != 0) return Text("error ", found.error);
  notes.push_back(Text(found.names.size(), " entries"));
  const auto is_mark = [](const std::wstring& name) {
    return name.find(L"zorapo.inf_") != std::wstring::npos;
  };
  notes.push_back(Text(std::ranges::count_if(found.names, is_mark), " of them zorapo.inf_"));
  const auto less = [](const std::wstring& a, const std::wstring& b) {
    return CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_LESS_THAN;
  };
  return std::ranges::is_sorted(found.names, less) ? "in the order of the names" : "in no order";
}

std::string MissingFolder(Notes& /*notes*/) {
  return Text("error ", List(L"C:\\zor-selftest\\no such folder").error);
}

constexpr std::string_view kTroubles = "docs/troubleshooting.md";
constexpr std::string_view kDecisions = "docs/decisions.md";
constexpr std::string_view kAllSteps =
    "security 00000000, locator 00000000, name space 00000000, blanket 00000000, query 00000000";

constexpr std::array kChecks = {
    Check{"discovery.needs-com", "On a thread without COM the first object is refused: 800401F0.",
          kTroubles, "800401F0: call `CoInitializeEx` on this thread first",
          "without 800401F0, with 00000000", "", NeedsCom},
    Check{"discovery.steps-multithreaded",
          "Every step of the query succeeds in the multithreaded apartment.", kTroubles,
          "Faild to query WMI command", kAllSteps, "", StepsInMany},
    Check{"discovery.steps-apartment", "Every step of the query succeeds in an apartment of one.",
          kDecisions, "on a single-threaded apartment", kAllSteps, "", StepsInOne},
    Check{"discovery.security-twice",
          "The process's security can be set once; the second time COM says so: 80010119.",
          "docs/lifetimes.md", "COM's security remains set", "00000000, then 80010119",
          "00000000, then 00000000", SecurityTwice},
    Check{"discovery.drivers", "The management service lists the signed drivers.", kTroubles,
          "no signed driver has the hardware id", "some rows", "no row", Drivers},
    Check{"discovery.null-property", "A property without a value is read as null (kind 1).",
          kTroubles, "the driver's row in WMI has no version text", "00000000, kind 1",
          "80041002, kind 0", NullProperty},
    Check{"discovery.absent-property",
          "Reading a property that the class does not have fails with 80041002 and stores nothing.",
          kDecisions, "leaves the value of the read before", "80041002, kind 0", "",
          AbsentProperty},
    Check{"discovery.store-order", "The driver store can be listed, in the order of its names.",
          "src/platform/directory.h", "Entries come in the file system's order",
          "in the order of the names", "error 3", StoreOrder},
    Check{"discovery.missing-folder", "Listing a folder that is not there fails with 3.",
          kDecisions, "folder cannot be listed", "error 3", "", MissingFolder},
};

}  // namespace

std::span<const Check> DiscoveryChecks() { return kChecks; }

}  // namespace zor::selftest
