#include "Backends/Linux/Workspace/LinuxApplicationIndex.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "Backends/Linux/Process/DetachedProgram.h"

namespace tavik {

namespace {

namespace fs = std::filesystem;

/// Whether the program that the entry asks for is there.
bool isInstalled(const DesktopEntry& entry) {
  const char* path = std::getenv("PATH");
  return entry.tryExec.empty() || !findProgram(entry.tryExec, path != nullptr ? path : "").empty();
}

}  // namespace

ApplicationIndexStart LinuxApplicationIndex::start(WorkQueue& queue, ResultsHandler handler) {
  std::lock_guard lock(mutex_);
  const auto& folders = entries_.folders();
  const bool hasFolder = std::any_of(folders.begin(), folders.end(), [](const fs::path& folder) {
    std::error_code error;
    return fs::is_directory(folder, error);
  });
  if (!hasFolder) return ApplicationIndexStart::creationFailed;
  auto deliver = [this, &queue, handler = std::move(handler)] {
    queue.async([handler, results = gather()] { handler(results); });
  };
  watch_ = std::make_unique<FolderWatch>(folders, std::vector{useFiles_.documents, useFiles_.shellState},
                                         std::move(deliver));
  if (!watch_->isWatching()) {
    watch_ = nullptr;
    return ApplicationIndexStart::executionFailed;
  }
  entries_.beginWatched();
  return ApplicationIndexStart::started;
}

void LinuxApplicationIndex::stop() {
  std::lock_guard lock(mutex_);
  if (std::exchange(watch_, nullptr)) entries_.endWatched();
}

std::vector<ApplicationIndexEntry> LinuxApplicationIndex::gather() {
  const auto entries = entries_.reload();
  const ApplicationUses uses = useFiles_.read(*entries);
  std::vector<ApplicationIndexEntry> results;
  results.reserve(entries->size());
  for (const DesktopEntry& entry : *entries) {
    if (!isInstalled(entry)) continue;
    const auto found = uses.find(entry.id);
    const ApplicationUse use = found == uses.end() ? ApplicationUse{} : found->second;
    results.push_back({.bundleIdentifier = entry.id,
                       .path = entry.path,
                       .displayName = entry.name.empty() ? std::nullopt : std::optional(entry.name),
                       .fileName = fs::path(entry.path).filename().string(),
                       .lastUsedDate = use.lastUsed,
                       .useCount = use.count});
  }
  return results;
}

}  // namespace tavik
