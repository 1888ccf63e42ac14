#include "Base/Encoding/UUID.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace tavik {
namespace {

TEST(UUID, isAVersionFourIdentifierInUpperCase) {
  for (int i = 0; i < 1000; ++i) {
    EXPECT_THAT(UUID::make().string(),
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  }
}

TEST(UUID, isUniqueAlsoAmongThreads) {
  constexpr int kPerThread = 2000;
  std::vector<std::vector<std::string>> made(4);
  {
    std::vector<std::jthread> threads;
    for (auto& list : made) {
      threads.emplace_back([&list] {
        for (int i = 0; i < kPerThread; ++i) list.push_back(UUID::make().string());
      });
    }
  }
  std::set<std::string> distinct;
  for (const auto& list : made) distinct.insert(list.begin(), list.end());
  EXPECT_EQ(distinct.size(), 4u * kPerThread);
}

}  // namespace
}  // namespace tavik
