#include "Backends/Linux/Windows/X11WindowCapture.h"

#include <xcb/composite.h>
#include <xcb/shape.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "Backends/Linux/Windows/X11WindowList.h"

namespace tavik {

namespace {

using Clock = std::chrono::steady_clock;

/// Applications paint within 30 ms; one that is busy may need longer.
constexpr auto longestPaint = std::chrono::milliseconds(400);
constexpr auto paintPollInterval = std::chrono::milliseconds(4);

/// A name for a window's content; it is given back to the server at the end.
class WindowPixmap {
 public:
  /// Fails when the window is not redirected or not shown.
  WindowPixmap(X11Session& session, xcb_window_t window)
      : session_(session), id_(xcb_generate_id(session.connection())) {
    auto cookie = xcb_composite_name_window_pixmap_checked(session.connection(), window, id_);
    XCBReply<xcb_generic_error_t> error(xcb_request_check(session.connection(), cookie));
    isValid_ = error == nullptr;
  }
  ~WindowPixmap() {
    if (isValid_) xcb_free_pixmap(session_.connection(), id_);
  }
  WindowPixmap(const WindowPixmap&) = delete;
  WindowPixmap& operator=(const WindowPixmap&) = delete;

  bool isValid() const { return isValid_; }
  xcb_pixmap_t id() const { return id_; }

