#include "discovery/inf_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zor {
namespace {

std::string VersionLineOf(const std::string& inf) {
  std::istringstream stream(inf);
  return FindVersionLine(stream);
}

TEST(VersionLine, IsTheFirstOneWithTheKeyAnywhereInIt) {
  EXPECT_EQ(VersionLineOf("[Version]\nDriverVer=1.2.3.4\nDriverVer=5\n"), "DriverVer=1.2.3.4");
  EXPECT_EQ(VersionLineOf("; no DriverVer here\nDriverVer=1.2.3.4\n"), "; no DriverVer here");
  EXPECT_EQ(VersionLineOf("aDriverVersion\nDriverVer=1\n"), "aDriverVersion");
}

TEST(VersionLine, IsFoundByCase) {
  EXPECT_EQ(VersionLineOf("driverver=1\nDRIVERVER=2\nDriverver=3\n"), "");
}

TEST(VersionLine, NeedsNoLineEnd) { EXPECT_EQ(VersionLineOf("\nDriverVer=1"), "DriverVer=1"); }

TEST(VersionLine, IsEmptyWithoutTheKey) {
  EXPECT_EQ(VersionLineOf(""), "");
  EXPECT_EQ(VersionLineOf("\n\n\n"), "");
  EXPECT_EQ(VersionLineOf("Driver\nVer=1\n"), "");
}

TEST(VersionLine, IsEmptyForAnInfOfWideCharacters) {
  std::string inf("\xFF\xFE");
  for (const char c : std::string("DriverVer=06/21/2023,1.0.0.5\r\n")) inf += {c, '\0'};
  EXPECT_EQ(VersionLineOf(inf), "");
}

TEST(VersionLine, IsTheLastThingRead) {
  std::istringstream inf("a\nDriverVer=1\nb\nc\n");
  ASSERT_EQ(FindVersionLine(inf), "DriverVer=1");
  std::string next;
  std::getline(inf, next);
  EXPECT_EQ(next, "b");
}

TEST(VersionLine, IsEmptyForAStreamThatIsNotOpen) {
  std::istringstream inf("DriverVer=1");
  inf.setstate(std::ios::failbit);
  EXPECT_EQ(FindVersionLine(inf), "");
}

TEST(VersionInLine, IsTheLeftmostMatch) {
  EXPECT_EQ(FindVersion(L"DriverVer=06/21/2023,1.0.12.345"), (VersionQuad{1, 0, 12, 345}));
  EXPECT_EQ(FindVersion(L"DriverVer = 06/21/2023 , 1.0.0.5\r"), (VersionQuad{1, 0, 0, 5}));
  EXPECT_EQ(FindVersion(L"1.2.3.4.5"), (VersionQuad{1, 2, 3, 4}));
  EXPECT_EQ(FindVersion(L"06.21.2023,1.0.0.5"), (VersionQuad{1, 0, 0, 5}));
  EXPECT_EQ(FindVersion(L"06.21.2023.1,1.0.0.5"), (VersionQuad{6, 21, 2023, 1}));
  EXPECT_EQ(FindVersion(L"06.21.2023.1.0.0.5"), (VersionQuad{6, 21, 2023, 1}));
  EXPECT_EQ(FindVersion(L"v1.2.3.4rc5"), (VersionQuad{1, 2, 3, 4}));
  EXPECT_EQ(FindVersion(L"1..2.3.4.5"), (VersionQuad{2, 3, 4, 5}));
  EXPECT_EQ(FindVersion(L"-1.2.3.4"), (VersionQuad{1, 2, 3, 4}));
  EXPECT_EQ(FindVersion(L"1.2.3.70000"), (VersionQuad{1, 2, 3, 4464}));
}

TEST(VersionInLine, IsAbsentWithoutFourParts) {
  for (const auto* line :
       {L"", L"DriverVer=06/21/2023", L"1.2.3", L"1.2.3.", L"1. 2.3.4", L"1.2..3.4", L"1,2,3,4"}) {
    EXPECT_EQ(FindVersion(line), std::nullopt) << line;
  }
}

TEST(VersionInLine, IsRefusedWhenItIsTooLarge) {
  EXPECT_THROW(static_cast<void>(FindVersion(L"1.2.3.4294967296")), std::out_of_range);
}

}  // namespace
}  // namespace zor
