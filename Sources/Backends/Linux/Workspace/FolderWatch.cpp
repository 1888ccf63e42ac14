#include "Backends/Linux/Workspace/FolderWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>

namespace tavik {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t changes =
    IN_CREATE | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

/// A package comes with many files, which shall cost one reading.
constexpr int quietMilliseconds = 150;
constexpr auto longestBurst = std::chrono::seconds(2);

}  // namespace

FolderWatch::FolderWatch(std::vector<fs::path> folders, std::vector<fs::path> files,
                         std::function<void()> changed)
    : folders_(std::move(folders)),
      files_(std::move(files)),
      changed_(std::move(changed)),
      watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      stop_(eventfd(0, EFD_CLOEXEC)) {
  if (isWatching()) thread_ = std::thread([this] { run(); });
}

FolderWatch::~FolderWatch() {
  if (thread_.joinable()) {
    const std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(stop_, &one, sizeof one);
    thread_.join();
  }
  if (watch_ >= 0) close(watch_);
  close(stop_);
}

void FolderWatch::run() {
  addWatches();
  changed_();
  bool isReadable = false;
  while (!hasStopped(-1, isReadable)) {
    if (!readsRelevantEvent()) continue;
    const auto end = std::chrono::steady_clock::now() + longestBurst;
    while (std::chrono::steady_clock::now() < end) {
      if (hasStopped(quietMilliseconds, isReadable)) return;
      if (!isReadable) break;
      readsRelevantEvent();
    }
    // Before the reading, so that no change falls between.
    addWatches();
    changed_();
  }
}

void FolderWatch::addWatches() {
  for (const fs::path& folder : folders_) {
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
      addNearest(folder);
      continue;
    }
    add(folder, "");
    constexpr auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator item(folder, options, error), end; !error && item != end;
         item.increment(error)) {
      if (item->is_directory(error)) add(item->path(), "");
    }
  }
  for (const fs::path& file : files_) addNearest(file);
}

void FolderWatch::add(const fs::path& folder, const std::string& entry) {
  const int descriptor = inotify_add_watch(watch_, folder.c_str(), changes);
  if (descriptor < 0) return;
  auto [known, isNew] = names_.try_emplace(descriptor);
  const bool wantsAll = entry.empty() || (!isNew && known->second.empty());
  if (wantsAll) {
    known->second.clear();
  } else {
    known->second.insert(entry);
  }
}

/// Watches for the path, or the first missing part of it, in the folder that is there.
void FolderWatch::addNearest(fs::path path) {
  std::error_code error;
  while (path.has_relative_path() && !fs::is_directory(path.parent_path(), error)) path = path.parent_path();
  if (path.has_relative_path()) add(path.parent_path(), path.filename().string());
}

bool FolderWatch::hasStopped(int milliseconds, bool& isReadable) const {
  pollfd waits[] = {{stop_, POLLIN, 0}, {watch_, POLLIN, 0}};
  poll(waits, 2, milliseconds);
  isReadable = waits[1].revents != 0;
  return waits[0].revents != 0;
}

bool FolderWatch::readsRelevantEvent() {
  bool isRelevant = false;
  alignas(inotify_event) char buffer[4096];
  for (ssize_t length; (length = read(watch_, buffer, sizeof buffer)) > 0;) {
    for (char* position = buffer; position < buffer + length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(position);
      position += sizeof(inotify_event) + event->len;
      if (event->mask & IN_Q_OVERFLOW) isRelevant = true;
      const auto watched = names_.find(event->wd);
      if (watched == names_.end()) continue;
      const std::string name = event->len > 0 ? event->name : "";
      if (name.empty() || watched->second.empty() || watched->second.contains(name)) isRelevant = true;
      // The folder has gone; its number may come again for another.
      if (event->mask & IN_IGNORED) names_.erase(watched);
    }
  }
  return isRelevant;
}

}  // namespace tavik
