#include "ComputerUsePlatform/IPC/ComputerUseIPCSenderAuthorization.h"

#include <gtest/gtest.h>

#include "Backends/Simulated/System/SimulatedCodeIdentity.h"
#include "Backends/Simulated/System/SimulatedPreferences.h"

namespace tavik {
namespace {

constexpr const char* trustedTeam = BundleIdentifiers::defaultTeamIdentifier;

struct AuthorizationDesk {
  SimulatedCodeIdentity codeIdentity;
  SimulatedPreferences properties;
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
  desk.codeIdentity.state(7, trustedTeam, "com.tavik.ide");
  const auto sender = desk.authorization.verifySender(7);
  EXPECT_EQ(sender.teamID, trustedTeam);
  EXPECT_EQ(sender.bundleID, "com.tavik.ide");
}

TEST(ComputerUseIPCSenderAuthorization, aProcessThatDoesNotExistFailsWithItsStatus) {
  AuthorizationDesk desk;
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: 100003");
}

TEST(ComputerUseIPCSenderAuthorization, eachStepThatFailsReportsItsStatus) {
  AuthorizationDesk desk;
  desk.codeIdentity.state(7, {.guestStatus = -1, .staticCodeStatus = -2, .informationStatus = -3});
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: -1");
  desk.codeIdentity.state(7, {.guestStatus = 0, .staticCodeStatus = -2, .informationStatus = -3});
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: -2");
  desk.codeIdentity.state(7, {.guestStatus = 0, .staticCodeStatus = 0, .informationStatus = -3});
  EXPECT_EQ(desk.refusal(), "Code signing verification failed: -3");
}

TEST(ComputerUseIPCSenderAuthorization, aStepWithoutAResultFailsThoughItsStatusIsZero) {
  struct EmptyHanded : SimulatedCodeIdentity {
    StatusResult<CodeReference> copyGuest(std::int32_t) override { return {0, std::nullopt}; }
  } codeIdentity;
  SimulatedPreferences properties;
  const BundleIdentifiers identifiers(properties);
  try {
    ComputerUseIPCSenderAuthorization(codeIdentity, identifiers).verifySender(7);
    FAIL() << "trusted";
  } catch (const AuthorizationError& error) {
    EXPECT_EQ(error.description(), "Code signing verification failed: 0");
  }
}

TEST(ComputerUseIPCSenderAuthorization, theTeamIsCheckedBeforeTheIdentifier) {
  AuthorizationDesk desk;
  desk.codeIdentity.state(7, "STRANGER00", "com.stranger");
  EXPECT_EQ(desk.refusal(), "Untrusted team identifier: STRANGER00");
  desk.codeIdentity.state(7, {.information = {std::nullopt, "com.tavik.ide"}});
  EXPECT_EQ(desk.refusal(), "Untrusted team identifier: nil");
}

TEST(ComputerUseIPCSenderAuthorization, theIdentifierMustBeTrustedToo) {
  AuthorizationDesk desk;
  desk.codeIdentity.state(7, trustedTeam, "com.stranger");
  EXPECT_EQ(desk.refusal(), "Untrusted bundle identifier: com.stranger");
  desk.codeIdentity.state(7, {.information = {trustedTeam, std::nullopt}});
  EXPECT_EQ(desk.refusal(), "Untrusted bundle identifier: nil");
}

TEST(ComputerUseIPCSenderAuthorization, trustFollowsTheApplicationsProperties) {
  AuthorizationDesk desk;
  desk.codeIdentity.state(7, trustedTeam, "com.tavik.ide");
  desk.properties.setApplicationProperty("TavikComputerUseTrustedTeamIdentifiers", std::string("OTHERTEAM0"));
  EXPECT_EQ(desk.refusal(), std::string("Untrusted team identifier: ") + trustedTeam);
  desk.codeIdentity.state(7, "OTHERTEAM0", "com.other");
  desk.properties.setApplicationProperty("TavikComputerUseTrustedBundleIdentifiers",
                                         std::string("com.other"));
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
