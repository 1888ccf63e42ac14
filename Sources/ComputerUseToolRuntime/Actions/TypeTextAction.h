#pragma once

#include <cstdint>

#include "AccessibilitySupport/Input/TypedPiece.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/KeyboardInput.h"
#include "ComputerUseToolRuntime/Actions/TypedTextRepair.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"

namespace tavik {

/// Types a text into whatever has the focus in the application, behind or in front,
/// and puts right in a one-line field what the keys did not bring about. Where the
/// platform asks for it, text that no key gives goes in by the accessibility
/// interface, in its place. Any thread.
class TypeTextAction {
 public:
  struct Services {
    KeyboardInput& keyboard;
    SystemFocusStealPreventer& focusStealPreventer;
    AXWrapper& access;
    WorkspacePort& workspace;
    ToolSession& session;
    Scheduler& scheduler;
  };
  explicit TypeTextAction(const Services& services)
      : services_(services), reader_(services.access), repair_(services.access, services.scheduler) {}

  /// What the keyboard cannot do is an error result. Throws `CancellationError`; what
  /// was typed before stays.
  ToolResult perform(std::int32_t pid, const TypeTextParams& params);

 private:
  /// What is to be typed, and what of it the keys, or the application, can produce.
  struct Typing {
    std::vector<TypedPiece> pieces;
    std::string mappedText;
  };
  std::optional<Typing> plan(const std::string& text);
  /// Gives the pieces that the application did not take.
  std::vector<std::string> type(std::int32_t pid, const std::vector<TypedPiece>& pieces,
                                std::uint64_t interKeyDelayMs);
  bool insertWithoutKeys(std::int32_t pid, const std::string& text);
  bool nowHolds(std::int32_t pid, const std::vector<std::string>& texts);
  AXElement typingTarget(std::int32_t pid);
  std::uint64_t interKeyDelayMs(std::int32_t pid, const std::string& text);
  bool isSpreadsheet(std::int32_t pid);

  const Services services_;
  const LiveElementReader reader_;
  TypedTextRepair repair_;
};

}  // namespace tavik
