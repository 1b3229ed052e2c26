#include "tools/zorctl/run_call.h"

#include <fmt/core.h>

#include <string>

#include "tools/zorctl/call_limit.h"
#include "tools/zorctl/console.h"
#include "tools/zorctl/files.h"

namespace zor::ctl {
namespace {

void PrintJson(const Call& call, const Outcome& outcome, const Json& members) {
  const Json document = ToJson(call, outcome);
  if (members.empty()) {
    Print(ToDocument(document));
    return;
  }
  Json line = members;
  line.update(document);
  Print(ToLine(line));
}

}  // namespace

ExitStatus RunCall(Session& session, Call call, const Style& style) {
  if (auto* set = std::get_if<BlobSetCall>(&call)) set->bytes = ReadBytes(set->file);
  const Outcome outcome = MakeWithin(session, call, style.timeout_ms);
  if (const auto* block = std::get_if<Block>(&outcome.payload); block != nullptr && block->file) {
    WriteBytes(*block->file, block->bytes);
    if (*block->file != kStandardStream) {
      Say(fmt::format("{} bytes written to {}", block->bytes.size(), *block->file));
    }
  }
  if (style.json) {
    PrintJson(call, outcome, style.members);
  } else {
    Print(ToText(outcome));
  }
  if (outcome.result != ZOR_SUCCESS) {
    Say(std::string(style.place) + FailureText(call, outcome));
  }
  return StatusOf(outcome);
}

}  // namespace zor::ctl
