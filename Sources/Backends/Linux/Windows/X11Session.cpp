#include "Backends/Linux/Windows/X11Session.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/shape.h>
#include <xcb/shm.h>

namespace tavik {

namespace {

/// More than any property that the backend reads, in units of four bytes.
constexpr std::uint32_t longestProperty = 64 * 1024;

xcb_screen_t* screenNumber(xcb_connection_t* connection, int number) {
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  while (screens.rem > 0 && number-- > 0) xcb_screen_next(&screens);
  return screens.rem > 0 ? screens.data : nullptr;
}

}  // namespace

std::unique_ptr<X11Session> X11Session::open() {
  int number = 0;
  xcb_connection_t* connection = xcb_connect(nullptr, &number);
  xcb_screen_t* screen =
      xcb_connection_has_error(connection) == 0 ? screenNumber(connection, number) : nullptr;
  if (screen == nullptr) {
    xcb_disconnect(connection);
    return nullptr;
  }
  std::unique_ptr<X11Session> session(new X11Session(connection, screen));
  session->findExtensions();
  return session;
}

X11Session::~X11Session() {
  xcb_disconnect(connection_);
}

void X11Session::findExtensions() {
  for (xcb_extension_t* extension :
       {&xcb_composite_id, &xcb_damage_id, &xcb_randr_id, &xcb_res_id, &xcb_shape_id, &xcb_shm_id}) {
    xcb_prefetch_extension_data(connection_, extension);
  }
  firstEventOf(&xcb_composite_id, extensions_.composite);
  extensions_.damageFirstEvent = firstEventOf(&xcb_damage_id, extensions_.damage);
  firstEventOf(&xcb_randr_id, extensions_.randr);
  firstEventOf(&xcb_res_id, extensions_.resources);
  firstEventOf(&xcb_shape_id, extensions_.shape);
  firstEventOf(&xcb_shm_id, extensions_.sharedMemory);

  // An extension refuses its requests until it has been told the client's version.
  if (extensions_.composite) {
    auto version = reply(xcb_composite_query_version_reply, xcb_composite_query_version(connection_, 0, 4));
    extensions_.composite = version && (version->major_version > 0 || version->minor_version >= 2);
  }
  if (extensions_.damage) {
    extensions_.damage =
        reply(xcb_damage_query_version_reply, xcb_damage_query_version(connection_, 1, 1)) != nullptr;
  }
  if (extensions_.randr) {
    auto version = reply(xcb_randr_query_version_reply, xcb_randr_query_version(connection_, 1, 5));
    extensions_.randr = version && version->major_version == 1 && version->minor_version >= 5;
  }
  if (extensions_.resources) {
    auto version = reply(xcb_res_query_version_reply, xcb_res_query_version(connection_, 1, 2));
    extensions_.resources = version && version->server_major == 1 && version->server_minor >= 2;
  }
  if (extensions_.sharedMemory) {
    auto version = reply(xcb_shm_query_version_reply, xcb_shm_query_version(connection_));
    extensions_.sharedMemory = version && version->major_version == 1 && version->minor_version >= 2;
  }
}

std::uint8_t X11Session::firstEventOf(xcb_extension_t* extension, bool& present) {
  const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection_, extension);
  present = data != nullptr && data->present != 0;
  return present ? data->first_event : 0;
}

xcb_atom_t X11Session::atom(const std::string& name) {
  if (auto known = atoms_.find(name); known != atoms_.end()) return known->second;
  const char* names[] = {name.c_str()};
  preloadAtoms(names);
  return atoms_[name];
}

void X11Session::preloadAtoms(std::span<const char* const> names) {
  std::vector<std::pair<std::string, xcb_intern_atom_cookie_t>> asked;
  for (std::string name : names) {
    if (atoms_.contains(name)) continue;
    auto length = static_cast<std::uint16_t>(name.size());
    xcb_intern_atom_cookie_t cookie = xcb_intern_atom(connection_, 0, length, name.c_str());
    asked.emplace_back(std::move(name), cookie);
  }
  for (auto& [name, cookie] : asked) {
    if (auto answer = reply(xcb_intern_atom_reply, cookie)) atoms_[name] = answer->atom;
  }
}

xcb_get_property_cookie_t X11Session::requestProperty(xcb_window_t window, const std::string& name) {
  return xcb_get_property(connection_, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, longestProperty);
}

std::string X11Session::text(xcb_get_property_cookie_t cookie) {
  auto answer = reply(xcb_get_property_reply, cookie);
  if (!answer || answer->format != 8) return {};
  const char* bytes = static_cast<const char*>(xcb_get_property_value(answer.get()));
  return {bytes, static_cast<std::size_t>(xcb_get_property_value_length(answer.get()))};
}

std::vector<std::uint32_t> X11Session::numbers(xcb_get_property_cookie_t cookie) {
  auto answer = reply(xcb_get_property_reply, cookie);
  if (!answer || answer->format != 32) return {};
  const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(answer.get()));
  std::size_t count = static_cast<std::size_t>(xcb_get_property_value_length(answer.get())) / sizeof *values;
  return {values, values + count};
}

}  // namespace tavik
