/// A check: one assumption about the system that the library rests on, and how to look at it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zor::selftest {

/// What is told beside the answer: figures, which no verdict depends on.
using Notes = std::vector<std::string>;

/// What a check saw, in the words of its expected answer. Throws when it could not look.
using Look = std::string (*)(Notes& notes);

struct Check {
  std::string_view name;      ///< THEME.WHAT
  std::string_view assumes;   ///< in one sentence
  std::string_view page;      ///< the page of the manual that rests on it,
  std::string_view sentence;  ///< and words of it, as they stand there
  std::string_view expected;  ///< as Windows documents it, or as the library needs it
  std::string_view wine8;     ///< as seen on Wine 8; empty: as expected
  Look look = nullptr;

  [[nodiscard]] std::string_view theme() const { return name.substr(0, name.find('.')); }
};

/// What became of looking once.
struct Sighting {
  enum class End { kSeen, kCouldNotLook, kHung, kCrashed };

  End end = End::kCouldNotLook;
  std::string seen;  ///< the answer; or why there is none
  Notes notes;
  double milliseconds = 0;  ///< with the start and the end of its process
};

/// Whose answers hold.
enum class Platform { kWindows, kWine8, kOtherWine };

enum class Verdict {
  kAsExpected,
  kAsRecorded,     ///< not as expected, but as recorded for Wine
  kDiffers,        ///< neither
  kNotAsRecorded,  ///< on Wine 8: as expected, where the record says otherwise
  kCouldNotLook,
  kHung,
  kCrashed,
};

[[nodiscard]] Verdict Judge(const Check& check, const Sighting& sighting, Platform platform);

/// In the words of the reports.
[[nodiscard]] std::string_view Words(Verdict verdict);

[[nodiscard]] constexpr bool IsGood(Verdict verdict) {
  return verdict == Verdict::kAsExpected || verdict == Verdict::kAsRecorded;
}

}  // namespace zor::selftest
