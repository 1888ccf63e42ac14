#pragma once

namespace tavik::requestBus {

/// Where the runtime is found on the session bus, and what it answers there.
inline constexpr const char* name = "com.tavik.computeruse";
inline constexpr const char* path = "/com/tavik/computeruse";
inline constexpr const char* interface = "com.tavik.computeruse.Requests";
inline constexpr const char* method = "SendRequest";

/// Request type, request data, request identifier (empty means none).
inline constexpr const char* requestSignature = "says";
/// Answer, error number (0 means success), error text.
inline constexpr const char* replySignature = "ayis";

inline constexpr const char* interfaceDescription = R"(
  <interface name="com.tavik.computeruse.Requests">
    <method name="SendRequest">
      <arg name="requestType" type="s" direction="in"/>
      <arg name="requestData" type="ay" direction="in"/>
      <arg name="requestID" type="s" direction="in"/>
      <arg name="directObject" type="ay" direction="out"/>
      <arg name="errorNumber" type="i" direction="out"/>
      <arg name="errorString" type="s" direction="out"/>
    </method>
  </interface>
)";

}  // namespace tavik::requestBus
