#include "Backends/Linux/Windows/X11WindowList.h"

#include <xcb/res.h>

#include <algorithm>
#include <map>

namespace tavik {

namespace {

constexpr const char* atomNames[] = {"_NET_CLIENT_LIST_STACKING",
                                     "_NET_CLIENT_LIST",
                                     "_NET_WM_NAME",
                                     "WM_NAME",
                                     "WM_CLASS",
                                     "_NET_WM_PID",
                                     "_GTK_APPLICATION_ID",
                                     "_GTK_FRAME_EXTENTS",
                                     "_NET_WM_STATE",
                                     "_NET_WM_STATE_HIDDEN",
                                     "_NET_WM_STATE_SKIP_TASKBAR",
                                     "_NET_WM_WINDOW_TYPE"};

struct TypeName {
  const char* atom;
  X11WindowType type;
};

constexpr TypeName typeNames[] = {
    {"_NET_WM_WINDOW_TYPE_NORMAL", X11WindowType::normal},
    {"_NET_WM_WINDOW_TYPE_DIALOG", X11WindowType::dialog},
    {"_NET_WM_WINDOW_TYPE_UTILITY", X11WindowType::utility},
    {"_NET_WM_WINDOW_TYPE_DESKTOP", X11WindowType::desktop},
    {"_NET_WM_WINDOW_TYPE_DOCK", X11WindowType::dock},
    {"_NET_WM_WINDOW_TYPE_TOOLBAR", X11WindowType::toolbar},
    {"_NET_WM_WINDOW_TYPE_SPLASH", X11WindowType::splash},
    {"_NET_WM_WINDOW_TYPE_MENU", X11WindowType::menu},
    {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", X11WindowType::menu},
    {"_NET_WM_WINDOW_TYPE_POPUP_MENU", X11WindowType::menu},
    {"_NET_WM_WINDOW_TYPE_COMBO", X11WindowType::menu},
    {"_NET_WM_WINDOW_TYPE_TOOLTIP", X11WindowType::tooltip},
    {"_NET_WM_WINDOW_TYPE_DND", X11WindowType::tooltip},
    {"_NET_WM_WINDOW_TYPE_NOTIFICATION", X11WindowType::notification},
};

void preloadAtoms(X11Session& session) {
  std::vector<const char*> names(std::begin(atomNames), std::end(atomNames));
  for (const TypeName& name : typeNames) names.push_back(name.atom);
  session.preloadAtoms(names);
}

/// The old window properties are Latin-1.
std::string utf8FromLatin1(const std::string& text) {
  std::string result;
  for (char character : text) {
    auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      result += character;
    } else {
      result += static_cast<char>(0xC0 | (byte >> 6));
      result += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return result;
}

X11WindowType typeOf(X11Session& session, const std::vector<std::uint32_t>& atoms) {
  for (std::uint32_t atom : atoms) {
    for (const TypeName& name : typeNames) {
      if (session.atom(name.atom) == atom) return name.type;
    }
  }
  return X11WindowType::normal;
}

/// Everything asked about one window, on its way.
struct Questions {
  xcb_window_t id;
  xcb_window_t toplevel;
  bool isManaged;
  xcb_get_window_attributes_cookie_t attributes;
  xcb_get_geometry_cookie_t geometry;
  xcb_translate_coordinates_cookie_t origin;
  xcb_get_property_cookie_t title, oldTitle, windowClass, pid, gtkApplicationID, frameExtents, state, type;
};

Questions ask(X11Session& session, xcb_window_t id, xcb_window_t toplevel, bool isManaged) {
  xcb_connection_t* connection = session.connection();
  return {.id = id,
          .toplevel = toplevel,
          .isManaged = isManaged,
          .attributes = xcb_get_window_attributes(connection, id),
          .geometry = xcb_get_geometry(connection, id),
          .origin = xcb_translate_coordinates(connection, id, session.root(), 0, 0),
          .title = session.requestProperty(id, "_NET_WM_NAME"),
          .oldTitle = session.requestProperty(id, "WM_NAME"),
          .windowClass = session.requestProperty(id, "WM_CLASS"),
          .pid = session.requestProperty(id, "_NET_WM_PID"),
          .gtkApplicationID = session.requestProperty(id, "_GTK_APPLICATION_ID"),
          .frameExtents = session.requestProperty(id, "_GTK_FRAME_EXTENTS"),
          .state = session.requestProperty(id, "_NET_WM_STATE"),
          .type = session.requestProperty(id, "_NET_WM_WINDOW_TYPE")};
}

void readClass(X11Window& window, const std::string& property) {
  std::size_t end = property.find('\0');
  window.instanceName = property.substr(0, end);
  if (end != std::string::npos) window.className = property.substr(end + 1).c_str();
}

void readState(X11Session& session, X11Window& window, const std::vector<std::uint32_t>& state) {
  auto holds = [&](const char* name) {
    return std::find(state.begin(), state.end(), session.atom(name)) != state.end();
  };
  window.isHidden = holds("_NET_WM_STATE_HIDDEN");
  window.skipsTaskbar = holds("_NET_WM_STATE_SKIP_TASKBAR");
}

Rect readBounds(const xcb_get_geometry_reply_t& geometry, const xcb_translate_coordinates_reply_t& origin,
                const std::vector<std::uint32_t>& extents) {
  FrameExtents shadow;
  if (extents.size() == 4) {
    shadow = {.left = static_cast<int>(extents[0]),
              .right = static_cast<int>(extents[1]),
              .top = static_cast<int>(extents[2]),
              .bottom = static_cast<int>(extents[3])};
  }
  return boundsWithoutShadow({static_cast<double>(origin.dst_x), static_cast<double>(origin.dst_y)},
                             {static_cast<double>(geometry.width), static_cast<double>(geometry.height)},
                             shadow);
}

/// Takes every answer, so that none stays behind; absent for a window that has
/// gone or cannot show anything.
std::optional<X11Window> readAnswers(X11Session& session, const Questions& questions) {
  auto attributes = session.reply(xcb_get_window_attributes_reply, questions.attributes);
  auto geometry = session.reply(xcb_get_geometry_reply, questions.geometry);
  auto origin = session.reply(xcb_translate_coordinates_reply, questions.origin);
  X11Window window;
  window.id = questions.id;
  window.toplevel = questions.toplevel;
  window.title = session.text(questions.title);
  std::string oldTitle = session.text(questions.oldTitle);
  if (window.title.empty()) window.title = utf8FromLatin1(oldTitle);
  readClass(window, session.text(questions.windowClass));
  if (auto pid = session.numbers(questions.pid); !pid.empty()) window.pid = static_cast<std::int32_t>(pid[0]);
  window.gtkApplicationID = session.text(questions.gtkApplicationID);
  auto extents = session.numbers(questions.frameExtents);
  readState(session, window, session.numbers(questions.state));
  window.type = typeOf(session, session.numbers(questions.type));
  if (!attributes || !geometry || !origin) return std::nullopt;
  if (attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) return std::nullopt;
  window.bounds = readBounds(*geometry, *origin, extents);
  window.isPopup = !questions.isManaged && attributes->override_redirect != 0;
  window.isViewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
  return window;
}

/// Windows without the property are asked of the server, which knows the process
/// at the other end of a connection.
void completePIDs(X11Session& session, std::vector<X11Window>& windows) {
  if (!session.extensions().resources) return;
  std::vector<std::pair<X11Window*, xcb_res_query_client_ids_cookie_t>> asked;
  for (X11Window& window : windows) {
    if (window.pid > 0) continue;
    xcb_res_client_id_spec_t which{window.id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    asked.emplace_back(&window, xcb_res_query_client_ids(session.connection(), 1, &which));
  }
  for (auto& [window, cookie] : asked) {
    auto answer = session.reply(xcb_res_query_client_ids_reply, cookie);
    if (!answer) continue;
    auto ids = xcb_res_query_client_ids_ids_iterator(answer.get());
    if (ids.rem > 0 && xcb_res_client_id_value_value_length(ids.data) > 0) {
      window->pid = static_cast<std::int32_t>(*xcb_res_client_id_value_value(ids.data));
    }
  }
}

/// The child of the root that holds each window, all of them climbed together.
std::map<xcb_window_t, xcb_window_t> toplevelsOf(X11Session& session,
                                                 const std::vector<xcb_window_t>& windows) {
  std::map<xcb_window_t, xcb_window_t> result;
  std::vector<std::pair<xcb_window_t, xcb_window_t>> climbing;
  for (xcb_window_t window : windows) climbing.emplace_back(window, window);
  while (!climbing.empty()) {
    std::vector<xcb_query_tree_cookie_t> cookies;
    for (auto& [window, ancestor] : climbing)
      cookies.push_back(xcb_query_tree(session.connection(), ancestor));
    std::vector<std::pair<xcb_window_t, xcb_window_t>> higher;
    for (std::size_t i = 0; i < climbing.size(); ++i) {
      auto [window, ancestor] = climbing[i];
      auto tree = session.reply(xcb_query_tree_reply, cookies[i]);
      if (!tree) continue;
      if (tree->parent == tree->root || tree->parent == XCB_NONE) {
        result[window] = ancestor;
      } else {
        higher.emplace_back(window, tree->parent);
      }
    }
    climbing = std::move(higher);
  }
  return result;
}

std::vector<xcb_window_t> managedWindows(X11Session& session) {
  std::vector<xcb_window_t> clients = session.numbers(session.root(), "_NET_CLIENT_LIST_STACKING");
  return clients.empty() ? session.numbers(session.root(), "_NET_CLIENT_LIST") : clients;
}

}  // namespace

std::vector<xcb_window_t> childrenOfRoot(X11Session& session) {
  auto tree = session.reply(xcb_query_tree_reply, xcb_query_tree(session.connection(), session.root()));
  if (!tree) return {};
  xcb_window_t* children = xcb_query_tree_children(tree.get());
  return {children, children + xcb_query_tree_children_length(tree.get())};
}

std::vector<X11Window> readWindows(X11Session& session) {
  preloadAtoms(session);
  std::vector<xcb_window_t> clients = managedWindows(session);
  std::multimap<xcb_window_t, xcb_window_t> clientsOfToplevel;
  for (auto& [client, toplevel] : toplevelsOf(session, clients)) clientsOfToplevel.emplace(toplevel, client);

  std::vector<xcb_window_t> toplevels = childrenOfRoot(session);
  std::vector<Questions> questions;
  for (auto toplevel = toplevels.rbegin(); toplevel != toplevels.rend(); ++toplevel) {
    auto [first, last] = clientsOfToplevel.equal_range(*toplevel);
    if (first == last) questions.push_back(ask(session, *toplevel, *toplevel, false));
    for (auto client = first; client != last; ++client) {
      questions.push_back(ask(session, client->second, *toplevel, true));
    }
  }

  std::vector<X11Window> windows;
  for (const Questions& asked : questions) {
    std::optional<X11Window> window = readAnswers(session, asked);
    if (window && (asked.isManaged || window->isViewable)) windows.push_back(std::move(*window));
  }
  completePIDs(session, windows);
  return windows;
}

std::optional<X11Window> readWindow(X11Session& session, xcb_window_t id) {
  preloadAtoms(session);
  auto toplevels = toplevelsOf(session, {id});
  if (!toplevels.contains(id)) return std::nullopt;
  std::vector<xcb_window_t> clients = managedWindows(session);
  bool isManaged = std::find(clients.begin(), clients.end(), id) != clients.end();
  std::optional<X11Window> window = readAnswers(session, ask(session, id, toplevels[id], isManaged));
  if (!window) return std::nullopt;
  std::vector<X11Window> alone{std::move(*window)};
  completePIDs(session, alone);
  return alone.front();
}

}  // namespace tavik
