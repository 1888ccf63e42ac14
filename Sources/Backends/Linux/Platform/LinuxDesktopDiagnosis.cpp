#include "Backends/Linux/Platform/LinuxDesktopDiagnosis.h"

#include <unistd.h>
#include <xcb/shape.h>
#include <xcb/xinput.h>
// The header of xcb's keyboard extension has a member of that name.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xcb/xtest.h>

#include <cstdlib>
#include <utility>

#include "Backends/Linux/Bus/BusConnection.h"
#include "Backends/Linux/Transport/RequestBusAddress.h"
#include "Backends/Linux/Transport/RuntimeLauncher.h"
#include "Backends/Linux/Windows/X11Desktop.h"

namespace tavik {

namespace {

constexpr auto answerTimeout = std::chrono::seconds(5);

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

DesktopProbe fine(std::string name, std::string detail) {
  return {
      .name = std::move(name), .ok = true, .isEssential = true, .detail = std::move(detail), .remedy = {}};
}

DesktopProbe wrong(std::string name, std::string detail, std::string remedy) {
  return {.name = std::move(name),
          .ok = false,
          .isEssential = true,
          .detail = std::move(detail),
          .remedy = std::move(remedy)};
}

/// Something that the rest works without, in part.
DesktopProbe inessential(DesktopProbe probe) {
  probe.isEssential = false;
  return probe;
}

DesktopProbe probeDisplay(X11Desktop& desktop) {
  const std::string name = "X display";
  const std::string display = environment("DISPLAY");
  auto size = desktop.with([](X11Session& session) {
    return std::to_string(session.screen().width_in_pixels) + "x" +
           std::to_string(session.screen().height_in_pixels);
  });
  if (size) {
    if (environment("WAYLAND_DISPLAY").empty()) return fine(name, display + ", " + *size);
    return fine(name, display + ", " + *size +
                          "; this is a Wayland session, so windows of applications that " +
                          "do not use X have no picture and no place");
  }
  if (display.empty()) {
    return wrong(name, "DISPLAY is not set",
                 "Start the host in a graphical session, or run it inside scripts/with-desktop.");
  }
  return wrong(name, "no X server answers at " + display,
               "Check that the session runs and that this user may use it (xhost, XAUTHORITY).");
}

DesktopProbe probeWindowManager(X11Desktop& desktop) {
  const std::string name = "window manager";
  auto manager = desktop.with([](X11Session& session) -> std::string {
    std::vector<std::uint32_t> check = session.numbers(session.root(), "_NET_SUPPORTING_WM_CHECK");
    if (check.empty()) return "";
    std::string title = session.text(session.requestProperty(check[0], "_NET_WM_NAME"));
    return title.empty() ? "nameless" : title;
  });
  if (manager && !manager->empty()) return fine(name, *manager);
  return wrong(name, manager ? "none announces itself (EWMH)" : "unknown without an X display",
               "Run a window manager that follows EWMH, such as openbox, xfwm4, KWin or Mutter.");
}

DesktopProbe probeComposite(X11Desktop& desktop) {
  const std::string name = "window pictures";
  auto extensions = desktop.with([](X11Session& session) { return session.extensions(); });
  if (!extensions) return wrong(name, "unknown without an X display", "Repair the X display first.");
  if (!extensions->composite) {
    return wrong(name, "the X server has no Composite extension",
                 "Enable the Composite extension in the X server; without it applications are neither read nor operated.");
  }
  std::string detail = "Composite";
  if (extensions->damage) detail += ", Damage";
  if (extensions->sharedMemory) detail += ", shared memory";
  return fine(name, detail);
}

DesktopProbe probeInput(X11Desktop& desktop) {
  const std::string name = "input";
  const auto missing = desktop.with([](X11Session& session) {
    std::string names;
    const std::pair<xcb_extension_t*, const char*> needed[] = {{&xcb_input_id, "XInputExtension"},
                                                               {&xcb_test_id, "XTEST"},
                                                               {&xcb_xkb_id, "XKEYBOARD"},
                                                               {&xcb_shape_id, "SHAPE"}};
    for (const auto& [extension, title] : needed) {
      const auto* found = xcb_get_extension_data(session.connection(), extension);
      if (!found || !found->present) names += (names.empty() ? "" : ", ") + std::string(title);
    }
    return names;
  });
  if (!missing) return wrong(name, "unknown without an X display", "Repair the X display first.");
  if (missing->empty()) return fine(name, "keys, clicks and wheels reach windows behind the user's");
  return wrong(name, "the X server lacks " + *missing,
               "Enable them in the X server; without them only elements' own actions work in some applications.");
}

DesktopProbe probeSessionBus(BusConnection& bus) {
  const std::string name = "session bus";
  if (bus.isConnected()) return fine(name, "connected as " + bus.uniqueName());
  return wrong(
      name, "no session bus answers",
      "Start the host in a desktop session, or set DBUS_SESSION_BUS_ADDRESS (dbus-run-session makes one).");
}

std::string accessibilityBusAddress(BusConnection& bus) {
  BusReply reply = bus.call(
      BusMessage::methodCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"), answerTimeout);
  return reply.read().string();
}

DesktopProbe probeAccessibilityBus(BusConnection& bus) {
  const std::string name = "accessibility bus";
  const std::string address = accessibilityBusAddress(bus);
  if (address.empty()) {
    return wrong(name, "no accessibility service answers on the session bus", "Install at-spi2-core.");
  }
  BusConnection accessibility([address] { return address; });
  if (!accessibility.isConnected()) {
    return wrong(name, "nothing answers at " + address,
                 "Log in again, so that the accessibility bus starts anew.");
  }
  return fine(name, "connected as " + accessibility.uniqueName());
}

DesktopProbe probeAccessibilityStatus(BusConnection& bus) {
  const std::string name = "accessibility enabled";
  BusMessage request =
      BusMessage::methodCall("org.a11y.Bus", "/org/a11y/bus", DBUS_INTERFACE_PROPERTIES, "Get");
  BusWriter(request).string("org.a11y.Status").string("IsEnabled");
  BusReply reply = bus.call(request, answerTimeout);
  if (!reply.ok()) return wrong(name, "the accessibility service does not say", "Install at-spi2-core.");
  if (reply.read().inside().boolean()) return fine(name, "applications are told to offer their elements");
  return wrong(
      name, "applications that start now may not offer their elements (Qt, Chromium)",
      "gsettings set org.gnome.desktop.interface toolkit-accessibility true, then restart the applications; "
      "or start them with QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 (Qt) and --force-renderer-accessibility "
      "(Chromium).");
}

/// The two that the runtime asks for before it reads or operates an application.
DesktopProbe probePermissions(const DesktopProbe& accessibilityBus, const DesktopProbe& pictures) {
  const std::string name = "permissions";
  const auto granted = [](const DesktopProbe& probe) { return probe.ok ? "granted" : "missing"; };
  const std::string detail = std::string("accessibility ") + granted(accessibilityBus) + ", window pictures " + granted(pictures);
  if (accessibilityBus.ok && pictures.ok) return fine(name, detail);
  return wrong(name, detail, "Repair what is broken above; until then applications are neither read nor operated.");
}

DesktopProbe probeRuntime(BusConnection& bus) {
  const std::string name = "runtime";
  if (!bus.isConnected())
    return wrong(name, "unknown without a session bus", "Repair the session bus first.");
  if (std::optional<BusCredentials> owner = bus.credentials(requestBus::name)) {
    return fine(name, "runs as process " + std::to_string(owner->pid));
  }
  if (RuntimeLauncher::canBusStart(bus))
    return fine(name, "not running; the session bus starts it when needed");
  const std::string program = RuntimeLauncher::siblingRuntime().string();
  if (access(program.c_str(), X_OK) == 0)
    return fine(name, "not running; is started when needed from " + program);
  return wrong(name, "there is no " + program + " and the session bus does not know it",
               "Install the runtime beside this program.");
}

}  // namespace

std::vector<DesktopProbe> diagnoseLinuxDesktop() {
  X11Desktop desktop;
  BusConnection sessionBus(BusConnection::sessionBusAddress());
  const DesktopProbe pictures = probeComposite(desktop);
  const DesktopProbe accessibilityBus = probeAccessibilityBus(sessionBus);
  return {probeDisplay(desktop),
          inessential(probeWindowManager(desktop)),
          pictures,
          inessential(probeInput(desktop)),
          probeSessionBus(sessionBus),
          accessibilityBus,
          inessential(probeAccessibilityStatus(sessionBus)),
          probePermissions(accessibilityBus, pictures),
          probeRuntime(sessionBus)};
}

}  // namespace tavik
