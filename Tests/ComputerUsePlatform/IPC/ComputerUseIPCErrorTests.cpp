#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"

#include <gtest/gtest.h>

#include "ComputerUseContracts/ComputerUseIPCConstants.h"

namespace tavik {
namespace {

using Case = ComputerUseIPCError::Case;

TEST(ComputerUseIPCError, eachCaseHasItsNumberAndName) {
  const std::vector<std::tuple<Case, int, std::string>> expected{
      {Case::unknown, -10000, "unknown"},
      {Case::authorizationFailed, -10006, "authorizationFailed"},
      {Case::uiElementError, -10008, "uiElementError"},
      {Case::bundleIdLookupError, -10010, "bundleIdLookupError"},
      {Case::timeout, -10011, "timeout"},
      {Case::cancelled, -10012, "cancelled"},
      {Case::urlBlocklist, -10015, "urlBlocklist"},
      {Case::rateLimited, -10016, "rateLimited"},
  };
  for (const auto& [which, number, name] : expected) {
    EXPECT_EQ(ComputerUseIPCError(which).rawValue(), number);
    EXPECT_EQ(ComputerUseIPCError(which).what(), name);
  }
}

TEST(ComputerUseIPCError, theLogNamesTypeDomainAndNumber) {
  const LoggedError logged = LoggedError::describing(ComputerUseIPCError(Case::timeout));
  EXPECT_EQ(logged.typeName, "ComputerUseIPCError");
  EXPECT_EQ(logged.domain, "ComputerUsePlatform.ComputerUseIPCError");
  EXPECT_EQ(logged.code, -10011);
}

TEST(ComputerUseIPCConstants, codesAreFourCharactersInBigEndianOrder) {
  EXPECT_EQ(ComputerUseIPCConstants::eventClass, 0x4F764375u);
  EXPECT_EQ(ComputerUseIPCConstants::eventID, 0x536E6452u);
  EXPECT_EQ(ComputerUseIPCConstants::paramDirectObject, 0x2D2D2D2Du);
}

}  // namespace
}  // namespace tavik
