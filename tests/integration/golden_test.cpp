// The built library sends the requests that are pinned in tests/golden, byte for byte: the same
// bytes on Windows as on the machine where they were written.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"

namespace zor::testing {
namespace {

Bytes ReadPinned(const std::string& name) {
  std::ifstream file(std::string(ZOR_GOLDEN_FOLDER "/") + name + ".hex");
  EXPECT_TRUE(file.is_open()) << name;
  Bytes bytes;
  unsigned byte = 0;
  while (file >> std::hex >> byte) bytes.push_back(static_cast<std::uint8_t>(byte));
  return bytes;
}

struct Pinned {
  const char* name;  ///< of its file
  ZorResult (*call)(const Exports& exports);
};

char preset[] = "preset";
std::uint8_t block[] = {1, 2, 3};

const Pinned kPinned[] = {
    {"get_info",
     [](const Exports& e) {
       ZorServerInfo info;
       return e.GetInfo(&info);
     }},
    {"enum_selector_2",
     [](const Exports& e) {
       ZorNameList list{0, nullptr};
       return e.Enum(2, &list);
     }},
    {"create",
     [](const Exports& e) {
       std::uint32_t handle = 0;
       const ZorTextParam param{"reverb", "hall"};
       return e.Create(&handle, &param);
     }},
    {"config",
     [](const Exports& e) {
       const ZorTextParam param{"room", "large"};
       return e.Config(5, &param);
     }},
    {"get_status",
     [](const Exports& e) {
       std::uint32_t status = 0;
       return e.GetStatus(5, &status);
     }},
    {"start", [](const Exports& e) { return e.Start(5); }},
    {"stop", [](const Exports& e) { return e.Stop(5); }},
    {"destroy", [](const Exports& e) { return e.Destroy(5); }},
    {"set",
     [](const Exports& e) {
       ZorFloatParam param{"gain", -1.5F};
       return e.Set(5, &param);
     }},
    {"get",
     [](const Exports& e) {
       ZorFloatParam param{"gain", 1.0F};
       return e.Get(5, &param);
     }},
    {"set_serialized",
     [](const Exports& e) {
       const ZorBlob blob{preset, 3, block};
       return e.SetSerialized(5, &blob);
     }},
    {"get_serialized",
     [](const Exports& e) {
       const ZorBlob input{preset, 3, block};
       ZorBlob output{nullptr, 0, nullptr};
       return e.GetSerialized(5, &input, &output);
     }},
};

TEST(Golden, EveryCallSendsThePinnedBytes) {
  RequestServer server;
  const LoadedLibrary library;
  for (const Pinned& pinned : kPinned) EXPECT_EQ(pinned.call(*library.operator->()), 0U);
  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), std::size(kPinned));
  for (std::size_t i = 0; i < requests.size(); ++i) {
    SCOPED_TRACE(kPinned[i].name);
    const Bytes expected = ReadPinned(kPinned[i].name);
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(requests[i], expected);
  }
}

}  // namespace
}  // namespace zor::testing
