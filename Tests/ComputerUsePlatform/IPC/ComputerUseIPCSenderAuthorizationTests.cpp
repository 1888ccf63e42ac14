#include "ComputerUsePlatform/IPC/ComputerUseIPCSenderAuthorization.h"

#include <gtest/gtest.h>

#include "Tests/Support/ScriptedIdentity.h"

namespace tavik {
namespace {

struct AuthorizationDesk {
  ScriptedCodeIdentity codeIdentity;
  ScriptedProperties properties;
  BundleIdentifiers identifiers{properties};
  ComputerUseIPCSenderAuthorization authorization{codeIdentity, identifiers};

  std::string refusal() {
    try {
      authorization.verifySender(7);
      return "trusted";
    } catch (const AuthorizationError& error) {
      return error.description();
    }
  }
};

TEST(ComputerUseIPCSenderAuthorization, aTrustedSenderIsNamed) {
  AuthorizationDesk desk;
  const auto sender = desk.authorization.verifySender(7);
  EXPECT_EQ(sender.teamID, BundleIdentifiers::defaultTeamIdentifier);
  EXPECT_EQ(sender.bundleID, "com.tavik.ide");
}

TEST(ComputerUseIPCSenderAuthorization, eachStepThatFailsReportsItsStatus) {
  AuthorizationDesk desk;
  desk.codeIdentity.signing = {-67062, SigningInformation{}};
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: -67062");
  desk.codeIdentity.staticCode = {-3, "code"};
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: -3");
  desk.codeIdentity.guest = {100001, std::nullopt};
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: 100001");
}

TEST(ComputerUseIPCSenderAuthorization, aStepWithoutAResultFailsThoughItsStatusIsZero) {
  AuthorizationDesk desk;
  desk.codeIdentity.guest = {0, std::nullopt};
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: 0");
}

TEST(ComputerUseIPCSenderAuthorization, theTeamIsCheckedBeforeTheIdentifier) {
  AuthorizationDesk desk;
  desk.codeIdentity.signing.value = SigningInformation{"STRANGER00", "com.stranger"};
  EXPECT_EQ(desk.refusal(), "Untrusted team identifier: STRANGER00");
  desk.codeIdentity.signing.value = SigningInformation{std::nullopt, "com.tavik.ide"};
  EXPECT_EQ(desk.refusal(), "Untrusted team identifier: nil");
}

TEST(ComputerUseIPCSenderAuthorization, theIdentifierMustBeTrustedToo) {
  AuthorizationDesk desk;
  desk.codeIdentity.signing.value->identifier = "com.stranger";
  EXPECT_EQ(desk.refusal(), "Untrusted bundle identifier: com.stranger");
  desk.codeIdentity.signing.value->identifier = std::nullopt;
  EXPECT_EQ(desk.refusal(), "Untrusted bundle identifier: nil");
}

TEST(ComputerUseIPCSenderAuthorization, trustFollowsTheApplicationsProperties) {
  AuthorizationDesk desk;
  desk.properties.values["TavikComputerUseTrustedTeamIdentifiers"] = std::string("OTHERTEAM0");
  EXPECT_EQ(desk.refusal(), "Untrusted team identifier: TAVIKDEV00");
  desk.codeIdentity.signing.value = SigningInformation{"OTHERTEAM0", "com.other"};
  desk.properties.values["TavikComputerUseTrustedBundleIdentifiers"] = std::string("com.other");
  EXPECT_EQ(desk.refusal(), "trusted");
}

TEST(AuthorizationError, tellsStrangersItsTypeAndPositionAlone) {
  EXPECT_STREQ(AuthorizationError::senderNotFound(3).what(),
               "The operation couldn’t be completed. (AuthorizationError error 0.)");
  EXPECT_STREQ(AuthorizationError::codeSigningError(3).what(),
               "The operation couldn’t be completed. (AuthorizationError error 1.)");
  EXPECT_STREQ(AuthorizationError::untrustedTeamID("X").what(),
               "The operation couldn’t be completed. (AuthorizationError error 2.)");
  EXPECT_STREQ(AuthorizationError::untrustedBundleID("X").what(),
               "The operation couldn’t be completed. (AuthorizationError error 3.)");
  EXPECT_EQ(AuthorizationError::senderNotFound(3).description(), "Sender process not found: 3");
}

}  // namespace
}  // namespace tavik
