#pragma once

#include <memory>
#include <mutex>

#include "Backends/Linux/Workspace/ApplicationUse.h"
#include "Backends/Linux/Workspace/DesktopEntryIndex.h"
#include "Backends/Linux/Workspace/FolderWatch.h"
#include "PlatformInterfaces/ApplicationIndexPort.h"

namespace tavik {

/// The desktop entries with what the desktop knows of their use, kept live by a
/// watch on their folders and on the files of use.
class LinuxApplicationIndex : public ApplicationIndexPort {
 public:
  LinuxApplicationIndex(DesktopEntryIndex& entries, ApplicationUseFiles useFiles)
      : entries_(entries), useFiles_(std::move(useFiles)) {}
  ~LinuxApplicationIndex() override { stop(); }

  /// `creationFailed` where no folder of applications exists, `executionFailed` where
  /// the kernel gives no watch.
  ApplicationIndexStart start(WorkQueue& queue, ResultsHandler handler) override;
  void stop() override;

 private:
  std::vector<ApplicationIndexEntry> gather();

  DesktopEntryIndex& entries_;
  const ApplicationUseFiles useFiles_;
  std::mutex mutex_;
  std::unique_ptr<FolderWatch> watch_;
};

}  // namespace tavik
