#include "tools/selftest/check.h"

namespace zor::selftest {

Verdict Judge(const Check& check, const Sighting& sighting, Platform platform) {
  switch (sighting.end) {
    case Sighting::End::kCouldNotLook:
      return Verdict::kCouldNotLook;
    case Sighting::End::kHung:
      return Verdict::kHung;
    case Sighting::End::kCrashed:
      return Verdict::kCrashed;
    case Sighting::End::kSeen:
      break;
  }
  const bool has_record = platform != Platform::kWindows && !check.wine8.empty();
  if (has_record && sighting.seen == check.wine8) return Verdict::kAsRecorded;
  if (sighting.seen != check.expected) return Verdict::kDiffers;
  // A record that no longer holds would hide the next change.
  return has_record && platform == Platform::kWine8 ? Verdict::kNotAsRecorded
                                                    : Verdict::kAsExpected;
}

std::string_view Words(Verdict verdict) {
  switch (verdict) {
    case Verdict::kAsExpected:
      return "as expected";
    case Verdict::kAsRecorded:
      return "as recorded for Wine";
    case Verdict::kDiffers:
      return "differs";
    case Verdict::kNotAsRecorded:
      return "better than recorded for Wine";
    case Verdict::kCouldNotLook:
      return "could not look";
    case Verdict::kHung:
      return "hung";
    case Verdict::kCrashed:
      return "crashed";
  }
  return "";
}

}  // namespace zor::selftest
