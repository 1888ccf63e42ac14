#include "TavikComputerUseBridge/Shell/DoctorCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "ComputerUseContracts/ToolError.h"

namespace tavik {
namespace {

using Verdict = DesktopFinding::Verdict;

const char* mark(Verdict verdict) {
  switch (verdict) {
    case Verdict::works:
      return "ok     ";
    case Verdict::limited:
      return "limited";
    case Verdict::broken:
      break;
  }
  return "BROKEN ";
}

}  // namespace

int DoctorCommand::run(std::vector<DesktopFinding> findings) {
  findings.push_back(examineRuntime());
  for (const DesktopFinding& finding : findings) print(finding);
  const auto broken = std::ranges::count(findings, Verdict::broken, &DesktopFinding::verdict);
  output_ << '\n' << (broken == 0 ? "Nothing is broken." : fmt::format("Broken: {}.", broken)) << '\n';
  return broken == 0 ? 0 : 1;
}

DesktopFinding DoctorCommand::examineRuntime() {
  DesktopFinding runtime;
  runtime.subject = "Runtime";
  try {
    const ComputerUseIPCHealthResponse health = runtime_.health();
    runtime.finding = fmt::format("answers, process {}, {} clients in the last minutes", health.runtimePID,
                                  health.activeClientCount.value_or(0));
    if (health.isHealthy) return runtime;
    runtime.finding += ", but says that it is not healthy";
  } catch (const ToolError& error) {
    runtime.finding = error.description();
  }
  runtime.verdict = Verdict::broken;
  runtime.advice =
      "Both programs belong in one folder, and what is broken above has to work first. Then call again; the "
      "log "
      "says more.";
  return runtime;
}

void DoctorCommand::print(const DesktopFinding& finding) {
  output_ << mark(finding.verdict) << "  " << finding.subject << ": " << finding.finding << '\n';
  if (!finding.advice.empty()) output_ << "           " << finding.advice << '\n';
}

}  // namespace tavik
