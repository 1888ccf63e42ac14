#pragma once

#include <dbus/dbus.h>

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace tavik::benchmark {

/// Reads an application's tree with nothing but libdbus on one thread: the floor
/// that every other way stands on. Asks for states, role, interfaces, name,
/// description, children, extents, actions, text and value of what is on screen.
class RawTreeReader {
 public:
  enum class Way {
    /// One call, its answer, the next call.
    oneByOne,
    /// Every question as soon as its object is known.
    streamed,
    /// The toolkit's list of all objects first, then only what it does not tell.
    hybrid,
  };

  /// Connects to the accessibility bus and finds the process there.
  explicit RawTreeReader(int pid);
  ~RawTreeReader();

  bool isFound() const { return !application_.empty(); }
  /// Gives the number of objects on screen.
  int read(Way way);

 private:
  enum class Question {
    states,
    role,
    interfaces,
    name,
    description,
    children,
    extents,
    actions,
    text,
    value
  };
  struct Node {
    std::string path;
    std::uint64_t states = 0;
    std::uint32_t interfaces = 0;
    bool isRoot = false;
    bool isShown = false;
    bool isListed = false;
    std::vector<std::string> listedChildren;
    int listedCount = -1;
  };

  void meet(const std::string& path, bool isRoot);
  void askAll(std::size_t node);
  void askDetails(std::size_t node);
  void ask(std::size_t node, Question question);
  void take(DBusMessage* answer, std::size_t node, Question question);
  void drain();
  void loadList();
  bool isShown(const Node& node) const;
  DBusMessage* block(DBusMessage* call);

  DBusConnection* bus_ = nullptr;
  std::string application_;
  std::string rootPath_;
  bool isGTK4_ = false;
  Way way_ = Way::streamed;
  std::size_t window_ = 128;
  std::vector<Node> nodes_;
  std::unordered_set<std::string> met_;
  std::unordered_map<std::string, Node> list_;
  struct Waiting {
    DBusMessage* call;
    std::size_t node;
    Question question;
  };
  std::deque<Waiting> waiting_;
  std::unordered_map<std::uint32_t, std::pair<std::size_t, Question>> outstanding_;
};

}  // namespace tavik::benchmark
