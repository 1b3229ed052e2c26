#include "tools/zorctl/doctor/machine.h"

#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "discovery/directory.h"
#include "discovery/text.h"

namespace zor::ctl {
namespace {

/// Without what the standard library puts around it.
std::string ReasonOf(const std::exception& error) {
  const auto* system = dynamic_cast<const std::system_error*>(&error);
  return system == nullptr ? error.what() : system->code().message();
}

DriverFacts ExamineDriver() {
  const DriverAnswer answer = AskForDriver();
  DriverFacts facts{.failed = answer.failed,
                    .result = static_cast<std::uint32_t>(answer.result),
                    .rows = answer.rows,
                    .version_text = ToUtf8(answer.version),
                    .version = {}};
  if (answer.failed != QueryStep::kDone) return facts;
  try {
    facts.version = ParseVersion(answer.version);
  } catch (const std::exception&) {  // the text is shown: it says more than the error
  }
  return facts;
}

bool StartsAsUtf16(const std::wstring& file) {
  std::array<char, 2> start{};
  std::ifstream(std::filesystem::path(file), std::ios::binary).read(start.data(), start.size());
  const std::string_view mark(start.data(), start.size());
  return mark == "\xFF\xFE" || mark == "\xFE\xFF";
}

CandidateFacts ExamineCandidate(const DriverStore& store, const std::wstring& folder) {
  CandidateFacts facts;
  facts.folder = ToUtf8(FileName(folder));
  try {
    const PackageInf inf = ReadPackageInf(store, folder);
    facts.inf = ToUtf8(inf.path);
    facts.opened = inf.opened;
    facts.is_utf16 = StartsAsUtf16(inf.path);
    facts.version_line = ToUtf8(inf.version_line);
    facts.version = inf.version;
  } catch (const std::exception& error) {
    facts.error = ReasonOf(error);
  }
  return facts;
}

void ExamineStore(const DriverStore& store, MachineFacts& facts) {
  facts.store.directory = ToUtf8(DriverStoreDirectory(store));
  std::vector<std::wstring> folders;
  try {
    static_cast<void>(ScanDriverStore(store, folders));
  } catch (const std::exception& error) {
    facts.store.error = ReasonOf(error);
  }
  for (const std::wstring& folder : folders) {
    facts.candidates.push_back(ExamineCandidate(store, folder));
  }
}

PackageContents ExamineContents(const DiscoveryRules& rules, const std::wstring& package) {
  PackageContents contents;
  try {
    for (const std::wstring& file : ListLibraries(rules.library_filter, package)) {
      AlgorithmLibraryFacts library{
          .file = ToUtf8(file), .query = QueryLibrary(package, file), .names = {}};
      for (const std::wstring& name : NamesOfLibrary(rules.catalogue, file)) {
        library.names.push_back(ToUtf8(name));
      }
      contents.libraries.push_back(std::move(library));
    }
  } catch (const std::exception& error) {
    contents.error = ReasonOf(error);
  }
  return contents;
}

}  // namespace

std::vector<std::string> MachineFacts::LocalNames() const {
  std::vector<std::string> names;
  if (!contents) return names;
  for (const AlgorithmLibraryFacts& library : contents->libraries) {
    if (library.query.failed != LibraryStep::kDone) continue;
    names.insert(names.end(), library.names.begin(), library.names.end());
  }
  return names;
}

MachineFacts ExamineMachine(const DiscoveryRules& rules) {
  MachineFacts facts;
  facts.driver = ExamineDriver();
  // Also without a driver: what lies there may tell why there is none.
  ExamineStore(rules.driver_store, facts);
  if (!facts.driver.version) return facts;

  std::wstring path;
  facts.package.emplace();
  try {
    facts.package->exact = FindDriverPackage(rules.driver_store, *facts.driver.version, path);
    facts.package->path = ToUtf8(path);
  } catch (const std::exception& error) {
    facts.package->error = ReasonOf(error);
    return facts;
  }
  if (!path.empty()) facts.contents = ExamineContents(rules, path);
  return facts;
}

}  // namespace zor::ctl
