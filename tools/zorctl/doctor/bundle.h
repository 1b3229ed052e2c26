/// What a support engineer needs of a machine, in one file, without what is personal.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/zip.h"

namespace zor::ctl {

/// Texts that name a person or a computer, and what stands for them.
using PersonalTexts = std::vector<std::pair<std::string, std::string>>;

/// The text with all of them replaced, in any case of letters.
[[nodiscard]] std::string WithoutPersonal(std::string text, const PersonalTexts& personal);

/// The report for people and for programs, versions, the lines of the packages' INF files that
/// state one, and the library's debug lines.
[[nodiscard]] std::vector<ZipEntry> MakeBundle(const Findings& findings, const Facts& facts,
                                               const PersonalTexts& personal);

}  // namespace zor::ctl
