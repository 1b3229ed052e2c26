// The list of algorithms, with every fault of the machine and every two of them, against a model
// that says what the list must then be.
#include <gmock/gmock.h>

#include <new>
#include <string>
#include <vector>

#include "tests/faults/plan.h"
#include "tests/faults/tally.h"
#include "tests/support/machine_test.h"
#include "tests/support/naive_merge.h"

namespace zor::faults {
namespace {

using scripted::TheCalls;
using scripted::TheHeap;
using scripted::TheOutput;

constexpr std::uint32_t kAlgorithms = 2;
constexpr std::uint32_t kTooLate = 0x80010119;
constexpr int kConnectedSteps = 3;  // peek, write and read of a call
const std::vector<std::string> kServerNames = {"general", "private", "whisper"};

using Names = std::vector<std::string>;

/// A package of the store, its version, and the algorithms whose libraries are in it.
struct Package {
  std::wstring name;
  std::string version;
  std::vector<std::pair<std::wstring, std::string>> libraries;
};

/// The first is older, the second is the driver's.
const std::vector<Package>& Packages() {
  static const std::vector<Package> packages = {
      {L"zorapo.inf_amd64_1", "1.0.0.4", {{L"K250902.dll", "listen"}}},
      {L"zorapo.inf_amd64_2",
       "1.0.0.5",
       {{L"K270502.dll", "general"}, {L"readme.txt", ""}, {L"K030806.dll", "whisper"}}}};
  return packages;
}

/// What the enumeration must do from the moment when it has its reply.
class Model {
 public:
  explicit Model(const Plan& plan) : steps_(plan) {
    for (const Function function :
         {Function::kPeekPipe, Function::kWritePipe, Function::kReadPipe}) {
      steps_.Next(function);
    }
    try {
      Enumerate();
    } catch (const Failure& failure) {
      result = failure.result;
      out_of_memory = failure.out_of_memory;
    }
  }

  [[nodiscard]] const std::vector<Step>& steps() const { return steps_.steps(); }

  ZorResult result = ZOR_SUCCESS;
  bool out_of_memory = false;
  std::vector<std::wstring> log;
  std::uint32_t count = 0;
  std::map<int, std::string> slots;  ///< those that are filled
  scripted::NaiveMerge merge;

 private:
  struct Failure {
    ZorResult result = ZOR_TRANSPORT_FAILURE;
    bool out_of_memory = false;
  };

  void Log(const std::wstring& line) {
    if (steps_.Fails(Function::kHeapAllocate)) return;
    const bool measured = !steps_.Fails(Function::kFormattedLength);
    if (steps_.Fails(Function::kHeapAllocate)) return;
    if (measured) log.push_back(L"[zor] " + line + L"\n");
  }

  bool ComStep(Function function, const std::wstring& what) {
    const auto error = steps_.Next(function);
    if (!error || (function == Function::kInitializeSecurity && *error == kTooLate)) return true;
    std::array<wchar_t, 16> number{};
    std::swprintf(number.data(), number.size(), L"0x%08X", *error);
    Log(L"Faild to " + what + L", " + number.data());
    return false;
  }

  bool QueryDriver() {
    if (!ComStep(Function::kInitializeSecurity, L"initialize security") ||
        !ComStep(Function::kCreateLocator, L"create locator") ||
        !ComStep(Function::kConnectServer, L"connect server") ||
        !ComStep(Function::kSetProxyBlanket, L"set proxy blanket") ||
        !ComStep(Function::kExecQuery, L"query WMI command")) {
      return false;
    }
    // The second row of two is the driver's.
    for (int row = 0; row < 2; ++row) {
      if (steps_.Fails(Function::kNextRow)) break;
      const bool unread = steps_.Fails(Function::kReadProperty);
      if (row == 0 || unread) continue;
      // Without its version the hardware id is what is parsed: that is no version.
      version_ = steps_.Fails(Function::kReadProperty) ? "0.0.0.0" : "1.0.0.5";
      return true;
    }
    // The end of the rows is found by asking for one more.
    if (!steps_.steps().back().fault || steps_.steps().back().function != Function::kNextRow) {
      steps_.Next(Function::kNextRow);
    }
    Log(L"Failed to get Zorvane APO driver version");
    return false;
  }

  void List(std::size_t entries) {
    if (steps_.Fails(Function::kOpenListing)) throw Failure{};
    for (std::size_t entry = 0; entry < entries; ++entry) {
      if (steps_.Fails(Function::kNextEntry)) throw Failure{};
    }
  }

  bool Converts(Function function) { return !steps_.Fails(function) && !steps_.Fails(function); }

