/// One call from its input to its report.
#pragma once

#include <string_view>

#include "tools/zorctl/command.h"
#include "tools/zorctl/explain.h"
#include "tools/zorctl/report.h"
#include "tools/zorctl/session.h"

namespace zor::ctl {

struct Style {
  bool json = false;
  std::string_view place = {};   ///< before a message: "session.txt:3: "
  std::uint32_t timeout_ms = 0;  ///< 0: without end
  Json members = {};             ///< put in front of a JSON document, which then takes one line
};

/// Makes the call and prints what it brought. Throws std::runtime_error for a file.
ExitStatus RunCall(Session& session, Call call, const Style& style);

}  // namespace zor::ctl
