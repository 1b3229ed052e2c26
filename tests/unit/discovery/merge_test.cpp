#include "discovery/merge.h"

#include <gmock/gmock.h>

#include <random>
#include <tuple>

#include "tests/support/naive_merge.h"

namespace zor {

bool operator==(const AlgorithmIdEntry& left, const AlgorithmIdEntry& right) {
  return std::tie(left.name, left.server_id, left.app_id) ==
         std::tie(right.name, right.server_id, right.app_id);
}

void PrintTo(const AlgorithmIdEntry& row, std::ostream* out) {
  *out << row.name << " server " << row.server_id << " app " << row.app_id;
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Names = std::vector<std::string>;

std::uint32_t Merge(AlgorithmIdTable& table, const Names& server, const Names& local,
                    std::uint32_t count) {
  const std::vector<std::string_view> names(server.begin(), server.end());
  return MergeAlgorithms(table, names, count, local);
}

std::uint32_t Merge(AlgorithmIdTable& table, const Names& server, const Names& local) {
  return Merge(table, server, local, static_cast<std::uint32_t>(server.size()));
}

/// The application's list; a slot that shows nothing is "-".
Names Shown(const AlgorithmIdTable& table, std::uint32_t length) {
  Names names;
  for (const auto* row : AssignSlots(table, length)) {
    names.push_back(row == nullptr ? "-" : row->name);
  }
  return names;
}

TEST(Merge, WithoutLocalAlgorithmsShowsTheServersList) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", "private"}, {}), 2U);
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, 0}, AlgorithmIdEntry{"private", 1, 1}));
  EXPECT_THAT(Shown(table, 2), ElementsAre("general", "private"));
}

TEST(Merge, WithAsManyLocalAlgorithmsShowsTheServersListWhateverTheNames) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", "private"}, {"x", "x"}), 2U);
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, 0}, AlgorithmIdEntry{"private", 1, 1}));
}

TEST(Merge, WithFewerLocalAlgorithmsNumbersThoseByTheirPosition) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", "private", "whisper"}, {"general", "whisper"}), 2U);
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, 0}, AlgorithmIdEntry{"private", 1, -1},
                          AlgorithmIdEntry{"whisper", 2, 2}));
  // The third row's slot is not in the list.
  EXPECT_THAT(Shown(table, 2), ElementsAre("general", "-"));
}

TEST(Merge, WithMoreLocalAlgorithmsLeavesSlotsEmpty) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", "listen"}, {"listen", "whisper", "private"}), 3U);
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, -1}, AlgorithmIdEntry{"listen", 1, 1}));
  EXPECT_THAT(Shown(table, 3), ElementsAre("-", "listen", "-"));
}

TEST(Merge, ComparesNamesWithoutAsciiCaseAsStrings) {
  AlgorithmIdTable table;
  Merge(table, {"General", "LISTEN", "listen2", std::string("whisper\0!", 9), ""},
        {"general", "listen", "whisper"});
  EXPECT_EQ(table[0].app_id, 0);
  EXPECT_EQ(table[1].app_id, 1);
  EXPECT_EQ(table[2].app_id, -1);
  EXPECT_EQ(table[3].app_id, 3);
  EXPECT_EQ(table[4].app_id, -1);
}

TEST(Merge, AnEmptyLocalNameIsAnEmptyString) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", ""}, {""}), 1U);
  EXPECT_THAT(table, ElementsAre(AlgorithmIdEntry{"general", 0, -1}, AlgorithmIdEntry{"", 1, 1}));
}

TEST(Merge, GrowsTheTableAndRenumbersAllOfIt) {
  AlgorithmIdTable table;
  const Names server = {"general", "private", "whisper"};
  Merge(table, server, {"private", "whisper"});
  Merge(table, server, {"general", "whisper"});
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, 0}, AlgorithmIdEntry{"private", 1, 1},
                          AlgorithmIdEntry{"whisper", 2, 2}, AlgorithmIdEntry{"general", 0, 3},
                          AlgorithmIdEntry{"private", 1, -1}, AlgorithmIdEntry{"whisper", 2, 5}));
}

TEST(Merge, WithoutAMismatchLeavesTheRowsOfEarlierCalls) {
  AlgorithmIdTable table;
  Merge(table, {"general", "private"}, {"private"});
  Merge(table, {"private", "general"}, {});
  EXPECT_THAT(table,
              ElementsAre(AlgorithmIdEntry{"general", 0, -1}, AlgorithmIdEntry{"private", 1, 1},
                          AlgorithmIdEntry{"private", 0, 0}, AlgorithmIdEntry{"general", 1, 1}));
  // The later row wins the slot.
  EXPECT_THAT(Shown(table, 2), ElementsAre("private", "general"));
}

