#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleTree.h"
#include "Backends/Linux/Bus/BusConnection.h"

namespace tavik {

/// An object of an application that a test makes up.
struct FakeObject {
  AccessibleRole role = AccessibleRole::panel;
  std::string name = {};
  std::string description = {};
  std::vector<AccessibleState> states = {AccessibleState::enabled, AccessibleState::showing,
                                         AccessibleState::visible};
  std::vector<std::string> interfaces = {"org.a11y.atspi.Component"};
  /// Numbers of other objects.
  std::vector<int> children = {};
  int parent = 0;
  Rect extents = {{0, 0}, {10, 10}};
  /// Each an own name and a name in the user's language.
  std::vector<std::pair<std::string, std::string>> actions = {};
  std::string text = {};
};

/// Serves objects on a bus as an application does. Object 0 is the application.
class AccessibleApplicationFake {
 public:
  explicit AccessibleApplicationFake(BusConnection::AddressProvider address);

  /// Gives the number of the new object, a child of `parent`.
  int add(int parent, FakeObject object);
  FakeObject& operator[](int number) { return objects_[static_cast<std::size_t>(number)]; }
  /// Begins to answer for what has been added.
  void serve();

  AccessibleReference reference(int number);
  AccessibleApplication application(Toolkit toolkit);
  /// How often a method was called, over all objects.
  int calls(const std::string& member);
  int allCalls();
  /// From then on nothing is answered any more.
  void stopAnsweringAfter(int calls) { answersLeft_ = calls; }
  /// Every answer is of the wrong type.
  void answerNonsense() { isNonsensical_ = true; }

 private:
  void answer(int number, const BusMessage& call);
  void writeReference(BusWriter& writer, int number);
  static std::string path(int number);

  std::vector<FakeObject> objects_{FakeObject{.role = AccessibleRole::application}};
  std::mutex mutex_;
  std::map<std::string, int> calls_;
  std::atomic<int> answersLeft_ = 1 << 30;
  std::atomic<bool> isNonsensical_ = false;
  BusConnection bus_;
};

}  // namespace tavik
