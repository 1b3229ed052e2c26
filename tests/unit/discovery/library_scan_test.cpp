#include "discovery/library_scan.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>

#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::Answers;
using scripted::Fails;
using scripted::TheDirectories;
using scripted::TheModules;
using scripted::TheOutput;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LibraryScanTest : public scripted::MachineTest {
 protected:
  LibraryScanTest() { TheDirectories().directories[folder_] = {}; }

  [[nodiscard]] std::vector<std::wstring> List(bool found = true) const {
    return ListLocalAlgorithms(catalogue_, filter_, {.found = found, .path = folder_});
  }

  /// What the search finds at the only library of the package.
  [[nodiscard]] LibraryQuery Query() const {
    struct Observer final : SearchObserver {
      explicit Observer(LibraryQuery& query) : seen(query) {}
      void SawLibrary(const LibraryQuery& query,
                      const std::vector<std::wstring>& /*names*/) const override {
        seen = query;
      }
      LibraryQuery& seen;
    };
    LibraryQuery query{.failed = {}, .error = 99, .answer = 99, .algorithm_id = 99};
    static_cast<void>(ListLocalAlgorithms(catalogue_, filter_, {.found = true, .path = folder_},
                                          Observer(query)));
    return query;
  }

  const std::wstring folder_ = L"C:\\package";

 private:
  const AlgorithmCatalogue catalogue_ = BuildAlgorithmCatalogue();
  const std::wregex filter_ = BuildLibraryFilter();
};

TEST_F(LibraryScanTest, NamesTheLibrariesThatAnswer) {
  AddLibrary(folder_, L"K270502.dll");
  AddLibrary(folder_, L"readme.txt");
  EXPECT_THAT(List(), ElementsAre(L"general"));
  EXPECT_THAT(
      TheModules().calls,
      ElementsAre(L"SetLibraryDirectory C:\\package", L"LoadModule C:\\package\\K270502.dll",
                  L"FindEntryPoint zor_get_dll_information", L"ReleaseModule"));
}

TEST_F(LibraryScanTest, NamesAnAlgorithmOnceForEachLibrary) {
  AddLibrary(folder_, L"K270506.dll");
  AddLibrary(folder_, L"K030806.dll");
  AddLibrary(folder_, L"k270502.DLL");
  EXPECT_THAT(List(), ElementsAre(L"general", L"whisper", L"general"));
}

TEST_F(LibraryScanTest, NamesEveryAlgorithmThatTheFileFits) {
  AddLibrary(folder_, L"K1.dll");
  AlgorithmCatalogue catalogue;
  catalogue[L"first"] = L"K1.*";
  catalogue[L"other"] = L"K2.*";
  catalogue[L"second"] = L"K.*";
  EXPECT_THAT(ListLocalAlgorithms(catalogue, std::wregex(L".*"), {.found = true, .path = folder_}),
              ElementsAre(L"first", L"second"));
}

TEST_F(LibraryScanTest, NamesNoLibraryThatTheCatalogueDoesNotKnow) {
  AddLibrary(folder_, L"K999999.dll");
  EXPECT_THAT(List(), IsEmpty());
  // It is asked all the same.
  EXPECT_EQ(TheModules().calls.size(), 4U);
}

TEST_F(LibraryScanTest, SkipsLibrariesThatDoNotAnswer) {
  AddLibrary(folder_, L"K270502.dll", Fails);
  AddLibrary(folder_, L"K270506.dll", nullptr);
  AddLibrary(folder_, L"K250902.dll");
  EXPECT_THAT(List(), ElementsAre(L"listen"));
}

TEST_F(LibraryScanTest, ReleasesTheHolderOfALibraryThatCannotBeLoaded) {
  TheDirectories().directories[folder_].entries = {L"K270502.dll"};
  EXPECT_THAT(List(), IsEmpty());
  EXPECT_THAT(TheModules().calls,
              ElementsAre(L"SetLibraryDirectory C:\\package",
                          L"LoadModule C:\\package\\K270502.dll", L"ReleaseModule null"));
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
}

