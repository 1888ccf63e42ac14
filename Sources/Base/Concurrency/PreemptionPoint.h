#pragma once

namespace tavik {

/// Where a seeded simulation may let another task run: before an outermost lock.
/// Each thread has at most one; real threads have none.
class PreemptionPoint {
 public:
  virtual ~PreemptionPoint() = default;
  virtual void beforeLock() = 0;

  static PreemptionPoint* ofThisThread();
  static void setForThisThread(PreemptionPoint* point);
};

/// Keeps the calling thread from giving way while it lives.
class WithoutPreemption {
 public:
  WithoutPreemption() : point_(PreemptionPoint::ofThisThread()) { PreemptionPoint::setForThisThread(nullptr); }
  ~WithoutPreemption() { PreemptionPoint::setForThisThread(point_); }
  WithoutPreemption(const WithoutPreemption&) = delete;
  WithoutPreemption& operator=(const WithoutPreemption&) = delete;

 private:
  PreemptionPoint* point_;
};

}  // namespace tavik
