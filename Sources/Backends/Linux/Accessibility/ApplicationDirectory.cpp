#include "Backends/Linux/Accessibility/ApplicationDirectory.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using accessibility::property;

constexpr std::chrono::milliseconds registryTimeout = 1s;

const AccessibleReference registryRoot{accessibility::registry, accessibility::rootPath};

}  // namespace

ApplicationDirectory::ApplicationDirectory(BusConnection& bus) : bus_(bus) {
  nameSubscription_ = bus_.subscribe(
      {.sender = "org.freedesktop.DBus", .interface = "org.freedesktop.DBus", .member = "NameOwnerChanged"},
      [this](const BusMessage& signal) {
        BusReader reader = signal.read();
        std::string name = reader.string();
        reader.skip();
        if (reader.string().empty()) forget(name);
      });
  childrenSubscription_ = bus_.subscribe({.path = accessibility::rootPath,
                                          .interface = "org.a11y.atspi.Event.Object",
                                          .member = "ChildrenChanged"},
                                         [this](const BusMessage&) {
                                           std::lock_guard lock(mutex_);
                                           isStale_ = true;
                                         });
}

ApplicationDirectory::~ApplicationDirectory() {
  bus_.unsubscribe(nameSubscription_);
  bus_.unsubscribe(childrenSubscription_);
}

void ApplicationDirectory::forget(const std::string& busName) {
  std::lock_guard lock(mutex_);
  pids_.erase(busName);
  entries_.erase(busName);
}

void ApplicationDirectory::reset() {
  std::lock_guard lock(mutex_);
  pids_.clear();
  entries_.clear();
  isStale_ = true;
}

std::int32_t ApplicationDirectory::pid(const std::string& busName) {
  {
    std::lock_guard lock(mutex_);
    auto known = pids_.find(busName);
    if (known != pids_.end()) return known->second;
  }
  std::optional<BusCredentials> credentials = bus_.credentials(busName);
  if (!credentials) return 0;
  std::lock_guard lock(mutex_);
  pids_[busName] = credentials->pid;
  return credentials->pid;
}

bool ApplicationDirectory::examine(Entry& entry, std::chrono::milliseconds timeout) {
  if (entry.isExamined) return true;
  const AccessibleReference& root = entry.application.root;
  BusReply name = bus_.call(property(root, accessibility::application, "ToolkitName"), timeout);
  if (name.status == BusReply::Status::timedOut) return false;
  entry.application.toolkit = toolkitNamed(name.read().inside().string());
  entry.isExamined = true;
  std::lock_guard lock(mutex_);
  if (entries_.contains(root.bus)) entries_[root.bus] = entry;
  return true;
}

void ApplicationDirectory::refresh() {
  BusReply reply =
      bus_.call(accessibility::call(registryRoot, accessibility::accessible, "GetChildren"), registryTimeout);
  if (!reply.ok()) return;
  std::vector<AccessibleReference> roots;
  BusReader answer = reply.read();
  BusReader children = answer.inside();
  while (!children.atEnd()) roots.push_back(readReference(children));

  for (const AccessibleReference& root : roots) {
    std::int32_t owner = pid(root.bus);
    std::lock_guard lock(mutex_);
    if (owner != 0) entries_.try_emplace(root.bus, Entry{.pid = owner, .application = {.root = root}});
  }
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [&](const auto& entry) {
    return std::none_of(roots.begin(), roots.end(),
                        [&](const auto& root) { return root.bus == entry.first; });
  });
}

std::vector<ApplicationDirectory::Entry> ApplicationDirectory::entriesOf(std::int32_t pid) {
  std::vector<Entry> found;
  std::lock_guard lock(mutex_);
  for (const auto& [bus, entry] : entries_) {
    if (entry.pid == pid) found.push_back(entry);
  }
  return found;
}

AXResult<std::vector<AccessibleApplication>> ApplicationDirectory::applications(
    std::int32_t pid, std::chrono::milliseconds timeout) {
  using Result = AXResult<std::vector<AccessibleApplication>>;
  bool isStale = false;
  {
    std::lock_guard lock(mutex_);
    isStale = std::exchange(isStale_, false);
  }
  if (isStale) refresh();
  std::vector<Entry> entries = entriesOf(pid);
  if (entries.empty() && !isStale) {
    refresh();
    entries = entriesOf(pid);
  }
  if (entries.empty()) {
    if (!bus_.isConnected()) return Result::failed(AXError::cannotComplete);
    return Result::failed(kill(pid, 0) == 0 || errno == EPERM ? AXError::apiDisabled
                                                              : AXError::invalidUIElement);
  }
  std::vector<AccessibleApplication> result;
  for (Entry& entry : entries) {
    if (!examine(entry, timeout)) return Result::failed(AXError::cannotComplete);
    result.push_back(entry.application);
  }
  return Result::success(std::move(result));
}

std::vector<std::int32_t> ApplicationDirectory::pids() {
  refresh();
  std::vector<std::int32_t> result;
  std::lock_guard lock(mutex_);
  for (const auto& [bus, entry] : entries_) {
    if (std::find(result.begin(), result.end(), entry.pid) == result.end()) result.push_back(entry.pid);
  }
  return result;
}

}  // namespace tavik
