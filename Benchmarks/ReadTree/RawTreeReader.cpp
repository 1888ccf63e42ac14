#include "RawTreeReader.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tavik::benchmark {

namespace {

const char* const accessible = "org.a11y.atspi.Accessible";
enum InterfaceBit : std::uint32_t { component = 1, action = 2, text = 4, value = 8 };
constexpr int timeoutMilliseconds = 10'000;
constexpr int visibleState = 30;
constexpr int showingState = 25;

std::uint32_t bitOf(const char* interface) {
  if (!std::strcmp(interface, "org.a11y.atspi.Component")) return component;
  if (!std::strcmp(interface, "org.a11y.atspi.Action")) return action;
  if (!std::strcmp(interface, "org.a11y.atspi.Text")) return text;
  if (!std::strcmp(interface, "org.a11y.atspi.Value")) return value;
  return 0;
}

const char* textAt(DBusMessageIter* iterator) {
  const char* result = "";
  dbus_message_iter_get_basic(iterator, &result);
  dbus_message_iter_next(iterator);
  return result;
}

template <class Body>
void forEach(DBusMessageIter* iterator, Body body) {
  DBusMessageIter inner;
  dbus_message_iter_recurse(iterator, &inner);
  while (dbus_message_iter_get_arg_type(&inner) != DBUS_TYPE_INVALID) {
    body(&inner);
    dbus_message_iter_next(&inner);
  }
  dbus_message_iter_next(iterator);
}

/// The path of an (so) structure.
std::string referenceAt(DBusMessageIter* iterator) {
  DBusMessageIter inner;
  dbus_message_iter_recurse(iterator, &inner);
  textAt(&inner);
  return textAt(&inner);
}

std::uint64_t statesAt(DBusMessageIter* iterator) {
  std::uint64_t result = 0;
  int word = 0;
  forEach(iterator, [&](DBusMessageIter* inner) {
    dbus_uint32_t bits = 0;
    dbus_message_iter_get_basic(inner, &bits);
    result |= std::uint64_t{bits} << (32 * word++);
  });
  return result;
}

DBusMessage* property(const std::string& bus, const std::string& path, const char* interface,
                      const char* name) {
  DBusMessage* call =
      dbus_message_new_method_call(bus.c_str(), path.c_str(), "org.freedesktop.DBus.Properties", "Get");
  dbus_message_append_args(call, DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
  return call;
}

}  // namespace

DBusMessage* RawTreeReader::block(DBusMessage* call) {
  DBusMessage* reply = dbus_connection_send_with_reply_and_block(bus_, call, timeoutMilliseconds, nullptr);
  dbus_message_unref(call);
  return reply;
}

RawTreeReader::RawTreeReader(int pid) {
  bus_ = dbus_bus_get_private(DBUS_BUS_SESSION, nullptr);
  if (!bus_) throw std::runtime_error("no session bus");
  DBusMessage* reply =
      block(dbus_message_new_method_call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"));
  DBusMessageIter iterator;
  if (!reply || !dbus_message_iter_init(reply, &iterator)) throw std::runtime_error("no accessibility bus");
  std::string address = textAt(&iterator);
  dbus_message_unref(reply);
  dbus_connection_close(bus_);
  dbus_connection_unref(bus_);

  bus_ = dbus_connection_open_private(address.c_str(), nullptr);
  if (!bus_ || !dbus_bus_register(bus_, nullptr)) throw std::runtime_error("no accessibility bus");
  dbus_connection_set_exit_on_disconnect(bus_, FALSE);

  // Toolkits keep their list of objects only for somebody who listens.
  DBusMessage* listen = dbus_message_new_method_call("org.a11y.atspi.Registry", "/org/a11y/atspi/registry",
                                                     "org.a11y.atspi.Registry", "RegisterEvent");
  const char* event = "object:children-changed";
  dbus_message_append_args(listen, DBUS_TYPE_STRING, &event, DBUS_TYPE_INVALID);
  if (DBusMessage* done = block(listen)) dbus_message_unref(done);

  reply = block(dbus_message_new_method_call("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root",
                                             accessible, "GetChildren"));
  if (!reply || !dbus_message_iter_init(reply, &iterator)) return;
  forEach(&iterator, [&](DBusMessageIter* entry) {
    DBusMessageIter parts;
    dbus_message_iter_recurse(entry, &parts);
    const char* name = textAt(&parts);
    std::string path = textAt(&parts);
    DBusMessage* question = dbus_message_new_method_call("org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                                                         "GetConnectionUnixProcessID");
    dbus_message_append_args(question, DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
    DBusMessage* answer = block(question);
    dbus_uint32_t owner = 0;
    if (answer) {
      dbus_message_get_args(answer, nullptr, DBUS_TYPE_UINT32, &owner, DBUS_TYPE_INVALID);
      dbus_message_unref(answer);
    }
    if (owner != static_cast<dbus_uint32_t>(pid)) return;
    application_ = name;
    rootPath_ = path;
  });
  dbus_message_unref(reply);
  if (!isFound()) return;
  reply = block(property(application_, rootPath_, "org.a11y.atspi.Application", "ToolkitName"));
  if (!reply) return;
  DBusMessageIter inner;
  dbus_message_iter_init(reply, &iterator);
  dbus_message_iter_recurse(&iterator, &inner);
  isGTK4_ = std::string(textAt(&inner)) == "GTK";
  dbus_message_unref(reply);
}

RawTreeReader::~RawTreeReader() {
  dbus_connection_close(bus_);
  dbus_connection_unref(bus_);
}

bool RawTreeReader::isShown(const Node& node) const {
  return node.isRoot || (node.states >> (isGTK4_ ? visibleState : showingState) & 1);
}

int RawTreeReader::read(Way way) {
  way_ = way;
  window_ = way == Way::oneByOne ? 1 : 128;
  nodes_.clear();
  met_.clear();
  list_.clear();
  if (way == Way::hybrid) loadList();
  meet(rootPath_, true);
  drain();
  return static_cast<int>(
      std::count_if(nodes_.begin(), nodes_.end(), [](const Node& node) { return node.isShown; }));
}

void RawTreeReader::meet(const std::string& path, bool isRoot) {
  if (path == "/org/a11y/atspi/null" || !met_.insert(path).second) return;
  auto listed = list_.find(path);
  nodes_.push_back(listed != list_.end() ? listed->second : Node{});
  std::size_t index = nodes_.size() - 1;
  nodes_[index].path = path;
  nodes_[index].isRoot = isRoot;
  if (listed != list_.end()) {
    askDetails(index);
  } else {
    ask(index, Question::states);
  }
}

void RawTreeReader::askAll(std::size_t node) {
  for (Question question :
       {Question::children, Question::interfaces, Question::role, Question::name, Question::description}) {
    ask(node, question);
  }
}

void RawTreeReader::askDetails(std::size_t index) {
  if (!isShown(nodes_[index])) return;
  nodes_[index].isShown = true;
  std::uint32_t interfaces = nodes_[index].interfaces;
  if (interfaces & component) ask(index, Question::extents);
  if (interfaces & action) ask(index, Question::actions);
  if (interfaces & text) ask(index, Question::text);
  if (interfaces & value) ask(index, Question::value);
  if (!nodes_[index].isListed) return;
  std::vector<std::string> children = nodes_[index].listedChildren;
  if (nodes_[index].listedCount != static_cast<int>(children.size())) {
    ask(index, Question::children);
  } else {
    for (const std::string& child : children) meet(child, false);
  }
}

void RawTreeReader::ask(std::size_t index, Question question) {
  const std::string& path = nodes_[index].path;
  auto call = [&](const char* interface, const char* member) {
    return dbus_message_new_method_call(application_.c_str(), path.c_str(), interface, member);
  };
  DBusMessage* message = nullptr;
  switch (question) {
    case Question::states:
      message = call(accessible, "GetState");
      break;
    case Question::role:
      message = call(accessible, "GetRole");
      break;
    case Question::interfaces:
      message = call(accessible, "GetInterfaces");
      break;
    case Question::name:
      message = property(application_, path, accessible, "Name");
      break;
    case Question::description:
      message = property(application_, path, accessible, "Description");
      break;
    case Question::children:
      message = call(accessible, "GetChildren");
      break;
    case Question::extents: {
      message = call("org.a11y.atspi.Component", "GetExtents");
      dbus_uint32_t screen = 0;
      dbus_message_append_args(message, DBUS_TYPE_UINT32, &screen, DBUS_TYPE_INVALID);
      break;
    }
    case Question::actions:
      message = call("org.a11y.atspi.Action", "GetActions");
      break;
    case Question::text: {
      message = call("org.a11y.atspi.Text", "GetText");
      dbus_int32_t start = 0;
      dbus_int32_t end = -1;
      dbus_message_append_args(message, DBUS_TYPE_INT32, &start, DBUS_TYPE_INT32, &end, DBUS_TYPE_INVALID);
      break;
    }
    case Question::value:
      message = property(application_, path, "org.a11y.atspi.Value", "CurrentValue");
      break;
  }
  waiting_.push_back({message, index, question});
}

void RawTreeReader::drain() {
  while (!waiting_.empty() || !outstanding_.empty()) {
    while (!waiting_.empty() && outstanding_.size() < window_) {
      Waiting next = waiting_.front();
      waiting_.pop_front();
      dbus_uint32_t serial = 0;
      dbus_connection_send(bus_, next.call, &serial);
      dbus_message_unref(next.call);
      outstanding_[serial] = {next.node, next.question};
    }
    DBusMessage* message = dbus_connection_pop_message(bus_);
    if (!message) {
      if (!dbus_connection_read_write(bus_, timeoutMilliseconds))
        throw std::runtime_error("the bus has gone");
      continue;
    }
    auto call = outstanding_.find(dbus_message_get_reply_serial(message));
    int type = dbus_message_get_type(message);
    bool isAnswer = type == DBUS_MESSAGE_TYPE_METHOD_RETURN || type == DBUS_MESSAGE_TYPE_ERROR;
    if (isAnswer && call != outstanding_.end()) {
      auto [node, question] = call->second;
      outstanding_.erase(call);
      if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN) take(message, node, question);
    }
    dbus_message_unref(message);
  }
}

void RawTreeReader::take(DBusMessage* answer, std::size_t index, Question question) {
  DBusMessageIter iterator;
  if (!dbus_message_iter_init(answer, &iterator)) return;
  switch (question) {
    case Question::states:
      nodes_[index].states = statesAt(&iterator);
      if (isShown(nodes_[index])) askAll(index);
      break;
    case Question::interfaces:
      forEach(&iterator, [&](DBusMessageIter* inner) {
        const char* name = "";
        dbus_message_iter_get_basic(inner, &name);
        nodes_[index].interfaces |= bitOf(name);
      });
      askDetails(index);
      break;
    case Question::children: {
      std::vector<std::string> children;
      forEach(&iterator, [&](DBusMessageIter* inner) { children.push_back(referenceAt(inner)); });
      for (const std::string& child : children) meet(child, false);
      break;
    }
    default:
      break;
  }
}

void RawTreeReader::loadList() {
  DBusMessage* reply = block(dbus_message_new_method_call(application_.c_str(), "/org/a11y/atspi/cache",
                                                          "org.a11y.atspi.Cache", "GetItems"));
  if (!reply) return;
  DBusMessageIter iterator;
  if (dbus_message_has_signature(reply, "a((so)(so)(so)iiassusau)") &&
      dbus_message_iter_init(reply, &iterator)) {
    std::unordered_map<std::string, std::vector<std::pair<int, std::string>>> children;
    forEach(&iterator, [&](DBusMessageIter* entry) {
      DBusMessageIter item;
      dbus_message_iter_recurse(entry, &item);
      Node node;
      node.isListed = true;
      node.path = referenceAt(&item);
      dbus_message_iter_next(&item);
      dbus_message_iter_next(&item);
      std::string parent = referenceAt(&item);
      dbus_message_iter_next(&item);
      dbus_int32_t index = 0;
      dbus_int32_t count = 0;
      dbus_message_iter_get_basic(&item, &index);
      dbus_message_iter_next(&item);
      dbus_message_iter_get_basic(&item, &count);
      dbus_message_iter_next(&item);
      forEach(&item, [&](DBusMessageIter* inner) {
        const char* name = "";
        dbus_message_iter_get_basic(inner, &name);
        node.interfaces |= bitOf(name);
      });
      for (int skipped = 0; skipped < 3; ++skipped) dbus_message_iter_next(&item);
      node.states = statesAt(&item);
      node.listedCount = count;
      children[parent].emplace_back(index, node.path);
      list_[node.path] = std::move(node);
    });
    for (auto& [parent, list] : children) {
      std::sort(list.begin(), list.end());
      auto entry = list_.find(parent);
      if (entry == list_.end()) continue;
      for (auto& [index, path] : list) entry->second.listedChildren.push_back(path);
    }
  }
  dbus_message_unref(reply);
}

}  // namespace tavik::benchmark
