#pragma once

#include <exception>

namespace tavik {

/// Thrown by a wait that ended early because its task was cancelled.
class CancellationError : public std::exception {
 public:
  const char* what() const noexcept override { return "cancelled"; }
};

}  // namespace tavik
