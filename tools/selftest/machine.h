/// What this program runs on, for the head of the reports: nothing that names a person.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/selftest/check.h"

namespace zor::selftest {

[[nodiscard]] Platform ThisPlatform();

/// System, processor, library and time: pairs of a word and its value.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> AboutThisMachine();

/// Whether a server, the real one or another, has made one of the library's pipes.
[[nodiscard]] bool AServerIsThere();

}  // namespace zor::selftest
