// The requests, byte for byte as they are kept in requests/.
#include "tests/golden/golden_requests.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/library_test.h"

namespace zor::golden {

/// In the tests' names, which must not change from run to run.
static void PrintTo(const GoldenRequest& request, std::ostream* out) { *out << request.name; }

namespace {

const std::filesystem::path kFolder = ZOR_GOLDEN_FOLDER;

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class GoldenRequests : public scripted::PlatformTest,
                       public ::testing::WithParamInterface<GoldenRequest> {};

TEST_P(GoldenRequests, IsSentByteForByte) {
  const testing::Bytes sent = Capture(GetParam());
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(ToHex(sent), ReadText(kFolder / (std::string(GetParam().name) + ".hex")));
}

INSTANTIATE_TEST_SUITE_P(Requests, GoldenRequests,
                         ::testing::ValuesIn(golden::GoldenRequests().begin(),
                                             golden::GoldenRequests().end()),
                         [](const auto& suite) { return std::string(suite.param.name); });

TEST(GoldenFolder, HoldsTheBytesAndTheFieldsOfEachRequestAndNothingElse) {
  std::set<std::string> expected;
  for (const GoldenRequest& request : golden::GoldenRequests()) {
    expected.insert(std::string(request.name) + ".hex");
    expected.insert(std::string(request.name) + ".json");
  }
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    found.insert(entry.path().filename().string());
  }
  EXPECT_EQ(found, expected);
}

TEST(GoldenFolder, PinsEveryRemoteCall) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() != ".json") continue;
    const std::string text = ReadText(entry.path());
    const auto start = text.find("ZorIntf");
    names.insert(text.substr(start, text.find('"', start) - start));
  }
  EXPECT_EQ(names.size(), 12U);
}

}  // namespace
}  // namespace zor::golden
