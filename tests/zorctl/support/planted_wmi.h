/// The management service that doctor's own processes find: what the environment says.
#pragma once

#include <string>

namespace zor::testing {

/// For all processes that this one starts from now on: "version=1.0.0.5" is a driver of this
/// version, "noversion" one without; "other" is another driver, "none" is no driver; "locator",
/// "connect", "blanket" and "query" are steps that are refused, "hang" never comes to an end.
void PlantWmi(const std::wstring& what);

/// The test program's main() when it was started as one of doctor's processes.
int RunPlantedProbe(int count, char** words);

/// The test program's main() when it was started to take the notification pipe's name: says
/// "squatting" and stays until it is ended.
int Squat();

}  // namespace zor::testing
