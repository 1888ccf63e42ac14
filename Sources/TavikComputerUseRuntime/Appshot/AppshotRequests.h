#pragma once

#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"
#include "TavikComputerUseRuntime/Appshot/AppshotCaptures.h"

namespace tavik {

/// Answers the requests that start, follow and cancel an Appshot. Called on the
/// requests' own tasks, many at once.
class AppshotRequests {
 public:
  /// The captures may be null, which every request is told.
  explicit AppshotRequests(AppshotCaptures* captures) : captures_(captures) {}

  /// The answer; nothing when the request is of another type. Throws `ToolError` where
  /// there are no Appshots, and `DecodingError`.
  std::optional<Bytes> answer(const std::string& requestType, const Bytes& requestData);

 private:
  AppshotCaptures& captures() const;
  Bytes start(const Bytes& requestData);
  Bytes next(const Bytes& requestData);
  Bytes cancel(const Bytes& requestData);

  AppshotCaptures* const captures_;
};

}  // namespace tavik
