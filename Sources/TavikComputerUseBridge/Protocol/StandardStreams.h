#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// Writes whole lines to a descriptor, in the order given, on a thread of its own:
/// nobody waits for a reader that is slow. What cannot be written is dropped.
class LineWriter {
 public:
  LineWriter(Scheduler& scheduler, int descriptor);
  /// Any thread.
  void write(std::string line);
  /// Waits until everything is written.
  void flush();

 private:
  const int descriptor_;
  SerialQueue queue_;
};

/// Reads the descriptor to its end, on the calling thread, and hands on each line,
/// or nothing for one of more than `maximumBytes`.
void readLines(int descriptor, std::size_t maximumBytes,
               const std::function<void(std::optional<std::string>)>& handler);

}  // namespace tavik
