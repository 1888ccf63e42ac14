#include "ComputerUseToolRuntime/Safety/URLBlocklist.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr Duration answerLifetime = seconds(3600);

/// The host of a web address, in lower case; absent for anything else.
std::optional<std::string> webHost(const std::string& url) {
  const std::size_t colon = url.find(':');
  if (colon == std::string::npos) return std::nullopt;
  const std::string scheme = text::lowercased(std::string_view(url).substr(0, colon));
  if (scheme != "http" && scheme != "https") return std::nullopt;
  std::string_view rest = std::string_view(url).substr(colon + 1);
  if (!rest.starts_with("//")) return std::nullopt;
  rest.remove_prefix(2);
  if (text::containsWhiteSpace(rest)) return std::nullopt;
  rest = rest.substr(0, rest.find_first_of("/?#"));
  if (const auto at = rest.rfind('@'); at != std::string_view::npos) rest.remove_prefix(at + 1);
  const bool isAddress = rest.starts_with('[');
  rest = isAddress ? rest.substr(0, rest.find(']') + 1) : rest.substr(0, rest.find(':'));
  if (rest.empty()) return std::nullopt;
  return text::lowercased(rest);
}

}  // namespace

void URLBlocklist::loadPatterns(std::set<std::string> patterns) {
  const WallTime now = scheduler_.wallTime();
  MutexLock lock(lock_);
  blockedPatterns_ = std::move(patterns);
  lastFetchDate_ = now;
  cache_.clear();
}

std::optional<WallTime> URLBlocklist::lastFetchDate() {
  MutexLock lock(lock_);
  return lastFetchDate_;
}

void URLBlocklist::checkURL(const std::string& urlString) {
  const auto host = webHost(urlString);
  if (!host || flags_.computerUseAllowForbiddenTargets()) return;
  const MonotonicTime now = scheduler_.now();
  bool isBlocked = false;
  {
    MutexLock lock(lock_);
    const auto known = cache_.find(*host);
    if (known != cache_.end() && now - known->second.timestamp < answerLifetime) {
      isBlocked = known->second.isBlocked;
    } else {
      isBlocked = isHostBlocked(*host);
      cache_[*host] = {isBlocked, now};
    }
  }
  if (isBlocked) throw BlocklistError::disallowedURL(urlString);
}

bool URLBlocklist::isHostBlocked(const std::string& host) const {
  return std::ranges::any_of(blockedPatterns_, [&](const std::string& pattern) {
    return host.ends_with(pattern.starts_with('.') ? pattern : "." + pattern);
  });
}

}  // namespace tavik
