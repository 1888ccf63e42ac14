#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik {

/// A reference to the code that a process runs; opaque to the core.
using CodeReference = std::string;

template <class T>
struct StatusResult {
  /// 0 on success.
  std::int32_t status = 0;
  std::optional<T> value;
};

/// What a signature says of its code.
struct SigningInformation {
  std::optional<std::string> teamIdentifier;
  std::optional<std::string> identifier;
};

/// Who a process is. Operations may be called from any thread and do not throw.
class CodeIdentityPort {
 public:
  virtual ~CodeIdentityPort() = default;
  /// The code of the running process; fails when it does not exist.
  virtual StatusResult<CodeReference> copyGuest(std::int32_t pid) = 0;
  /// The code on disk behind it.
  virtual StatusResult<CodeReference> copyStaticCode(const CodeReference& guest) = 0;
  virtual StatusResult<SigningInformation> copySigningInformation(const CodeReference& code) = 0;
};

}  // namespace tavik
