/// The trace: what the server saw or did, one line of JSON each.
#pragma once

#include <string>

#include "simulator/trace_record.h"

namespace zor::sim {

/// Without the line's end. A message that is valid is written field by field, any other in hex;
/// blocks and hex are cut after some bytes.
[[nodiscard]] std::string TraceLine(const TraceRecord& record);

}  // namespace zor::sim
