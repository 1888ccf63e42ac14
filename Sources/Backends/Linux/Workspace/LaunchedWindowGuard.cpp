#include "Backends/Linux/Workspace/LaunchedWindowGuard.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "Backends/Linux/Process/ProcessFiles.h"
#include "Backends/Linux/Windows/X11Activation.h"

namespace tavik {

namespace {

constexpr auto watchTime = std::chrono::seconds(12);
constexpr auto lookInterval = std::chrono::milliseconds(25);
/// A window that becomes active later than this after it appeared, the user chose.
constexpr auto appearanceTime = std::chrono::milliseconds(1500);

}  // namespace

LaunchedWindowGuard::LaunchedWindowGuard(X11Desktop& desktop, DesktopEntryIndex& entries, std::string entryID,
                                         std::string startupID)
    : desktop_(desktop), entries_(entries), entryID_(std::move(entryID)), startupID_(std::move(startupID)) {
  const auto before = glance();
  if (!before) return;
  usersWindow_ = before->active;
  for (xcb_window_t window : before->windows) seen_.emplace(window, Clock::time_point::min());
}

void LaunchedWindowGuard::run(const std::atomic<bool>& isEnding) {
  const auto end = Clock::now() + watchTime;
  while (!isEnding && Clock::now() < end) {
    const auto now = glance();
    if (!now) return;
    noteNewWindows(now->windows);
    if (now->active != XCB_NONE && now->active != usersWindow_) judge(now->active);
    std::this_thread::sleep_for(lookInterval);
  }
}

std::optional<LaunchedWindowGuard::Glance> LaunchedWindowGuard::glance() {
  return desktop_.with([](X11Session& session) {
    const auto active = session.requestProperty(session.root(), "_NET_ACTIVE_WINDOW");
    const auto windows = session.requestProperty(session.root(), "_NET_CLIENT_LIST");
    Glance glance;
    if (const auto number = session.numbers(active); !number.empty()) glance.active = number[0];
    glance.windows = session.numbers(windows);
    return glance;
  });
}

void LaunchedWindowGuard::noteNewWindows(const std::vector<xcb_window_t>& windows) {
  for (xcb_window_t window : windows) seen_.try_emplace(window, Clock::now());
}

/// Only a window of the application that becomes active as it appears took the
/// activation by itself; every other the user chose.
void LaunchedWindowGuard::judge(xcb_window_t active) {
  const auto appeared = seen_.try_emplace(active, Clock::now()).first->second;
  const bool isFresh = appeared != Clock::time_point::min() && Clock::now() - appeared < appearanceTime;
  if (isFresh && isLaunched(active)) {
    giveBackActivation();
  } else {
    usersWindow_ = active;
  }
}

/// By the name of the launch in the process's environment; a process that ran
/// before and only opened the window, by its desktop entry.
bool LaunchedWindowGuard::isLaunched(xcb_window_t id) {
  const auto windows = desktop_.windows().value_or(std::vector<X11Window>{});
  const auto window =
      std::find_if(windows.begin(), windows.end(), [&](const X11Window& one) { return one.id == id; });
  if (window == windows.end()) return false;
  const auto environment = environmentOf(window->pid);
  const std::string assignment = "DESKTOP_STARTUP_ID=" + startupID_;
  if (std::find(environment.begin(), environment.end(), assignment) != environment.end()) return true;
  const auto entries = entries_.entries();
  const DesktopEntry* entry = matchDesktopEntry(*entries, traitsOfProgram(window->pid, &*window));
  return entry != nullptr && entry->id == entryID_;
}

void LaunchedWindowGuard::giveBackActivation() {
  if (usersWindow_ == XCB_NONE) return;
  desktop_.with([&](X11Session& session) {
    requestActivation(session, usersWindow_);
    return true;
  });
}

}  // namespace tavik
