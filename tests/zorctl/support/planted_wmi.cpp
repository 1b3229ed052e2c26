#include "tests/zorctl/support/planted_wmi.h"

#include <windows.h>

#include <array>
#include <cstdio>

#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/pipe_server.h"
#include "tools/zorctl/doctor/probe.h"

namespace zor::testing {
namespace {

constexpr const wchar_t* kVariable = L"ZOR_TEST_WMI";

void Configure(WmiStandIn& wmi, const std::wstring& what) {
  constexpr std::wstring_view kVersion = L"version=";
  const WmiProperty hardware{.text = L"SWC\\VEN_ZOR&CID_APO"};
  if (what.starts_with(kVersion)) {
    wmi.rows.push_back(
        {{L"HardwareID", hardware}, {L"DriverVersion", {.text = what.substr(kVersion.size())}}});
  }
  if (what == L"noversion") wmi.rows.push_back({{L"HardwareID", hardware}, {L"DriverVersion", {}}});
  if (what == L"other") wmi.rows.push_back({{L"HardwareID", {.text = L"PCI\\OTHER"}}});
  if (what == L"locator") wmi.create_locator = kWmiAccessDenied;
  if (what == L"connect") wmi.connect_server = kWmiAccessDenied;
  if (what == L"blanket") wmi.set_blanket = kWmiAccessDenied;
  if (what == L"query") wmi.exec_query = kWmiAccessDenied;
  if (what == L"hang") wmi.while_querying = [] { Sleep(INFINITE); };
}

}  // namespace

void PlantWmi(const std::wstring& what) { SetEnvironmentVariableW(kVariable, what.c_str()); }

int RunPlantedProbe(int count, char** words) {
  std::array<wchar_t, 256> what{};
  GetEnvironmentVariableW(kVariable, what.data(), static_cast<DWORD>(what.size()));
  const Com com;
  WmiStandIn wmi;
  Configure(wmi, what.data());
  return ctl::RunProbe({words + 2, words + count});
}

int Squat() {
  const PipeServer pipe(kNotifyPipe, StayIdle, 4);
  std::puts("squatting");
  std::fflush(stdout);
  Sleep(INFINITE);
  return 0;
}

}  // namespace zor::testing