  const Package* FindPackage() {
    if (steps_.Fails(Function::kGetEnvironment)) {
      Log(L"Failed to get systemroot variable");
      return nullptr;
    }
    List(Packages().size());
    const Package* best = nullptr;
    for (const Package& package : Packages()) {
      if (!Converts(Function::kUtf8ToWide)) continue;
      best = &package;
      if (package.version == version_) return best;
    }
    Log(L"Failed to get version matched APO driver path");
    return best;
  }

  Names LocalNames() {
    Names names;
    const Package* package = QueryDriver() ? FindPackage() : nullptr;
    if (package == nullptr) return names;
    List(package->libraries.size());
    Names found;
    for (const auto& [file, name] : package->libraries) {
      if (name.empty()) continue;
      if (steps_.Fails(Function::kSetLibraryDirectory)) {
        Log(L"Failed to set dll dir");
        continue;
      }
      if (steps_.Fails(Function::kLoadModule) || steps_.Fails(Function::kFindEntryPoint)) continue;
      found.push_back(name);
    }
    for (const std::string& name : found) {
      names.push_back(Converts(Function::kWideToUtf8) ? name : "");
    }
    return names;
  }

  void Enumerate() {
    const Names local = LocalNames();
    merge.Enumerate(kServerNames, local, kServerNames.size());
    if (steps_.Fails(Function::kHeapAllocate)) throw Failure{ZOR_SUCCESS, true};
    count = static_cast<std::uint32_t>(merge.length);
    for (const auto& slot : merge.slots) {
      if (steps_.Fails(Function::kHeapAllocate)) throw Failure{ZOR_SUCCESS, true};
      slots.insert(slot);
    }
  }

  ExpectedSteps steps_;
  std::string version_;
};

class FaultsOfTheEnumeration : public scripted::MachineTest {
 protected:
  FaultsOfTheEnumeration() {
    scripted::TheDrivers().rows.push_back({{L"HardwareID", {.text = L"SOMETHING\\ELSE"}}});
    InstallDriver(L"1.0.0.5");
    for (const Package& package : Packages()) {
      const std::wstring folder = AddPackageOfVersion(package.name, package.version);
      for (const auto& [file, name] : package.libraries) AddLibrary(folder, file);
    }
    ServeAlgorithms(kServerNames);
    EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);  // connects
  }

  void TearDown() override {
    Release();
    MachineTest::TearDown();
  }

  std::vector<Step> Run(const Plan& plan) {
    SCOPED_TRACE(Describe(plan));
    const Model model(plan);
    Release();
    TheLibrary().algorithm_ids.clear();
    static_cast<void>(TheOutput().TakeWide());

    Inject(plan);
    bool thrown = false;
    try {
      EXPECT_EQ(ZorIntfEnum(kAlgorithms, &list_), model.result);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    std::vector<Step> steps = TheCalls().TakeSteps();
    EXPECT_EQ(thrown, model.out_of_memory);
    EXPECT_EQ(Describe(steps), Describe(model.steps()));
    EXPECT_EQ(TheOutput().TakeWide(), model.log);
    CheckList(model);
    EXPECT_EQ(scripted::TheDrivers().open_queries, 0);
    EXPECT_EQ(scripted::TheDirectories().open_count, 0);
    EXPECT_EQ(scripted::TheModules().LoadedCount(), 0);
    return steps;
  }

 private:
  void CheckList(const Model& model) const {
    ASSERT_EQ(list_.count, model.count);
    std::map<int, std::string> slots;
    for (std::uint32_t i = 0; i < list_.count; ++i) {
      if (list_.items[i] != nullptr) slots[static_cast<int>(i)] = list_.items[i];
    }
    EXPECT_EQ(slots, model.slots);
    const bool merged = !model.merge.rows.empty();
    EXPECT_EQ(TheLibrary().algorithm_ids.size(), model.merge.rows.size());
    if (merged) {
      EXPECT_EQ(model.merge.Differs(TheLibrary().algorithm_ids,
                                    static_cast<std::uint32_t>(model.merge.length)),
                std::nullopt);
    }
  }

  /// As a successful call with the same record would.
  void Release() {
    for (std::uint32_t i = 0; i < list_.count; ++i) TheHeap().Free(list_.items[i]);
    TheHeap().Free(list_.items);
    list_ = {};
    EXPECT_EQ(TheHeap().BlockCount(), 0U);
  }

  ZorNameList list_ = {};
};

TEST_F(FaultsOfTheEnumeration, OneByOne) {
  const auto run = [this](const Plan& plan) { return Run(plan); };
  Tally("single faults in the enumeration", ForEachPlan(1, kConnectedSteps, run));
}

TEST_F(FaultsOfTheEnumeration, InPairs) {
  const auto run = [this](const Plan& plan) { return Run(plan); };
  Tally("pairs of faults in the enumeration", ForEachPlan(2, kConnectedSteps, run));
}

}  // namespace
}  // namespace zor::faults
