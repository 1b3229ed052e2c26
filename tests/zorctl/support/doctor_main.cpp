// The tests of doctor: doctor starts its own program for each of its looks, so this one is both.
#include <gmock/gmock.h>

#include <string_view>

#include "tests/zorctl/support/planted_wmi.h"
#include "tools/zorctl/doctor/probe_process.h"

int main(int count, char** words) {
  if (count > 1 && std::string_view(words[1]) == zor::ctl::kProbeWord) {
    return zor::testing::RunPlantedProbe(count, words);
  }
  if (count > 1 && std::string_view(words[1]) == "squat") return zor::testing::Squat();
  testing::InitGoogleMock(&count, words);
  return RUN_ALL_TESTS();
}
