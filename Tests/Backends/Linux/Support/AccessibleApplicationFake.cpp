#include "Support/AccessibleApplicationFake.h"

#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

AccessibleApplicationFake::AccessibleApplicationFake(BusConnection::AddressProvider address)
    : bus_(std::move(address)) {}

std::string AccessibleApplicationFake::path(int number) {
  return number == 0 ? accessibility::rootPath : "/org/a11y/atspi/accessible/" + std::to_string(number);
}

int AccessibleApplicationFake::add(int parent, FakeObject object) {
  int number = static_cast<int>(objects_.size());
  object.parent = parent;
  objects_.push_back(std::move(object));
  objects_[static_cast<std::size_t>(parent)].children.push_back(number);
  return number;
}

void AccessibleApplicationFake::serve() {
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    int number = static_cast<int>(i);
    bus_.exportObject(path(number), "", [this, number](const BusMessage& call) { answer(number, call); });
  }
}

AccessibleReference AccessibleApplicationFake::reference(int number) {
  return {bus_.uniqueName(), path(number)};
}

AccessibleApplication AccessibleApplicationFake::application(Toolkit toolkit) {
  return {.root = reference(0), .toolkit = toolkit};
}

int AccessibleApplicationFake::calls(const std::string& member) {
  std::lock_guard lock(mutex_);
  return calls_[member];
}

int AccessibleApplicationFake::allCalls() {
  std::lock_guard lock(mutex_);
  int sum = 0;
  for (const auto& [member, count] : calls_) sum += count;
  return sum;
}

void AccessibleApplicationFake::writeReference(BusWriter& writer, int number) {
  AccessibleReference target = reference(number);
  writer.structure([&](BusWriter& inner) { inner.string(target.bus).path(target.path); });
}

void AccessibleApplicationFake::answer(int number, const BusMessage& call) {
  const FakeObject& object = objects_[static_cast<std::size_t>(number)];
  std::string member(call.member());
  BusReader arguments = call.read();
  if (member == "Get") {
    arguments.skip();
    member = arguments.string();
  }
  {
    std::lock_guard lock(mutex_);
    ++calls_[member];
  }
  if (answersLeft_-- <= 0) return;
  BusMessage reply = BusMessage::returnOf(call);
  BusWriter writer(reply);
  auto textProperty = [&](const std::string& text) {
    writer.variant("s", [&](BusWriter& inner) { inner.string(text); });
  };
  if (isNonsensical_) {
    writer.int64(-1);
  } else if (member == "GetState") {
    std::uint64_t bits = 0;
    for (AccessibleState state : object.states) bits |= std::uint64_t{1} << static_cast<int>(state);
    writer.array("u", [&](BusWriter& inner) {
      inner.uint32(static_cast<std::uint32_t>(bits)).uint32(static_cast<std::uint32_t>(bits >> 32));
    });
  } else if (member == "GetRole") {
    writer.uint32(static_cast<std::uint32_t>(object.role));
  } else if (member == "GetInterfaces") {
    writer.strings(object.interfaces);
  } else if (member == "GetChildren") {
    writer.array("(so)", [&](BusWriter& inner) {
      for (int child : object.children) writeReference(inner, child);
    });
  } else if (member == "GetExtents") {
    writer.structure([&](BusWriter& inner) {
      for (double side : {object.extents.minX(), object.extents.minY(), object.extents.size.width,
                          object.extents.size.height}) {
        inner.int32(static_cast<std::int32_t>(side));
      }
    });
  } else if (member == "GetActions") {
    writer.array("(sss)", [&](BusWriter& inner) {
      for (const auto& action : object.actions) {
        inner.structure([&](BusWriter& entry) { entry.string(action.second).string("").string(""); });
      }
    });
  } else if (member == "GetName") {
    writer.string(object.actions[static_cast<std::size_t>(arguments.integer())].first);
  } else if (member == "GetText") {
    writer.string(object.text);
  } else if (member == "Name") {
    textProperty(object.name);
  } else if (member == "Description") {
    textProperty(object.description);
  } else if (member == "AccessibleId") {
    textProperty("");
  } else if (member == "Parent") {
    writer.variant("(so)", [&](BusWriter& inner) { writeReference(inner, object.parent); });
  } else {
    reply = BusMessage::errorOf(call, "org.freedesktop.DBus.Error.UnknownMethod", member);
  }
  bus_.send(reply);
}

}  // namespace tavik
