#pragma once

#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/ApplicationIndexPort.h"

namespace tavik {

/// An index that a test fills. It answers at once, also when it is empty, unless the
/// test keeps it silent or lets its start fail. Any thread.
class SimulatedApplicationIndex : public ApplicationIndexPort {
 public:
  /// How starts end from now on.
  void letStartEndWith(ApplicationIndexStart outcome);
  /// From now on nothing is delivered until the next `publish`.
  void keepSilent();
  /// Replaces the list and delivers it to who watches.
  void publish(std::vector<ApplicationIndexEntry> entries);
  bool isWatched() const;

  ApplicationIndexStart start(WorkQueue& queue, ResultsHandler handler) override;
  void stop() override;

 private:
  void deliverLocked();

  mutable Mutex mutex_;
  ApplicationIndexStart outcome_ = ApplicationIndexStart::started;
  bool isSilent_ = false;
  std::vector<ApplicationIndexEntry> entries_;
  WorkQueue* queue_ = nullptr;
  ResultsHandler handler_;
};

}  // namespace tavik
