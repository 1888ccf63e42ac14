#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// One item of the index with its attributes as they stand there. An attribute that
/// is missing or of another type than here is absent, and so is a date without a
/// finite value; a date outside what `WallTime` holds is moved to its nearer end.
struct ApplicationIndexEntry {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> path;
  std::optional<std::string> displayName;
  std::optional<std::string> fileName;
  std::optional<WallTime> lastUsedDate;
  std::optional<std::int64_t> useCount;

  bool operator==(const ApplicationIndexEntry&) const = default;
};

enum class ApplicationIndexStart {
  started,
  /// There is no index to ask.
  creationFailed,
  /// There is one, and it does not answer.
  executionFailed,
};

/// A live query of all application bundles of the machine. Any thread.
class ApplicationIndexPort {
 public:
  using ResultsHandler = std::function<void(const std::vector<ApplicationIndexEntry>&)>;

  virtual ~ApplicationIndexPort() = default;

  /// Begins to watch. Once all are gathered, and after each change, the handler runs
  /// on `queue` with the whole list. Only one watch at a time; may be called again
  /// after `stop`. Unless it answers `started`, the handler is never run.
  virtual ApplicationIndexStart start(WorkQueue& queue, ResultsHandler handler) = 0;
  /// Afterwards nothing more is put on the queue. Without a watch it does nothing.
  virtual void stop() = 0;
};

}  // namespace tavik
