#include "tools/zorctl/doctor/machine.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "discovery/directory.h"
#include "discovery/driver_package.h"
#include "discovery/library_scan.h"
#include "discovery/search_observer.h"
#include "discovery/text.h"

namespace zor::ctl {
namespace {

/// Without what the standard library puts around it.
std::string ReasonOf(const std::exception& error) {
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return system->code().message();
  }
  if (dynamic_cast<const std::out_of_range*>(&error) != nullptr) {
    return "one of its numbers is too large";
  }
  if (dynamic_cast<const std::invalid_argument*>(&error) != nullptr) {
    return "one of its parts is not a number";
  }
  return error.what();
}

bool StartsAsUtf16(const std::wstring& file) {
  std::array<char, 2> start{};
  std::ifstream(std::filesystem::path(file), std::ios::binary).read(start.data(), start.size());
  const std::string_view mark(start.data(), start.size());
  return mark == "\xFF\xFE" || mark == "\xFE\xFF";
}

/// A driver's answer as facts.
class DriverRecorder final : public SearchObserver {
 public:
  explicit DriverRecorder(DriverFacts& facts) : facts_(facts) {}

  void SawDriver(const DriverAnswer& answer) const override {
    facts_.failed = answer.failed;
    facts_.result = static_cast<std::uint32_t>(answer.result);
    facts_.rows = answer.rows;
    facts_.version_text = ToUtf8(answer.version);
  }

 private:
  DriverFacts& facts_;
};

/// The store's packages as facts.
class StoreRecorder final : public SearchObserver {
 public:
  explicit StoreRecorder(StoreSearch& search) : search_(search) {}

  void Begin(SearchStep step, const std::wstring& subject) const override {
    if (step == SearchStep::kListStore) search_.store.directory = ToUtf8(subject);
    if (step == SearchStep::kReadInf) {
      // In the order in which they were listed.
      std::ranges::find(search_.candidates, false, &CandidateFacts::examined)->examined = true;
    }
  }

  void SawStore(const std::vector<std::wstring>& package_folders) const override {
    for (const std::wstring& folder : package_folders) {
      search_.candidates.emplace_back().folder = ToUtf8(FileName(folder));
    }
  }

  void SawInf(const PackageInf& inf) const override {
    CandidateFacts& candidate = Current();
    candidate.inf = ToUtf8(inf.path);
    candidate.opened = inf.opened;
    candidate.is_utf16 = inf.version_line.empty() && StartsAsUtf16(inf.path);
    candidate.version_line = ToUtf8(inf.version_line);
    candidate.version = inf.version;
  }

  /// The search has ended with this error: while the store was listed, or at a candidate.
  void EndWith(const std::string& reason) const {
    const bool listing = std::ranges::find(search_.candidates, true, &CandidateFacts::examined) ==
                         search_.candidates.end();
    (listing ? search_.store.error : Current().error) = reason;
    search_.package.error = reason;
  }

 private:
  [[nodiscard]] CandidateFacts& Current() const {
    const auto next = std::ranges::find(search_.candidates, false, &CandidateFacts::examined);
    return *std::prev(next);
  }

  StoreSearch& search_;
};

/// What a package holds; ends the search before the first library is loaded.
class ContentsRecorder final : public SearchObserver {
 public:
  struct Enough {};

  explicit ContentsRecorder(PackageContents& contents) : contents_(contents) {}

  void Begin(SearchStep step, const std::wstring& /*subject*/) const override {
    if (step == SearchStep::kAskLibrary) throw Enough();
  }

  void SawPackage(const std::vector<std::wstring>& library_files) const override {
    for (const std::wstring& file : library_files) {
      contents_.libraries.emplace_back().file = ToUtf8(file);
    }
  }

 private:
  PackageContents& contents_;
};

class LibraryRecorder final : public SearchObserver {
 public:
  explicit LibraryRecorder(AlgorithmLibraryFacts& facts) : facts_(facts) {}

