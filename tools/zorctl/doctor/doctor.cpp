#include "tools/zorctl/doctor/doctor.h"

#include "tools/zorctl/console.h"
#include "tools/zorctl/doctor/diagnosis.h"
#include "tools/zorctl/doctor/examination.h"
#include "tools/zorctl/doctor/findings_report.h"

namespace zor::ctl {

ExitStatus RunDoctor(bool json) {
  const auto findings = Diagnose(Examine());
  Print(json ? ToDocument(ToJson(findings)) : ToText(findings));
  return IsHealthy(findings) ? kDone : kUnhealthy;
}

}  // namespace zor::ctl
