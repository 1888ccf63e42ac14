#include "TavikComputerUseBridge/Shell/DoctorCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "ComputerUseContracts/ToolError.h"

namespace tavik {

int DoctorCommand::run(std::vector<DesktopFinding> findings) {
  findings.push_back(examineRuntime());
  for (const DesktopFinding& finding : findings) print(finding);
  const auto broken = std::ranges::count(findings, false, &DesktopFinding::works);
  output_ << '\n' << (broken == 0 ? "Nothing is broken." : fmt::format("Broken: {}.", broken)) << '\n';
  return broken == 0 ? 0 : 1;
}

DesktopFinding DoctorCommand::examineRuntime() {
  DesktopFinding runtime;
  runtime.subject = "request to the runtime";
  try {
    const ComputerUseIPCHealthResponse health = runtime_.health();
    runtime.finding = fmt::format("answered by process {}, which has {} clients", health.runtimePID,
                                  health.activeClientCount.value_or(0));
    runtime.works = health.isHealthy;
    if (runtime.works) return runtime;
    runtime.finding += ", but it says that it is not healthy";
  } catch (const ToolError& error) {
    runtime.finding = error.description();
  }
  runtime.advice =
      "What is broken above has to work first, and both programs belong in one folder. The log says more.";
  return runtime;
}

void DoctorCommand::print(const DesktopFinding& finding) {
  output_ << (finding.works ? "ok      " : "BROKEN  ") << finding.subject << ": " << finding.finding << '\n';
  if (!finding.advice.empty()) output_ << "        " << finding.advice << '\n';
}

}  // namespace tavik
