#include "Backends/Linux/Transport/SessionEnvironment.h"

#include <unistd.h>

#include <set>

namespace tavik {

namespace {

constexpr auto managerTimeout = std::chrono::seconds(2);

std::string nameOf(const std::string& variable) {
  return variable.substr(0, variable.find('='));
}

/// Empty in a session without this manager.
std::vector<std::string> managerEnvironment(BusConnection& bus) {
  BusMessage get = BusMessage::methodCall("org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                                          DBUS_INTERFACE_PROPERTIES, "Get");
  BusWriter(get).string("org.freedesktop.systemd1.Manager").string("Environment");
  dbus_message_set_auto_start(get.raw(), FALSE);
  const BusReply reply = bus.call(get, managerTimeout);
  return reply.ok() ? reply.read().inside().strings() : std::vector<std::string>();
}

}  // namespace

std::vector<std::string> sessionEnvironment(BusConnection& bus) {
  std::vector<std::string> variables;
  std::set<std::string> names;
  for (char** variable = environ; *variable; ++variable) {
    variables.emplace_back(*variable);
    names.insert(nameOf(*variable));
  }
  for (std::string& variable : managerEnvironment(bus)) {
    if (names.insert(nameOf(variable)).second) variables.push_back(std::move(variable));
  }
  return variables;
}

}  // namespace tavik
