#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"

#include <algorithm>
#include <utility>

namespace tavik {

InteractionCursor::InteractionCursor(CursorPresenter* presenter, ToolSession& session, MainQueue& mainQueue,
                                     Scheduler& scheduler)
    : presenter_(presenter), session_(session), mainQueue_(mainQueue), scheduler_(scheduler), gate_(scheduler) {}

void InteractionCursor::prepareForInteraction(Point at) {
  if (!presenter_) return;
  gate_.withLock(gateKey, [&] { prepareForInteractionUnserialized(at); });
}

void InteractionCursor::prepareForInteractionUnserialized(Point at) {
  const auto glide = std::make_shared<Glide>(Completion<Unit>(scheduler_));
  mainQueue_.async([this, at, glide, window = targetWindowID()] {
    if (presenter_->hasPosition()) return begin(glide, at, window);
    presenter_->place(at, window);
    glide->arrived.resume();
  });
  glide->arrived.waitOrCancel("the cursor's arrival");
}

/// The first of arrival, time-out and `hide` ends the wait. A glide that another one
/// replaced never arrives, so its time-out ends it.
void InteractionCursor::begin(const std::shared_ptr<Glide>& glide, Point to,
                              std::optional<std::uint32_t> aboveWindowID) {
  glide_ = glide;
  presenter_->setNextInteractionTimingHandler([this, glide](CursorNextInteractionTiming) { end(glide); });
  presenter_->move(to, aboveWindowID);
  mainQueue_.asyncAfter(longestGlide, [this, glide] { end(glide); });
}

void InteractionCursor::end(const std::shared_ptr<Glide>& glide) {
  if (!glide->arrived.resume() || glide_ != glide) return;
  glide_.reset();
  presenter_->setNextInteractionTimingHandler({});
}

void InteractionCursor::showClick(std::int64_t count) {
  if (!presenter_) return;
  mainQueue_.async([presenter = presenter_, count = static_cast<int>(std::clamp<std::int64_t>(count, 1, 100))] {
    presenter->pulseClick(count);
  });
}

void InteractionCursor::moveDuringDrag(Point to) {
  if (!presenter_) return;
  mainQueue_.async([presenter = presenter_, to, window = targetWindowID()] {
    presenter->move(to, window);
    presenter->beginDrag();
  });
}

void InteractionCursor::hide() {
  if (!presenter_) return;
  mainQueue_.async([this] {
    presenter_->hide();
    if (glide_) end(std::shared_ptr(glide_));
  });
}

std::optional<std::uint32_t> InteractionCursor::targetWindowID() const {
  const auto session = session_.currentSession();
  return session ? session->targetWindowID : std::nullopt;
}

}  // namespace tavik
