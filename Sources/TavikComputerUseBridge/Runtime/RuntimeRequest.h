#pragma once

#include <string>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// One request record, ready to be sent.
struct RuntimeRequest {
  /// What the runtime answers with, unless it answers with a tool result.
  enum class Response { toolResult, recordingStatus };

  std::string requestType;
  /// The record's JSON.
  Bytes data;
  Response response = Response::toolResult;
  /// Whether it changes nothing, so that sending it again can do no harm.
  bool isRepeatable = false;
};

}  // namespace tavik
