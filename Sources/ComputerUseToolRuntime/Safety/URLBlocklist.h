#pragma once

#include <exception>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "SlimCore/Identity/FeatureFlag.h"

namespace tavik {

/// Stops on web addresses that the agent must not work on. Whoever owns the list
/// gives the patterns; with none nothing is blocked. Whatever is no web address
/// passes. Any thread.
class URLBlocklist {
 public:
  class BlocklistError : public std::exception {
   public:
    static BlocklistError disallowedURL(const std::string& url) {
      return BlocklistError("Computer Use stopped due to encountering a disallowed URL: " + url);
    }
    const char* what() const noexcept override { return description_.c_str(); }

   private:
    explicit BlocklistError(std::string description) : description_(std::move(description)) {}
    std::string description_;
  };

  URLBlocklist(PreferencesPort& preferences, Scheduler& scheduler) : flags_(preferences), scheduler_(scheduler) {}

  /// Replaces the patterns. ".example.test" and "example.test" both block every host
  /// below that domain; the domain itself has to be a pattern of its own.
  void loadPatterns(std::set<std::string> patterns);
  std::optional<WallTime> lastFetchDate();

  /// Throws `BlocklistError` for a blocked address.
  void checkURL(const std::string& urlString);

 private:
  struct CacheEntry {
    bool isBlocked = false;
    MonotonicTime timestamp;
  };

  bool isHostBlocked(const std::string& host) const;

  /// A user may work on blocked addresses all the same.
  const FeatureFlag flags_;
  Scheduler& scheduler_;
  Mutex lock_;
  std::map<std::string, CacheEntry> cache_;
  std::set<std::string> blockedPatterns_;
  std::optional<WallTime> lastFetchDate_;
};

}  // namespace tavik
