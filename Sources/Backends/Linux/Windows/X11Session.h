#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavik {

/// Replies of xcb are allocated with malloc.
struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <class Reply>
using XCBReply = std::unique_ptr<Reply, FreeDeleter>;

/// Extensions of the X server that the backend knows how to use.
struct X11Extensions {
  bool composite = false;
  bool damage = false;
  bool randr = false;
  bool resources = false;
  bool shape = false;
  bool sharedMemory = false;
  /// Number of the first event of the damage extension.
  std::uint8_t damageFirstEvent = 0;
};

/// One connection to the X server. For one thread at a time. No call on it can end
/// the process: errors of the protocol come as absent replies, and a server that
/// goes away makes `isBroken` true.
class X11Session {
 public:
  /// Connects to the server that DISPLAY names. Null when there is none.
  static std::unique_ptr<X11Session> open();
  ~X11Session();
  X11Session(const X11Session&) = delete;
  X11Session& operator=(const X11Session&) = delete;

  bool isBroken() const { return xcb_connection_has_error(connection_) != 0; }
  xcb_connection_t* connection() const { return connection_; }
  const xcb_screen_t& screen() const { return *screen_; }
  xcb_window_t root() const { return screen_->root; }
  const X11Extensions& extensions() const { return extensions_; }

  /// The server's number for a name; asked once for each name.
  xcb_atom_t atom(const std::string& name);
  /// Asks for all of these in one round trip.
  void preloadAtoms(std::span<const char* const> names);

  xcb_get_property_cookie_t requestProperty(xcb_window_t window, const std::string& name);
  /// The content of a property whose items are bytes; empty when there is none.
  std::string text(xcb_get_property_cookie_t cookie);
  /// The content of a property whose items are 32-bit; empty when there is none.
  std::vector<std::uint32_t> numbers(xcb_get_property_cookie_t cookie);
  std::vector<std::uint32_t> numbers(xcb_window_t window, const std::string& name) {
    return numbers(requestProperty(window, name));
  }

  /// Waits for the answer to a request made with one of xcb's functions.
  template <class Reply, class Cookie>
  XCBReply<Reply> reply(Reply* (*receive)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) {
    xcb_generic_error_t* error = nullptr;
    XCBReply<Reply> answer(receive(connection_, cookie, &error));
    std::free(error);
    return answer;
  }

 private:
  X11Session(xcb_connection_t* connection, xcb_screen_t* screen) : connection_(connection), screen_(screen) {}
  void findExtensions();
  std::uint8_t firstEventOf(xcb_extension_t* extension, bool& present);

  xcb_connection_t* connection_;
  xcb_screen_t* screen_;
  X11Extensions extensions_;
  std::map<std::string, xcb_atom_t> atoms_;
};

}  // namespace tavik