TEST_F(LibraryScanTest, LoadsOneLibraryAtATime) {
  AddLibrary(folder_, L"K270502.dll", [](void*) -> std::int32_t {
    EXPECT_EQ(TheModules().LoadedCount(), 1);
    return 0;
  });
  AddLibrary(folder_, L"K270506.dll", [](void*) -> std::int32_t {
    EXPECT_EQ(TheModules().LoadedCount(), 1);
    return 0;
  });
  EXPECT_EQ(List().size(), 2U);
  EXPECT_EQ(TheModules().LoadedCount(), 0);
}

TEST_F(LibraryScanTest, SetsTheDirectoryForEachLibraryAgain) {
  AddLibrary(folder_, L"K270502.dll");
  AddLibrary(folder_, L"K250902.dll");
  TheModules().directory_changes_left = 1;
  EXPECT_THAT(List(), ElementsAre(L"general"));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] Failed to set dll dir\n"));
  EXPECT_EQ(TheModules().calls.back(), L"SetLibraryDirectory C:\\package");
}

TEST_F(LibraryScanTest, TouchesNothingWithoutAPackage) {
  AddLibrary(folder_, L"K270502.dll");
  EXPECT_THAT(List(false), IsEmpty());
  EXPECT_THAT(TheDirectories().listed, IsEmpty());
  EXPECT_THAT(TheModules().calls, IsEmpty());
}

TEST_F(LibraryScanTest, FindsNothingInAnEmptyPackage) {
  EXPECT_THAT(List(), IsEmpty());
  EXPECT_THAT(TheModules().calls, IsEmpty());
}

TEST_F(LibraryScanTest, LetsTheListingsErrorsThrough) {
  TheDirectories().directories[folder_] = {.entries = {L"K270502.dll", L"b"}, .fails_after = 1};
  EXPECT_THROW(static_cast<void>(List()), std::filesystem::filesystem_error);
  TheDirectories().directories.clear();
  EXPECT_THROW(static_cast<void>(List()), std::filesystem::filesystem_error);
  EXPECT_THAT(TheModules().calls, IsEmpty());
}

TEST_F(LibraryScanTest, TakesTheSecondWordForTheId) {
  AddLibrary(folder_, L"K270502.dll", Answers);
  const LibraryQuery query = Query();
  EXPECT_EQ(query.failed, std::nullopt);
  EXPECT_EQ(query.algorithm_id, 101U);
}

TEST_F(LibraryScanTest, GivesTheLibraryAClearedRecord) {
  AddLibrary(folder_, L"K270502.dll", [](void* record) -> std::int32_t {
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(static_cast<std::uint32_t*>(record)[i], 0U);
    return 0;
  });
  EXPECT_EQ(Query().algorithm_id, 0U);
}

TEST_F(LibraryScanTest, SaysAtWhichStepALibraryFailed) {
  TheModules().load_error = 193;
  TheDirectories().directories[folder_].entries = {L"K270502.dll"};
  EXPECT_EQ(Query().failed, LibraryStep::kLoad);
  EXPECT_EQ(Query().error, 193U);

  TheDirectories().directories[folder_].entries.clear();
  AddLibrary(folder_, L"K270502.dll", nullptr);
  EXPECT_EQ(Query().failed, LibraryStep::kFindEntry);

  TheDirectories().directories[folder_].entries.clear();
  AddLibrary(folder_, L"K250902.dll", [](void*) -> std::int32_t { return -7; });
  EXPECT_EQ(Query().failed, LibraryStep::kAsk);
  EXPECT_EQ(Query().answer, -7);

  TheModules().directory_changes_left = 0;
  EXPECT_EQ(Query().failed, LibraryStep::kSetDirectory);
  EXPECT_EQ(TheModules().LoadedCount(), 0);
}

}  // namespace
}  // namespace zor
