#pragma once

#include <cstdint>
#include <memory>

#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUseToolRuntime/Actions/CursorPresenter.h"
#include "ComputerUseToolRuntime/Service/OperationSerializationGate.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"

namespace tavik {

/// Lets the cursor stand where an action is about to happen, and never holds the
/// action up for longer than a glide may take. Does nothing without a presenter.
/// Any thread.
class InteractionCursor {
 public:
  static constexpr const char* gateKey = "cursor-overlay";
  static constexpr Duration longestGlide = milliseconds(1200);

  /// `presenter` may be null; it outlives this object.
  InteractionCursor(CursorPresenter* presenter, ToolSession& session, MainQueue& mainQueue, Scheduler& scheduler);

  /// Moves the cursor above the session's window and waits for its arrival, one
  /// caller at a time. Throws `CancellationError`.
  void prepareForInteraction(Point at);
  void showClick(std::int64_t count);
  void moveDuringDrag(Point to);
  /// Takes it off the screen; whoever waits for its arrival waits no more.
  void hide();

 private:
  struct Glide {
    Completion<Unit> arrived;
  };

  void prepareForInteractionUnserialized(Point at);
  void begin(const std::shared_ptr<Glide>& glide, Point to, std::optional<std::uint32_t> aboveWindowID);
  void end(const std::shared_ptr<Glide>& glide);
  std::optional<std::uint32_t> targetWindowID() const;

  CursorPresenter* const presenter_;
  ToolSession& session_;
  MainQueue& mainQueue_;
  Scheduler& scheduler_;
  OperationSerializationGate gate_;
  /// The one that the presenter's handler belongs to. Main thread only.
  std::shared_ptr<Glide> glide_;
};

}  // namespace tavik
