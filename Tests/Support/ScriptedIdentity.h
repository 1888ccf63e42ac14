#pragma once

#include <map>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/CodeIdentityPort.h"
#include "PlatformInterfaces/PreferencesPort.h"
#include "SlimCore/Identity/BundleIdentifiers.h"

namespace tavik {

/// Signatures as a test wants them, the same for every process.
class ScriptedCodeIdentity : public CodeIdentityPort {
 public:
  StatusResult<CodeReference> guest{0, "guest"};
  StatusResult<CodeReference> staticCode{0, "code"};
  StatusResult<SigningInformation> signing{
      0, SigningInformation{BundleIdentifiers::defaultTeamIdentifier, "com.tavik.ide"}};

  StatusResult<CodeReference> copyGuest(std::int32_t) override {
    requireNoLockHeld("copyGuest");
    return guest;
  }
  StatusResult<CodeReference> copyStaticCode(const CodeReference&) override { return staticCode; }
  StatusResult<SigningInformation> copySigningInformation(const CodeReference&) override { return signing; }
};

/// The application's properties from a map; nothing is set by the user.
class ScriptedProperties : public PreferencesPort {
 public:
  std::map<std::string, PropertyValue> values;

  std::optional<PropertyValue> object(const std::string&) override { return std::nullopt; }
  std::optional<PropertyValue> applicationProperty(const std::string& key) override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
};

}  // namespace tavik
