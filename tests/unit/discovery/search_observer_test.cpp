// What an observer of the search is told.
#include "discovery/search_observer.h"

#include <gmock/gmock.h>

#include <exception>
#include <string>
#include <vector>

#include "discovery/directory.h"
#include "discovery/enumeration.h"
#include "discovery/library_scan.h"
#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::Fails;
using scripted::TheDirectories;
using ::testing::ElementsAre;
using Lines = std::vector<std::wstring>;

/// Keeps a line of each message.
class Record final : public SearchObserver {
 public:
  explicit Record(Lines& lines) : lines_(lines) {}

  void Begin(SearchStep step, const std::wstring& subject) const override {
    constexpr const wchar_t* kSteps[] = {L"driver?", L"store? ", L"inf? ", L"package? ",
                                         L"library? "};
    lines_.push_back(kSteps[static_cast<int>(step)] + FileName(subject));
  }
  void SawDriver(const DriverAnswer& answer) const override {
    lines_.push_back(answer.failed ? L"no driver" : L"driver " + answer.version);
  }
  void SawStore(const Lines& folders) const override {
    lines_.push_back(L"folders " + std::to_wstring(folders.size()));
  }
  void SawInf(const PackageInf& inf) const override {
    lines_.push_back(inf.version ? L"version " + std::to_wstring((*inf.version)[3])
                                 : L"no version");
  }
  void SawPackage(const Lines& files) const override {
    lines_.push_back(L"files " + std::to_wstring(files.size()));
  }
  void SawLibrary(const LibraryQuery& query, const Lines& names) const override {
    std::wstring line = query.failed ? L"failed" : L"id " + std::to_wstring(query.algorithm_id);
    for (const auto& name : names) line += L' ' + name;
    lines_.push_back(line);
  }

 private:
  Lines& lines_;
};

class SearchObserverTest : public scripted::MachineTest {
 protected:
  /// The lines of the whole search.
  Lines Search() {
    Lines lines;
    const Record record(lines);
    try {
      const auto package = LocateDriverPackage(rules_.driver_store, record);
      static_cast<void>(
          ListLocalAlgorithms(rules_.catalogue, rules_.library_filter, package, record));
    } catch (const std::exception&) {
      lines.emplace_back(L"ended");
    }
    return lines;
  }

  const DiscoveryRules rules_;
};

TEST_F(SearchObserverTest, IsToldEachStepAndItsFinding) {
  InstallDriver(L"1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.4");
  const std::wstring package = AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.5");
  AddPackageOfVersion(L"zorapo.inf_3", "1.0.0.6");
  AddLibrary(package, L"K270502.dll");
  AddLibrary(package, L"K030806.dll", Fails);
  AddLibrary(package, L"readme.txt");
  EXPECT_THAT(Search(),
              ElementsAre(L"driver?", L"driver 1.0.0.5", L"store? FileRepository", L"folders 3",
                          L"inf? zorapo.inf_1", L"version 4", L"inf? zorapo.inf_2", L"version 5",
                          L"package? zorapo.inf_2", L"files 2", L"library? K270502.dll",
                          L"id 101 general", L"library? K030806.dll", L"failed"));
}

TEST_F(SearchObserverTest, IsToldThatThereIsNoDriver) {
  EXPECT_THAT(Search(), ElementsAre(L"driver?", L"no driver"));
}

TEST_F(SearchObserverTest, IsToldOfAnEmptyStore) {
  InstallDriver(L"1.0.0.5");
  EXPECT_THAT(Search(),
              ElementsAre(L"driver?", L"driver 1.0.0.5", L"store? FileRepository", L"folders 0"));
}

TEST_F(SearchObserverTest, IsToldNothingAfterAnError) {
  InstallDriver(L"1.0.0.5");
  AddPackage(L"zorapo.inf_1", "[Version]");
  AddPackageOfVersion(L"zorapo.inf_2", "1.0.0.99999999999");
  AddPackageOfVersion(L"zorapo.inf_3", "1.0.0.5");
  EXPECT_THAT(Search(),
              ElementsAre(L"driver?", L"driver 1.0.0.5", L"store? FileRepository", L"folders 3",
                          L"inf? zorapo.inf_1", L"no version", L"inf? zorapo.inf_2", L"ended"));
  TheDirectories().directories.clear();
  EXPECT_THAT(Search(),
              ElementsAre(L"driver?", L"driver 1.0.0.5", L"store? FileRepository", L"ended"));
}

TEST_F(SearchObserverTest, SeesAVersionThatIsNone) {
  InstallDriver(L"1..3.4");
  EXPECT_THAT(Search(), ElementsAre(L"driver?", L"driver 1..3.4", L"ended"));
}

}  // namespace
}  // namespace zor
