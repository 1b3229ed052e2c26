#include "discovery/driver_package.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <utility>

#include "discovery/directory.h"
#include "discovery/inf_file.h"
#include "discovery/text.h"
#include "interface/debug_log.h"
#include "platform/driver_query.h"
#include "platform/environment.h"

namespace zor {
namespace {

constexpr auto kHardwareId = L"SWC\\VEN_ZOR&CID_APO";
constexpr std::size_t kEnvironmentLimit = 32767;

/// Security is set once per process; that it has been set before is as good.
constexpr auto kSecurityIsSet = static_cast<platform::ComResult>(0x80010119);  // RPC_E_TOO_LATE

bool Succeeded(platform::ComResult result) noexcept { return result >= 0; }

/// Makes the steps up to the first that fails, which it says in `answer`.
bool StartQuery(platform::DriverQuery& query, DriverAnswer& answer) noexcept {
  const auto succeeds = [&answer](QueryStep step, platform::ComResult result) {
    if (Succeeded(result)) return true;
    answer.failed = step;
    answer.result = result;
    return false;
  };
  const platform::ComResult security = query.InitializeSecurity();
  return (security == kSecurityIsSet || succeeds(QueryStep::kSecurity, security)) &&
         succeeds(QueryStep::kLocator, query.CreateLocator()) &&
         succeeds(QueryStep::kConnect, query.ConnectServer(L"ROOT\\CIMV2")) &&
         succeeds(QueryStep::kProxyBlanket, query.SetProxyBlanket()) &&
         succeeds(QueryStep::kQuery,
                  query.ExecQuery(L"WQL", L"SELECT * FROM Win32_PnpSignedDriver"));
}

/// Stops at the driver's row, with the hardware id still in the query's value.
bool FindDriverRow(platform::DriverQuery& query, std::uint32_t& rows) noexcept {
  while (query.NextRow()) {
    ++rows;
    query.ClearValue();
    if (Succeeded(query.ReadProperty(L"HardwareID")) && query.text() != nullptr &&
        EqualIgnoringCase(query.text(), kHardwareId)) {
      return true;
    }
  }
  return false;
}

/// The messages are spelt so; do not correct them.
void LogFailure(QueryStep failed, platform::ComResult com_result) noexcept {
  const auto result = static_cast<unsigned>(com_result);
  switch (failed) {
    case QueryStep::kSecurity:
      return Log(L"Faild to initialize security, 0x%08X\n", result);
    case QueryStep::kLocator:
      return Log(L"Faild to create locator, 0x%08X\n", result);
    case QueryStep::kConnect:
      return Log(L"Faild to connect server, 0x%08X\n", result);
    case QueryStep::kProxyBlanket:
      return Log(L"Faild to set proxy blanket, 0x%08X\n", result);
    case QueryStep::kQuery:
      return Log(L"Faild to query WMI command, 0x%08X\n", result);
    case QueryStep::kFindDriver:
      return Log(L"Failed to get Zorvane APO driver version\n");
    case QueryStep::kReadVersion:
      return Log(L"Zorvane APO driver is found but driver version is empty\n");
  }
}

DriverAnswer AskForDriver() {
  platform::DriverQuery query;
  DriverAnswer answer;
  if (!StartQuery(query, answer)) return answer;
  if (!FindDriverRow(query, answer.rows)) {
    answer.failed = QueryStep::kFindDriver;
    return answer;
  }
  // The read's result is not looked at, only what it leaves: the hardware id, if it failed.
  query.ReadProperty(L"DriverVersion");
  if (query.text() == nullptr) {
    answer.failed = QueryStep::kReadVersion;
  } else {
    answer.version = query.text();
  }
  return answer;
}

/// Empty when the system root is not known.
std::wstring DriverStoreDirectory(const DriverStore& store) {
  std::vector<wchar_t> root(kEnvironmentLimit);
  if (platform::GetEnvironment(L"systemroot", root) == 0) return {};
  return root.data() + (L"\\" + store.directory);
}

/// Throws as FindVersion does.
PackageInf ReadPackageInf(const std::wstring& folder) {
  PackageInf inf;
  inf.path = folder + L"\\zorapo.inf";
  std::ifstream stream{std::filesystem::path(inf.path)};
  inf.opened = stream.is_open();
  inf.version_line = ToWide(FindVersionLine(stream));
  inf.version = FindVersion(inf.version_line);
  return inf;
}

}  // namespace

bool QueryDriverVersion(VersionQuad& version, const SearchObserver& observer) {
  observer.Begin(SearchStep::kAskForDriver, {});
  const DriverAnswer answer = AskForDriver();
  if (answer.failed) LogFailure(*answer.failed, answer.result);
  observer.SawDriver(answer);
  if (answer.failed) return false;
  version = ParseVersion(answer.version);
  return true;
}

bool ScanDriverStore(const DriverStore& store, std::vector<std::wstring>& entries,
                     const SearchObserver& observer) {
  const std::wstring directory = DriverStoreDirectory(store);
  observer.Begin(SearchStep::kListStore, directory);
  if (directory.empty()) {
    Log(L"Failed to get systemroot variable\n");
    return false;
  }
  for (std::wstring& entry : ListDirectory(directory)) {
    if (ContainsIgnoringCase(entry, store.folder_mark)) entries.push_back(std::move(entry));
  }
  observer.SawStore(entries);
  if (entries.empty()) Log(L"No Zorvane APO driver is found\n");
  return !entries.empty();
}

bool FindDriverPackage(const DriverStore& store, const VersionQuad& driver_version,
                       std::wstring& path, const SearchObserver& observer) {
  std::vector<std::wstring> folders;
  if (!ScanDriverStore(store, folders, observer)) return false;

  path.clear();
  VersionQuad best_version = {};
  std::wstring best_folder;
  for (const std::wstring& folder : folders) {
    observer.Begin(SearchStep::kReadInf, folder);
    const PackageInf inf = ReadPackageInf(folder);
    observer.SawInf(inf);
    if (!inf.version) continue;
    const VersionQuad& version = *inf.version;
    // Better is what is not smaller in any part: 2.0.0.0 is not better than 1.5.0.0, and of equals
    // the last is the best.
    if (std::ranges::equal(version, best_version, std::greater_equal())) {
      best_version = version;
      best_folder = folder;
    }
    if (version == driver_version) {
      path = folder;
      return true;
    }
  }
  path = best_folder;
  Log(L"Failed to get version matched APO driver path\n");
  return false;
}

DriverPackageInfo LocateDriverPackage(const DriverStore& store, const SearchObserver& observer) {
  DriverPackageInfo package;
  if (!QueryDriverVersion(package.version, observer)) return package;
  package.found =
      FindDriverPackage(store, package.version, package.path, observer) || !package.path.empty();
  return package;
}

}  // namespace zor
