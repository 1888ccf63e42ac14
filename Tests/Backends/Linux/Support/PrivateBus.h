#pragma once

#include <sys/types.h>

#include <string>

namespace tavik {

/// A message bus that only this test knows, on an address that stays the same when
/// the bus is stopped and started again. Ends with the object.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }
  /// Returns when the bus listens.
  void start();
  /// Returns when the bus has ended.
  void stop();

 private:
  std::string directory_;
  std::string address_;
  pid_t pid_ = 0;
};

}  // namespace tavik