TEST(Merge, ComparesWithTheServersCountNotWithItsNames) {
  AlgorithmIdTable table;
  EXPECT_EQ(Merge(table, {"general", "private"}, {"general"}, 1), 1U);
  EXPECT_EQ(table[1].app_id, 1);
  EXPECT_THAT(Shown(table, 1), ElementsAre("general"));

  table.clear();
  EXPECT_EQ(Merge(table, {"general"}, {}, 4), 4U);
  EXPECT_THAT(Shown(table, 4), ElementsAre("general", "-", "-", "-"));

  table.clear();
  EXPECT_EQ(Merge(table, {}, {"general"}, 5), 1U);
  EXPECT_THAT(table, IsEmpty());
  EXPECT_THAT(Shown(table, 1), ElementsAre("-"));
}

TEST(Merge, KeepsIdsInSixteenBits) {
  AlgorithmIdTable table(65534, {"old", 7, -1});
  EXPECT_EQ(Merge(table, {"general", "general", "general"}, {"general"}), 1U);
  EXPECT_EQ(table[65534].app_id, -2);
  EXPECT_EQ(table[65535].app_id, -1);
  EXPECT_EQ(table[65536].app_id, 0);
  EXPECT_THAT(Shown(table, 1), ElementsAre("general"));
}

TEST(AssignSlots, SkipsIdsOutsideTheList) {
  const AlgorithmIdTable table = {
      {"a", 0, -1}, {"b", 1, -32768}, {"c", 2, 32767}, {"d", 3, 3}, {"e", 4, 2}};
  EXPECT_THAT(Shown(table, 3), ElementsAre("-", "-", "e"));
  EXPECT_THAT(Shown(table, 0), IsEmpty());
}

TEST(AssignSlots, TakesNoRoomThatNoIdReaches) {
  const AlgorithmIdTable table = {{"last", 0, 32767}};
  const auto slots = AssignSlots(table, 0xFFFFFFFF);
  ASSERT_EQ(slots.size(), 32768U);
  EXPECT_EQ(slots.back()->name, "last");
}

class Generated {
 public:
  explicit Generated(unsigned seed) : random_(seed) {}

  std::size_t Below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
  }

  Names NamesUpTo(std::size_t longest) {
    static const Names pool = {"general", "General", "GENERAL", "listen",   "private",  "Private",
                               "whisper", "",        "x",       "general2", "\xC3\xA4", "\xC3\x84"};
    Names names(Below(longest + 1));
    for (std::string& name : names) name = pool[Below(pool.size())];
    return names;
  }

 private:
  std::mt19937 random_;
};

void RunGenerated(unsigned seed, std::size_t rows_before, std::size_t calls) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  Generated generated(seed);
  AlgorithmIdTable table;
  scripted::NaiveMerge model;
  for (std::size_t r = 0; r < rows_before; ++r) {
    const auto id = static_cast<std::int16_t>(static_cast<std::uint16_t>(generated.Below(65536)));
    table.push_back({r % 7 == 0 ? "general" : "other", id, id});
    model.rows.push_back({table.back().name, id, id});
  }
  for (std::size_t call = 0; call < calls; ++call) {
    const Names server = generated.NamesUpTo(9);
    const Names local = generated.NamesUpTo(6);
    // Mostly what the server should say, else anything, far too large included.
    const std::size_t kind = generated.Below(6);
    const auto count = static_cast<std::uint32_t>(kind == 0   ? generated.Below(12)
                                                  : kind == 1 ? 30000 + generated.Below(40000)
                                                  : kind == 2 ? local.size()
                                                              : server.size());
    const std::uint32_t length = Merge(table, server, local, count);
    model.Enumerate(server, local, count);
    ASSERT_EQ(model.Differs(table, length), std::nullopt);
  }
}

TEST(MergeAgainstTheNaiveModel, AgreesOnGrowingTables) {
  for (unsigned seed = 1; seed <= 400 && !HasFatalFailure(); ++seed) RunGenerated(seed, 0, 12);
}

TEST(MergeAgainstTheNaiveModel, AgreesWhereIdsWrapAround) {
  for (unsigned seed = 1001; seed <= 1004 && !HasFatalFailure(); ++seed) {
    RunGenerated(seed, 32760, 4);
    RunGenerated(seed, 65530, 4);
  }
}

}  // namespace
}  // namespace zor
