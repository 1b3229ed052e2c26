// A sequence of enumerations, merged by the product and by the naive model.
#include <string_view>
#include <vector>

#include "discovery/merge.h"
#include "fuzz/harness.h"
#include "tests/support/naive_merge.h"

namespace zor::fuzz {
namespace {

using Names = std::vector<std::string>;

constexpr std::size_t kMostCalls = 16;

/// A name that can be equal to another one, or any bytes.
std::string Name(Input& input) {
  static const Names pool = {"general", "General", "GENERAL",  "listen",   "private",
                             "Private", "whisper", "general2", "\xC3\xA4", "\xC3\x84"};
  const std::uint8_t choice = input.Byte();
  return choice < 0xE0 ? pool[choice % pool.size()] : input.Text(choice & 0x1FU);
}

Names NamesUpTo(Input& input, std::size_t limit) {
  Names names(input.Byte() % (limit + 1));
  for (std::string& name : names) name = Name(input);
  return names;
}

const AlgorithmIdEntry* PlainFind(const AlgorithmIdTable& table, float id, bool by_app_id) {
  for (const AlgorithmIdEntry& row : table) {
    if (static_cast<float>(by_app_id ? row.app_id : row.server_id) == id) return &row;
  }
  return nullptr;
}

void Enumerate(Input& input, AlgorithmIdTable& table, scripted::NaiveMerge& model) {
  const Names server = NamesUpTo(input, 20);
  const Names local = NamesUpTo(input, 10);
  const std::uint8_t kind = input.Byte();
  // Mostly what the server should say, else anything.
  const std::uint32_t count = kind < 0xC0   ? static_cast<std::uint32_t>(server.size())
                              : kind < 0xFF ? kind % 24U
                                            : input.Long();
  const std::vector<std::string_view> views(server.begin(), server.end());
  const std::uint32_t length = MergeAlgorithms(table, views, count, local);
  model.Enumerate(server, local, count);
  if (const auto differs = model.Differs(table, length)) Fail(differs->c_str());

  const auto id = static_cast<float>(static_cast<std::int8_t>(input.Byte()));
  Require(FindByAppId(table, id) == PlainFind(table, id, true), "application id");
  Require(FindByServerId(table, id) == PlainFind(table, id, false), "server id");
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zor::fuzz::Input input(data, size);
  zor::AlgorithmIdTable table;
  zor::scripted::NaiveMerge model;
  // Rows of enumerations before; those at which ids wrap around are the unit tests'.
  const std::size_t rows = input.Byte() % 8U;
  for (std::size_t r = 0; r < rows; ++r) {
    table.push_back({"old", static_cast<std::int16_t>(r), -1});
    model.rows.push_back({"old", static_cast<std::int16_t>(r), -1});
  }
  for (std::size_t call = 0; call < zor::fuzz::kMostCalls && !input.empty(); ++call) {
    zor::fuzz::Enumerate(input, table, model);
  }
  return 0;
}
