/// The system's words for its errors.
#pragma once

#include <cstdint>
#include <string>

namespace zor::ctl {

/// In the system's language, without a full stop; empty when it has none for this number. Takes
/// COM results, too.
[[nodiscard]] std::string SystemText(std::uint32_t error);

}  // namespace zor::ctl
