#include "tools/zorctl/doctor/machine.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
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

/// Turns what the search finds into facts.
class Recorder final : public SearchObserver {
 public:
  /// `step` is the one that the search has begun last.
  Recorder(MachineFacts& facts, SearchStep& step) : facts_(facts), step_(step) {}

  void Begin(SearchStep step, const std::wstring& subject) const override {
    step_ = step;
    if (step == SearchStep::kListStore) facts_.store.directory = ToUtf8(subject);
    if (step == SearchStep::kReadInf) {
      // In the order in which they were listed.
      std::ranges::find(facts_.candidates, false, &CandidateFacts::examined)->examined = true;
    }
    if (step == SearchStep::kListPackage) facts_.contents.emplace();
    if (step == SearchStep::kAskLibrary) {
      facts_.contents->libraries.push_back({.file = ToUtf8(subject), .query = {}, .names = {}});
    }
  }

  void SawDriver(const DriverAnswer& answer) const override {
    facts_.driver = {.failed = answer.failed,
                     .result = static_cast<std::uint32_t>(answer.result),
                     .rows = answer.rows,
                     .version_text = ToUtf8(answer.version),
                     .version = {}};
    if (answer.failed) return;
    try {
      facts_.driver.version = ParseVersion(answer.version);
    } catch (const std::exception&) {  // the text is shown: it says more than the error
    }
  }

  void SawStore(const std::vector<std::wstring>& package_folders) const override {
    for (const std::wstring& folder : package_folders) {
      facts_.candidates.emplace_back().folder = ToUtf8(FileName(folder));
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

  void SawLibrary(const LibraryQuery& query,
                  const std::vector<std::wstring>& names) const override {
    AlgorithmLibraryFacts& library = facts_.contents->libraries.back();
    library.query = query;
    for (const std::wstring& name : names) library.names.push_back(ToUtf8(name));
  }

  /// The search has ended in the current step with this error.
  void EndWith(const std::string& reason) const {
    switch (step_) {
      case SearchStep::kAskForDriver:  // the version's text is shown
        return;
      case SearchStep::kListStore:
        facts_.store.error = reason;
        return;
      case SearchStep::kReadInf:
        Current().error = reason;
        return;
      case SearchStep::kListPackage:
      case SearchStep::kAskLibrary:
        facts_.contents->error = reason;
        return;
    }
  }

 private:
  [[nodiscard]] CandidateFacts& Current() const {
    const auto next = std::ranges::find(facts_.candidates, false, &CandidateFacts::examined);
    return *std::prev(next);
  }

  MachineFacts& facts_;
  SearchStep& step_;
};

/// Takes part of the search. Why it ended, empty when it came to its end.
template <typename Search>
std::string Run(const Recorder& recorder, Search search) try {
  search();
  return {};
} catch (const std::exception& error) {
  const std::string reason = ReasonOf(error);
  recorder.EndWith(reason);
  return reason;
}

}  // namespace

std::vector<std::string> MachineFacts::LocalNames() const {
  std::vector<std::string> names;
  if (!contents) return names;
  for (const AlgorithmLibraryFacts& library : contents->libraries) {
    if (library.query.failed) continue;
    names.insert(names.end(), library.names.begin(), library.names.end());
  }
  return names;
}

MachineFacts ExamineMachine(const DiscoveryRules& rules) {
  MachineFacts facts;
  SearchStep step{};
  const Recorder recorder(facts, step);

  DriverPackageInfo package;
  const std::string error =
      Run(recorder, [&] { package = LocateDriverPackage(rules.driver_store, recorder); });
  if (!facts.driver.version) {
    // The search has not come to the store: what lies there may tell why there is no driver.
    std::wstring ignored;
    Run(recorder,
        [&] { static_cast<void>(FindDriverPackage(rules.driver_store, {}, ignored, recorder)); });
    return facts;
  }

  facts.package = {.path = ToUtf8(package.path), .exact = false, .error = error};
  if (package.found) {
    facts.package->exact = std::ranges::find(facts.candidates, facts.driver.version,
                                             &CandidateFacts::version) != facts.candidates.end();
    Run(recorder, [&] {
      static_cast<void>(
          ListLocalAlgorithms(rules.catalogue, rules.library_filter, package, recorder));
    });
  }
  return facts;
}

}  // namespace zor::ctl
