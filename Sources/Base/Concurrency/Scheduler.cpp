#include "Base/Concurrency/Scheduler.h"

namespace tavik {

void Scheduler::sleep(Duration duration) {
  auto task = TaskRecord::current();
  const MonotonicTime deadline = now() + duration;
  while (true) {
    if (task->isCancelled()) throw CancellationError();
    if (now() >= deadline) return;
    park("sleep", deadline);
  }
}

void Scheduler::checkCancellation() {
  if (TaskRecord::current()->isCancelled()) throw CancellationError();
}

}  // namespace tavik