 private:
  X11Session& session_;
  xcb_pixmap_t id_;
  bool isValid_ = false;
};

/// A window on the root with its border, in root coordinates.
PixelRect outerRect(const xcb_get_geometry_reply_t& geometry) {
  int border = geometry.border_width;
  return {geometry.x, geometry.y, geometry.width + 2 * border, geometry.height + 2 * border};
}

PixelRect intersection(PixelRect a, PixelRect b) {
  int left = std::max(a.x, b.x), top = std::max(a.y, b.y);
  int right = std::min(a.x + a.width, b.x + b.width), bottom = std::min(a.y + a.height, b.y + b.height);
  return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

PixelRect pixelsOf(const Rect& rect) {
  return {static_cast<int>(std::lround(rect.minX())), static_cast<int>(std::lround(rect.minY())),
          static_cast<int>(std::lround(rect.size.width)), static_cast<int>(std::lround(rect.size.height))};
}

std::optional<PixelRect> frameOf(X11Session& session, xcb_window_t toplevel) {
  auto geometry = session.reply(xcb_get_geometry_reply, xcb_get_geometry(session.connection(), toplevel));
  if (!geometry) return std::nullopt;
  return outerRect(*geometry);
}

}  // namespace

std::optional<Image> X11WindowCapture::windowImage(xcb_window_t window) {
  const Clock::time_point deadline = Clock::now() + longestPaint;
  while (true) {
    bool isLast = Clock::now() >= deadline;
    std::optional<Step> step =
        desktop_.with([&](X11Session& session) { return takeStep(session, window, isLast); });
    if (!step) return std::nullopt;
    if (!step->isWaiting) return std::move(step->image);
    std::this_thread::sleep_for(paintPollInterval);
  }
}

std::optional<Image> X11WindowCapture::screenImage(PixelRect area) {
  auto image = desktop_.with([&](X11Session& session) -> std::optional<Image> {
    startAfresh();
    PixelRect screen{0, 0, session.screen().width_in_pixels, session.screen().height_in_pixels};
    return reader_.read(session, session.root(), intersection(area, screen));
  });
  return image.value_or(std::nullopt);
}

X11WindowCapture::Step X11WindowCapture::takeStep(X11Session& session, xcb_window_t id, bool isLast) {
  startAfresh();
  if (!session.extensions().composite) return {};
  std::optional<X11Window> window = readWindow(session, id);
  if (!window || !window->isOnScreen()) return {};
  notePaints(session);

  if (!awaited_.contains(window->toplevel)) {
    if (auto image = readContent(session, *window)) return {.isWaiting = false, .image = std::move(image)};
    if (!redirect(session, *window)) return {};
  }
  if (auto awaited = awaited_.find(window->toplevel); awaited != awaited_.end()) {
    if (!awaited->second.unpainted.isEmpty()) {
      if (!isLast) return {.isWaiting = true, .image = {}};
      // Whoever paints at all has been told what to paint. Whoever does not is hung,
      // or has nothing to add to the background.
      if (!awaited->second.paintedAnything && !awaited->second.foreign.isEmpty()) return {};
    }
    stopAwaiting(session, window->toplevel);
  }
  return {.isWaiting = false, .image = readContent(session, *window)};
}

/// Works as soon as anybody has redirected the window: this process, or a window
/// manager that composes the screen.
std::optional<Image> X11WindowCapture::readContent(X11Session& session, const X11Window& window) {
  WindowPixmap pixmap(session, window.toplevel);
  if (!pixmap.isValid()) return std::nullopt;
  std::optional<PixelRect> frame = frameOf(session, window.toplevel);
  if (!frame) return std::nullopt;
  PixelRect area = pixelsOf(window.bounds);
  area.x -= frame->x;
  area.y -= frame->y;
  return reader_.read(session, pixmap.id(), intersection(area, {0, 0, frame->width, frame->height}));
}

bool X11WindowCapture::redirect(X11Session& session, const X11Window& window) {
  std::optional<PixelRect> frame = frameOf(session, window.toplevel);
  if (!frame) return false;
  AwaitedPaint paint;
  paint.unpainted = coveredPart(session, window, *frame);
  bool mustWait = !paint.unpainted.isEmpty() && session.extensions().damage;
  if (mustWait) {
    paint.damage = xcb_generate_id(session.connection());
    xcb_damage_create(session.connection(), paint.damage, window.toplevel,
                      XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
  }
  auto cookie = xcb_composite_redirect_window_checked(session.connection(), window.toplevel,
                                                      XCB_COMPOSITE_REDIRECT_AUTOMATIC);
  XCBReply<xcb_generic_error_t> refusal(xcb_request_check(session.connection(), cookie));
  paint.foreign = paint.unpainted;
  paint.redirection = cookie.sequence;
  if (mustWait) awaited_.insert_or_assign(window.toplevel, paint);
  if (refusal) stopAwaiting(session, window.toplevel);
  return refusal == nullptr;
}

/// What of the window's own area is under other windows or beyond the screen's
/// edge, in coordinates of its frame.
PixelRegion X11WindowCapture::coveredPart(X11Session& session, const X11Window& window, PixelRect frame) {
  xcb_connection_t* connection = session.connection();
  struct Above {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_shape_get_rectangles_cookie_t shape;
  };
  std::vector<Above> above;
  bool isAbove = false;
  for (xcb_window_t toplevel : childrenOfRoot(session)) {
    if (isAbove) {
      above.push_back(
          {xcb_get_window_attributes(connection, toplevel), xcb_get_geometry(connection, toplevel),
           session.extensions().shape ? xcb_shape_get_rectangles(connection, toplevel, XCB_SHAPE_SK_BOUNDING)
                                      : xcb_shape_get_rectangles_cookie_t{}});
    }
    isAbove = isAbove || toplevel == window.toplevel;
  }

  PixelRegion visible(intersection(
      pixelsOf(window.bounds), {0, 0, session.screen().width_in_pixels, session.screen().height_in_pixels}));
  for (const Above& other : above) {
    auto attributes = session.reply(xcb_get_window_attributes_reply, other.attributes);
    auto geometry = session.reply(xcb_get_geometry_reply, other.geometry);
    XCBReply<xcb_shape_get_rectangles_reply_t> shape;
    if (session.extensions().shape) shape = session.reply(xcb_shape_get_rectangles_reply, other.shape);
    if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
    if (attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) continue;
    if (!shape) {
      visible.subtract(outerRect(*geometry));
      continue;
    }
    int x = geometry->x + geometry->border_width, y = geometry->y + geometry->border_width;
    const xcb_rectangle_t* rectangles = xcb_shape_get_rectangles_rectangles(shape.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(shape.get()); ++i) {
      visible.subtract({x + rectangles[i].x, y + rectangles[i].y, rectangles[i].width, rectangles[i].height});
    }
  }
  PixelRegion covered(pixelsOf(window.bounds));
  covered.subtract(visible);
  covered.translate(-frame.x, -frame.y);
  return covered;
}

/// Takes every event that has arrived, so that none pile up.
void X11WindowCapture::notePaints(X11Session& session) {
  while (XCBReply<xcb_generic_event_t> event{xcb_poll_for_event(session.connection())}) {
    int type = event->response_type & ~0x80;
    if (!session.extensions().damage || type != session.extensions().damageFirstEvent + XCB_DAMAGE_NOTIFY)
      continue;
    const auto& damage = reinterpret_cast<const xcb_damage_notify_event_t&>(*event);
    auto awaited = awaited_.find(damage.drawable);
    if (awaited == awaited_.end()) continue;
    // The window manager's own paint, of the title bar, is outside and does not count.
    PixelRect painted{damage.area.x, damage.area.y, damage.area.width, damage.area.height};
    if (!awaited->second.unpainted.intersects(painted)) continue;
    // While it redirects, the server fills what it uncovers with the background that
    // the window may have, and only then tells the application to paint.
    if (event->full_sequence == awaited->second.redirection) {
      awaited->second.foreign.subtract(painted);
      continue;
    }
    awaited->second.paintedAnything = true;
    awaited->second.unpainted.subtract(painted);
  }
}

void X11WindowCapture::stopAwaiting(X11Session& session, xcb_window_t toplevel) {
  auto awaited = awaited_.find(toplevel);
  if (awaited == awaited_.end()) return;
  xcb_damage_destroy(session.connection(), awaited->second.damage);
  awaited_.erase(awaited);
}

/// What was made on a server that has gone away is gone too.
void X11WindowCapture::startAfresh() {
  if (generation_ == desktop_.generation()) return;
  generation_ = desktop_.generation();
  reader_.forgetSession();
  awaited_.clear();
}

}  // namespace tavik
