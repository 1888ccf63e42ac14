#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tavik {

/// Tells on a thread of its own when something changed in folders, with all below
/// them, or in single files. They need not exist: they are found when they come.
class FolderWatch {
 public:
  /// Runs `changed` once at the start, then after each burst of changes, until the
  /// end of this object.
  FolderWatch(std::vector<std::filesystem::path> folders, std::vector<std::filesystem::path> files,
              std::function<void()> changed);
  /// A run of `changed` is waited for.
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  /// False where the kernel gives no watch; then `changed` is never run.
  bool isWatching() const { return watch_ >= 0; }

 private:
  void run();
  void addWatches();
  void add(const std::filesystem::path& folder, const std::string& entry);
  void addNearest(std::filesystem::path path);
  bool hasStopped(int milliseconds, bool& isReadable) const;
  bool readsRelevantEvent();

  const std::vector<std::filesystem::path> folders_;
  const std::vector<std::filesystem::path> files_;
  const std::function<void()> changed_;
  int watch_;
  int stop_;
  /// By watch descriptor the names that matter there; none means all.
  std::map<int, std::set<std::string>> names_;
  std::thread thread_;
};

}  // namespace tavik
