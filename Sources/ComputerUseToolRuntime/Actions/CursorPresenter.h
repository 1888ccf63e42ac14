#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// When the next interaction may go ahead, as a moving cursor tells it.
enum class CursorNextInteractionTiming { immediate, afterAnimation };

/// The cursor that shows a person where the tool acts. It is never the person's own
/// pointer. Points are global. Main thread only.
class CursorPresenter {
 public:
  using NextInteractionTimingHandler = std::function<void(CursorNextInteractionTiming)>;

  virtual ~CursorPresenter() = default;

  /// False until it was placed or moved for the first time, and after `hide`.
  virtual bool hasPosition() const = 0;
  /// Shows it at the point, above the window; without one above all windows.
  virtual void place(Point at, std::optional<std::uint32_t> aboveWindowID) = 0;
  /// Glides to the point. The handler hears when it is near and when it has arrived;
  /// a later `move` takes the place of one that has not ended.
  virtual void move(Point to, std::optional<std::uint32_t> aboveWindowID) = 0;
  /// An empty handler hears nothing. A handler may set another one while it runs.
  virtual void setNextInteractionTimingHandler(NextInteractionTimingHandler handler) = 0;
  virtual void pulseClick(int count) = 0;
  virtual void beginDrag() = 0;
  virtual void hide() = 0;
};

}  // namespace tavik
