/// Who a process is: its program, its user and its session.
#pragma once

#include <cstdint>
#include <string>

#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

/// Each is empty, or 0, when it cannot be read.
[[nodiscard]] std::string ImageOf(std::uint32_t process);
[[nodiscard]] std::string UserOf(std::uint32_t process);
[[nodiscard]] std::uint32_t SessionOf(std::uint32_t process);

[[nodiscard]] ProcessFacts ExamineThisProcess();

}  // namespace zor::ctl
