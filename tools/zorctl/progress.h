/// A progress bar's text.
#pragma once

#include <cstddef>
#include <string>

namespace zor::ctl {

/// "[=====>    ] 50% 5/10", with a bar of `width` characters. `total` is not 0.
[[nodiscard]] std::string ProgressBar(std::size_t done, std::size_t total, std::size_t width);

}  // namespace zor::ctl
