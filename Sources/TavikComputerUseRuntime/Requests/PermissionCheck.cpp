#include "TavikComputerUseRuntime/Requests/PermissionCheck.h"

#include <algorithm>
#include <array>

#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr const char* pendingText =
    "Computer Use permissions are still pending. The Tavik Computer Use authorization window is open, and the user "
    "has not finished granting Accessibility and Screen Recording permissions. Wait briefly, then call this same "
    "Computer Use tool again. Do not end your turn yet, and do not switch apps, activate other apps, or use "
    "screenshot or GUI automation commands while permission is pending.";
constexpr const char* notGrantedWords = "Computer Use permissions are not granted";

/// How the system reports the refusal, in English and in Chinese.
constexpr std::array screenRecordingDeniedWords = {"SCStreamErrorDomain Code=-3801",
                                                   "用户拒绝了应用程序、窗口、显示器捕捉的TCC"};

void logGate(LogLevel level, const std::string& requestType, std::int32_t senderPID, const char* outcome,
             const char* action) {
  TavikComputerUseLogger::log(
      level, LogCategory::permissions, "request_gate_finished",
      {{"requestType", requestType}, {"senderPid", senderPID}, {"outcome", outcome}, {"action", action}});
}

}  // namespace

bool PermissionCheck::isNeededFor(const std::string& requestType) {
  return requestType == ComputerUseIPCAppPerformActionRequest::requestType ||
         requestType == ComputerUseIPCAppGetStateRequest::requestType ||
         requestType == ComputerUseIPCEventStreamStartRequest::requestType;
}

std::optional<ToolResult> PermissionCheck::refusal(ComputerUseRuntimePermissionGateOutcome outcome,
                                                   const std::string& requestType, std::int32_t senderPID) {
  using Outcome = ComputerUseRuntimePermissionGateOutcome;
  switch (outcome) {
    case Outcome::granted:
      logGate(LogLevel::debug, requestType, senderPID, "granted", "continue");
      mainQueue_.sync([this] { flow_.dismissPermissionUIIfNeeded(); });
      return std::nullopt;
    case Outcome::pending:
      logGate(LogLevel::warning, requestType, senderPID, "pending", "return_pending");
      return ToolResult::error(pendingText);
    case Outcome::notGranted:
      logGate(LogLevel::warning, requestType, senderPID, "not_granted", "return_not_granted");
      return ToolResult::error(notGrantedText());
  }
  return std::nullopt;
}

/// Where no window of this program leads the user, the words have to.
std::string PermissionCheck::notGrantedText() {
  const std::string advice = mainQueue_.sync([this] {
    return userInterface_.hasPermissionsWindow() ? std::string() : permissions_.missingGrantAdvice();
  });
  return advice.empty() ? notGrantedWords : notGrantedWords + (". " + advice);
}

bool PermissionCheck::isScreenRecordingDeniedText(const std::string& text) {
  return std::ranges::any_of(screenRecordingDeniedWords,
                             [&](const char* words) { return text.find(words) != std::string::npos; });
}

std::optional<std::string> PermissionCheck::screenRecordingDeniedError(const ToolResult& result) {
  for (const ToolResultContent& content : result.content) {
    if (content.isText() && isScreenRecordingDeniedText(content.text())) return content.text();
  }
  return std::nullopt;
}

void PermissionCheck::handleScreenRecordingDeniedIfNeeded(const ToolResult& result) {
  const auto denied = screenRecordingDeniedError(result);
  if (!denied) return;
  mainQueue_.sync([&] {
    TavikComputerUseLogger::error(LogCategory::permissions, "screen_recording_denied_result",
                                  {{"permissionSummary", permissionState_.diagnosticSummary()}});
    permissionState_.markScreenRecordingDeniedFromCaptureFailure("computerUseTool", *denied);
    flow_.showPermissionsWindow("screenRecordingDeniedResult");
  });
}

}  // namespace tavik