  void SawLibrary(const LibraryQuery& query,
                  const std::vector<std::wstring>& names) const override {
    facts_.query = query;
    for (const std::wstring& name : names) facts_.names.push_back(ToUtf8(name));
  }

 private:
  AlgorithmLibraryFacts& facts_;
};

/// A pattern that fits this text and nothing else but another case of it.
std::wregex Exactly(const std::wstring& text) {
  std::wstring pattern;
  for (const wchar_t character : text) {
    if (std::wstring_view(L"\\^$.|?*+()[]{}").find(character) != std::wstring_view::npos) {
      pattern += L'\\';
    }
    pattern += character;
  }
  return std::wregex(pattern, std::regex_constants::ECMAScript | std::regex_constants::icase);
}

DriverPackageInfo Chosen(const std::string& package) {
  return {.found = true, .path = ToWide(package)};
}

}  // namespace

std::vector<std::string> MachineFacts::LocalNames() const {
  std::vector<std::string> names;
  if (!contents) return names;
  for (const AlgorithmLibraryFacts& library : contents->libraries) {
    if (library.query.failed || !library.end.ok()) continue;
    names.insert(names.end(), library.names.begin(), library.names.end());
  }
  return names;
}

DriverFacts ExamineDriver() {
  DriverFacts facts;
  VersionQuad version{};
  try {
    if (QueryDriverVersion(version, DriverRecorder(facts))) facts.version = version;
  } catch (const std::exception&) {  // the text is shown: it says more than the error
  }
  return facts;
}

StoreSearch ExamineStore(const DiscoveryRules& rules, const std::optional<VersionQuad>& version) {
  StoreSearch search;
  const StoreRecorder recorder(search);
  std::wstring path;
  try {
    search.package.exact =
        FindDriverPackage(rules.driver_store, version.value_or(VersionQuad{}), path, recorder);
  } catch (const std::exception& error) {
    recorder.EndWith(ReasonOf(error));
    path.clear();
  }
  search.package.path = ToUtf8(path);
  return search;
}

PackageContents ListPackage(const DiscoveryRules& rules, const std::string& package) {
  PackageContents contents;
  try {
    static_cast<void>(ListLocalAlgorithms(rules.catalogue, rules.library_filter, Chosen(package),
                                          ContentsRecorder(contents)));
  } catch (const ContentsRecorder::Enough&) {
  } catch (const std::exception& error) {
    contents.error = ReasonOf(error);
  }
  return contents;
}

AlgorithmLibraryFacts ExamineLibrary(const DiscoveryRules& rules, const std::string& package,
                                     const std::string& file) {
  AlgorithmLibraryFacts facts{.file = file};
  const std::wstring name = ToWide(file);
  for (const auto& [algorithm, pattern] : rules.catalogue) {
    if (std::regex_match(name, pattern)) facts.stands_for.push_back(ToUtf8(algorithm));
  }
  static_cast<void>(
      ListLocalAlgorithms(rules.catalogue, Exactly(name), Chosen(package), LibraryRecorder(facts)));
  return facts;
}

MachineFacts ExamineMachine(const DiscoveryRules& rules) {
  MachineFacts facts;
  facts.driver = ExamineDriver();
  // Without a driver the search does not come to the store: what lies there may tell why.
  StoreSearch search = ExamineStore(rules, facts.driver.version);
  facts.store = std::move(search.store);
  facts.candidates = std::move(search.candidates);
  if (!facts.driver.version) return facts;
  facts.package = std::move(search.package);
  if (facts.package->path.empty()) return facts;
  facts.contents = ListPackage(rules, facts.package->path);
  for (AlgorithmLibraryFacts& library : facts.contents->libraries) {
    library = ExamineLibrary(rules, facts.package->path, library.file);
  }
  return facts;
}

}  // namespace zor::ctl
