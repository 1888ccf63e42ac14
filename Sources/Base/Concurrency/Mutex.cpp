#include "Base/Concurrency/Mutex.h"

#include <cstdio>
#include <cstdlib>

#include "Base/Concurrency/PreemptionPoint.h"

namespace tavik {

namespace {
thread_local int heldLocks = 0;
thread_local PreemptionPoint* preemptionPoint = nullptr;
}  // namespace

PreemptionPoint* PreemptionPoint::ofThisThread() { return preemptionPoint; }

void PreemptionPoint::setForThisThread(PreemptionPoint* point) { preemptionPoint = point; }

void Mutex::lock() {
  if (preemptionPoint && heldLocks == 0) preemptionPoint->beforeLock();
  mutex_.lock();
  ++heldLocks;
}

void Mutex::unlock() {
  --heldLocks;
  mutex_.unlock();
}

bool Mutex::try_lock() {
  bool locked = mutex_.try_lock();
  if (locked) ++heldLocks;
  return locked;
}

int Mutex::heldByThisThread() { return heldLocks; }

void failContract(const char* message) {
  std::fprintf(stderr, "broken contract: %s\n", message);
  std::abort();
}

void requireNoLockHeld(const char* operation) {
  if (heldLocks == 0) return;
  std::fprintf(stderr, "broken contract: a lock is held across %s\n", operation);
  std::abort();
}

}  // namespace tavik
