#pragma once

#include <cstdint>

namespace tavik {

using FourCharCode = std::uint32_t;

/// Four characters as one big-endian number.
constexpr FourCharCode fourCharCode(const char (&text)[5]) {
  FourCharCode code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// What the two ends of the request transport agree on.
struct ComputerUseIPCConstants {
  static constexpr FourCharCode eventClass = fourCharCode("OvCu");
  static constexpr FourCharCode eventID = fourCharCode("SndR");
  static constexpr FourCharCode paramRequestType = fourCharCode("RspT");
  static constexpr FourCharCode paramRequestData = fourCharCode("ReqD");
  static constexpr FourCharCode paramRequestID = fourCharCode("RqID");
  /// For the client's own use; the server does not read these two.
  static constexpr FourCharCode paramContextMetadata = fourCharCode("CxMd");
  static constexpr FourCharCode paramClientVersion = fourCharCode("ClVn");
  static constexpr FourCharCode paramDirectObject = fourCharCode("----");
  static constexpr FourCharCode paramErrorNumber = fourCharCode("errn");
  static constexpr FourCharCode paramErrorString = fourCharCode("errs");

  /// How long a client waits for the answer to one request.
  static constexpr double sendTimeoutSeconds = 120.0;
  /// How long the runtime lives without a request.
  static constexpr double idleTimeoutSeconds = 300.0;
};

}  // namespace tavik
