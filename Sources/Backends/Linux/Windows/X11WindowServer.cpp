#include "Backends/Linux/Windows/X11WindowServer.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cmath>

#include "Backends/Linux/Windows/X11WindowList.h"

namespace tavik {

namespace {

WindowRecord recordOf(const X11Window& window) {
  WindowRecord record;
  record.windowID = window.id;
  if (window.pid > 0) record.ownerPID = window.pid;
  if (!window.title.empty()) record.name = window.title;
  record.bounds = window.bounds;
  record.isOnScreen = window.isOnScreen();
  record.layer = layerOf(window);
  return record;
}

bool isWanted(const X11Window& window, std::uint32_t options) {
  if ((options & WindowListOption::onScreenOnly) != 0 && !window.isOnScreen()) return false;
  if ((options & WindowListOption::excludeDesktopElements) != 0 && layerOf(window) < 0) return false;
  return true;
}

/// The part of the root window that docks leave free on the present workspace;
/// the infinite rectangle where the window manager does not say.
Rect workArea(X11Session& session) {
  std::vector<std::uint32_t> areas = session.numbers(session.root(), "_NET_WORKAREA");
  std::vector<std::uint32_t> current = session.numbers(session.root(), "_NET_CURRENT_DESKTOP");
  std::size_t first = current.empty() ? 0 : std::size_t{current[0]} * 4;
  if (areas.size() < first + 4) return Rect::infinite();
  return {{static_cast<double>(areas[first]), static_cast<double>(areas[first + 1])},
          {static_cast<double>(areas[first + 2]), static_cast<double>(areas[first + 3])}};
}

ScreenRecord screenRecord(Rect frame, const Rect& workArea) {
  Rect visible = workArea.isInfinite() ? frame : frame.intersection(workArea);
  return {.frame = frame, .visibleFrame = visible.isEmpty() ? frame : visible, .scaleFactor = 1};
}

std::vector<ScreenRecord> readMonitors(X11Session& session, const Rect& workArea) {
  std::vector<ScreenRecord> records;
  if (!session.extensions().randr) return records;
  auto monitors = session.reply(xcb_randr_get_monitors_reply,
                                xcb_randr_get_monitors(session.connection(), session.root(), 1));
  if (!monitors) return records;
  auto monitor = xcb_randr_get_monitors_monitors_iterator(monitors.get());
  for (; monitor.rem > 0; xcb_randr_monitor_info_next(&monitor)) {
    const xcb_randr_monitor_info_t& info = *monitor.data;
    ScreenRecord record = screenRecord({{static_cast<double>(info.x), static_cast<double>(info.y)},
                                        {static_cast<double>(info.width), static_cast<double>(info.height)}},
                                       workArea);
    records.insert(info.primary != 0 ? records.begin() : records.end(), record);
  }
  return records;
}

}  // namespace

std::optional<std::vector<WindowRecord>> X11WindowServer::copyWindowInfo(std::uint32_t options,
                                                                         std::uint32_t relativeToWindow) {
  std::optional<std::vector<X11Window>> windows = desktop_.windows();
  if (!windows) return std::nullopt;
  std::vector<WindowRecord> records;
  for (const X11Window& window : *windows) {
    if (relativeToWindow != 0 && window.id != relativeToWindow) continue;
    if (isWanted(window, options)) records.push_back(recordOf(window));
  }
  return records;
}

std::optional<Image> X11WindowServer::createWindowImage(std::uint32_t windowID) {
  return capture_.windowImage(windowID);
}

std::optional<Image> X11WindowServer::createScreenImage(Rect area) {
  constexpr double farthest = 32767;
  double left = std::clamp(std::floor(area.minX()), -farthest, farthest);
  double top = std::clamp(std::floor(area.minY()), -farthest, farthest);
  double right = std::clamp(std::ceil(area.maxX()), left, farthest);
  double bottom = std::clamp(std::ceil(area.maxY()), top, farthest);
  return capture_.screenImage({static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
                               static_cast<int>(bottom - top)});
}

std::vector<ScreenRecord> X11WindowServer::screens() {
  auto records = desktop_.with([](X11Session& session) {
    Rect area = workArea(session);
    std::vector<ScreenRecord> monitors = readMonitors(session, area);
    if (!monitors.empty()) return monitors;
    const xcb_screen_t& screen = session.screen();
    Rect whole{{0, 0},
               {static_cast<double>(screen.width_in_pixels), static_cast<double>(screen.height_in_pixels)}};
    return std::vector{screenRecord(whole, area)};
  });
  return records.value_or(std::vector<ScreenRecord>{});
}

Point X11WindowServer::mouseLocation() {
  auto location = desktop_.with([](X11Session& session) {
    auto pointer =
        session.reply(xcb_query_pointer_reply, xcb_query_pointer(session.connection(), session.root()));
    if (!pointer) return Point{};
    return Point{static_cast<double>(pointer->root_x), static_cast<double>(pointer->root_y)};
  });
  return location.value_or(Point{});
}

}  // namespace tavik
