#include "discovery/algorithm_catalogue.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace zor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::wstring> NamesOf(const std::wstring& file) {
  static const AlgorithmCatalogue catalogue = BuildAlgorithmCatalogue();
  std::vector<std::wstring> names;
  for (const auto& [name, pattern] : catalogue) {
    if (std::regex_match(file, pattern)) names.push_back(name);
  }
  return names;
}

bool PassesFilter(const std::wstring& file) {
  static const std::wregex filter = BuildLibraryFilter();
  return std::regex_match(file, filter);
}

TEST(AlgorithmCatalogue, IsInTheOrderOfItsNames) {
  std::vector<std::wstring> names;
  for (const auto& [name, pattern] : BuildAlgorithmCatalogue()) names.push_back(name);
  EXPECT_THAT(names, ElementsAre(L"general", L"listen", L"listening_normalization", L"private",
                                 L"shotgun_bf", L"whisper"));
}

TEST(AlgorithmCatalogue, KnowsEveryModelOfEveryFamily) {
  struct Family {
    std::wstring name;
    std::wstring code;
    std::vector<std::wstring> models;
    std::vector<std::wstring> generations;
  };
  const std::vector<Family> families = {
      {L"general", L"27", {L"05", L"0C", L"0H"}, {L"02", L"06"}},
      {L"private",
       L"03",
       {L"01", L"0A", L"0D", L"0E", L"0G", L"0K", L"0L", L"0M", L"0N", L"0V", L"0Z"},
       {L"02", L"06"}},
      {L"whisper", L"03", {L"08", L"0F", L"0Q"}, {L"06"}},
      {L"listen", L"25", {L"09"}, {L"02", L"06"}},
      {L"listening_normalization", L"25", {L"0B"}, {L"06"}},
      {L"shotgun_bf", L"03", {L"0R", L"0S", L"0T", L"0U", L"0W"}, {L"06"}},
  };
  const std::wstring characters = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const auto has = [](const std::vector<std::wstring>& list, const std::wstring& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
  };
  for (const std::wstring code : {L"03", L"25", L"27"}) {
    for (const wchar_t first : {L'0', L'1'}) {
      for (const wchar_t second : characters) {
        for (const std::wstring generation : {L"02", L"06", L"05"}) {
          const std::wstring model = {first, second};
          std::vector<std::wstring> expected;
          for (const Family& family : families) {
            if (family.code == code && has(family.models, model) &&
                has(family.generations, generation)) {
              expected.push_back(family.name);
            }
          }
          const std::wstring file = L"K" + code + model + generation + L".dll";
          EXPECT_EQ(NamesOf(file), expected) << file;
          EXPECT_TRUE(PassesFilter(file)) << file;
        }
      }
    }
  }
}

TEST(AlgorithmCatalogue, MatchesWholeNames) {
  for (const auto* file : {L"K2705021.dll", L"K270502.dll1", L"xK270502.dll", L"K27050.dll", L"",
                           L"K270502.dl", L"K270502dll"}) {
    EXPECT_THAT(NamesOf(file), IsEmpty()) << file;
    EXPECT_FALSE(PassesFilter(file)) << file;
  }
}

TEST(AlgorithmCatalogue, MatchesEitherCase) {
  EXPECT_THAT(NamesOf(L"k270502.DLL"), ElementsAre(L"general"));
  EXPECT_THAT(NamesOf(L"k270c02.Dll"), ElementsAre(L"general"));
  EXPECT_TRUE(PassesFilter(L"k270502.DLL"));
}

TEST(AlgorithmCatalogue, TakesAnyCharacterForTheDot) {
  EXPECT_THAT(NamesOf(L"K270502xdll"), ElementsAre(L"general"));
  EXPECT_TRUE(PassesFilter(L"K270502xdll"));
}

TEST(AlgorithmCatalogue, TellsNeighboursApart) {
  EXPECT_THAT(NamesOf(L"K250902.dll"), ElementsAre(L"listen"));
  EXPECT_THAT(NamesOf(L"K250B06.dll"), ElementsAre(L"listening_normalization"));
  EXPECT_THAT(NamesOf(L"K250B02.dll"), IsEmpty());
  EXPECT_THAT(NamesOf(L"K030806.dll"), ElementsAre(L"whisper"));
  EXPECT_THAT(NamesOf(L"K030802.dll"), IsEmpty());
}

TEST(LibraryFilter, TakesAnySixLettersAndDigits) {
  EXPECT_TRUE(PassesFilter(L"K999999.dll"));
  EXPECT_TRUE(PassesFilter(L"kabCXYz.dll"));
  EXPECT_FALSE(PassesFilter(L"K99999-.dll"));
  EXPECT_FALSE(
      PassesFilter(L"K9999\x00E4"
                   L"9.dll"));
  EXPECT_FALSE(PassesFilter(L"L999999.dll"));
  EXPECT_FALSE(PassesFilter(L"K999999.exe"));
  EXPECT_FALSE(PassesFilter(std::wstring(255, L'K')));
}

}  // namespace
}  // namespace zor
