#include "Backends/Linux/Workspace/ActiveWindowKeeper.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "Backends/Linux/Windows/X11Activation.h"
#include "Backends/Linux/Windows/X11EventTaps.h"

namespace tavik {

namespace {

/// Applications take the activation a moment after they were asked to act.
constexpr auto afterglow = std::chrono::milliseconds(500);
/// A change that follows the user's own press within this time is the user's wish.
constexpr auto usersReach = std::chrono::milliseconds(700);

}  // namespace

class ActiveWindowKeeper::Observation : public FrontmostObservation {
 public:
  Observation(ActiveWindowKeeper& keeper, int number) : keeper_(keeper), number_(number) {}
  ~Observation() override {
    std::lock_guard calling(keeper_.calling_);
    std::lock_guard lock(keeper_.mutex_);
    keeper_.handlers_.erase(number_);
  }

 private:
  ActiveWindowKeeper& keeper_;
  const int number_;
};

class ActiveWindowKeeper::Hold : public FrontmostHold {
 public:
  Hold(ActiveWindowKeeper& keeper, std::int32_t pid) : keeper_(keeper), pid_(pid) {}
  ~Hold() override { keeper_.release(pid_); }

 private:
  ActiveWindowKeeper& keeper_;
  const std::int32_t pid_;
};

std::unique_ptr<FrontmostObservation> ActiveWindowKeeper::observe(std::function<void()> handler) {
  listen();
  std::lock_guard lock(mutex_);
  handlers_.emplace(nextHandler_, std::move(handler));
  return std::make_unique<Observation>(*this, nextHandler_++);
}

std::unique_ptr<FrontmostHold> ActiveWindowKeeper::hold(std::int32_t against) {
  listen();
  const auto active = desktop_.activeWindow();
  if (!active || *active == XCB_NONE || pidOfWindow(*active) == against) return nullptr;
  std::lock_guard lock(mutex_);
  Kept& kept = kept_[against];
  ++kept.holders;
  kept.window = *active;
  return std::make_unique<Hold>(*this, against);
}

void ActiveWindowKeeper::release(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  Kept& kept = kept_[pid];
  --kept.holders;
  kept.until = Clock::now() + afterglow;
}

void ActiveWindowKeeper::listen() {
  std::lock_guard starting(starting_);
  if (listener_ && !listener_->hasEnded()) return;
  listener_.reset();
  auto session = X11Session::open();
  if (!session) return;
  activeWindowAtom_ = session->atom("_NET_ACTIVE_WINDOW");
  const auto* input = xcb_get_extension_data(session->connection(), &xcb_input_id);
  if (input && input->present && X11EventTaps::selectRawPresses(*session)) inputOpcode_ = input->major_opcode;
  const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(session->connection(), session->root(), XCB_CW_EVENT_MASK, &mask);
  xcb_flush(session->connection());
  listener_ = std::make_unique<X11EventListener>(
      std::move(session), "active window",
      [this](X11Session& own, const xcb_generic_event_t& event) { receive(own, event); });
}

void ActiveWindowKeeper::receive(X11Session& session, const xcb_generic_event_t& event) {
  const auto type = event.response_type & 0x7f;
  if (type == XCB_GE_GENERIC && inputOpcode_ != 0) {
    const auto& press = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
    if (press.extension != inputOpcode_ || X11EventTaps::isToolDevice(session, press.deviceid)) return;
    std::lock_guard lock(mutex_);
    userActedAt_ = Clock::now();
  } else if (type == XCB_PROPERTY_NOTIFY &&
             reinterpret_cast<const xcb_property_notify_event_t&>(event).atom == activeWindowAtom_) {
    activeWindowChanged();
  }
}

void ActiveWindowKeeper::activeWindowChanged() {
  const xcb_window_t active = desktop_.activeWindow().value_or(XCB_NONE);
  const std::int32_t pid = active == XCB_NONE ? 0 : pidOfWindow(active);
  xcb_window_t toGiveBack = XCB_NONE;
  {
    std::lock_guard lock(mutex_);
    std::erase_if(kept_, [](const auto& entry) {
      return entry.second.holders == 0 && Clock::now() > entry.second.until;
    });
    const auto kept = kept_.find(pid);
    const bool isUsersWish = Clock::now() - userActedAt_ < usersReach;
    if (kept != kept_.end() && !isUsersWish) toGiveBack = kept->second.window;
  }
  if (toGiveBack != XCB_NONE && toGiveBack != active) {
    desktop_.with([&](X11Session& session) {
      requestActivation(session, toGiveBack);
      return true;
    });
  }
  std::lock_guard calling(calling_);
  std::vector<int> numbers;
  {
    std::lock_guard lock(mutex_);
    for (const auto& [number, handler] : handlers_) numbers.push_back(number);
  }
  for (const int number : numbers) {
    std::function<void()> handler;
    {
      std::lock_guard lock(mutex_);
      if (const auto found = handlers_.find(number); found != handlers_.end()) handler = found->second;
    }
    if (handler) handler();
  }
}

std::int32_t ActiveWindowKeeper::pidOfWindow(xcb_window_t window) {
  const auto windows = desktop_.windows().value_or(std::vector<X11Window>{});
  const auto found = std::ranges::find_if(windows, [&](const X11Window& one) { return one.id == window; });
  return found == windows.end() ? 0 : found->pid;
}

}  // namespace tavik
