/// How long doctor's looks may take in tests: a busy machine needs more for the sound ones.
#pragma once

#include "tools/zorctl/doctor/doctor.h"

namespace zor::testing {

inline constexpr ctl::Limits kPatientLimits{.short_look = std::chrono::seconds(20),
                                            .long_look = std::chrono::seconds(20),
                                            .total = std::chrono::minutes(8)};

}  // namespace zor::testing
