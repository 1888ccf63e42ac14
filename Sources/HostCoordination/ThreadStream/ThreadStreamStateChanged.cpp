#include "HostCoordination/ThreadStream/ThreadStreamStateChanged.h"

#include <algorithm>
#include <array>
#include <ranges>
#include <string_view>
#include <vector>

#include "HostCoordination/Wire/HostCoordinationMethods.h"

namespace tavik {

namespace {

using Value = HostCoordinationJSONValue;
/// Active, inactive, or nothing known.
using Activity = std::optional<bool>;

constexpr const char* runtimeStatusKey = "threadRuntimeStatus";
constexpr const char* turnsKey = "entitiesByKey";

bool contains(const auto& range, std::string_view text) {
  return std::ranges::find(range, text) != std::ranges::end(range);
}

const std::string* textMember(const Value& object, const char* key) {
  const Value* member = object.member(key);
  return member ? member->stringValue() : nullptr;
}

Activity isTurnStatusActive(const std::string& status) {
  constexpr std::array<std::string_view, 3> active = {"inProgress", "running", "active"};
  constexpr std::array<std::string_view, 5> inactive = {"completed", "failed", "interrupted", "cancelled",
                                                        "canceled"};
  if (contains(active, status)) return true;
  if (contains(inactive, status)) return false;
  return std::nullopt;
}

Activity activityOfRuntimeStatus(const std::string* type) {
  return type ? Activity(*type == "active") : std::nullopt;
}

const Value* turnsOf(const Value& state) {
  const Value* history = state.member("turnHistory");
  if (history) history = history->member("history");
  const Value* turns = history ? history->member(turnsKey) : nullptr;
  return turns && turns->objectValue() ? turns : nullptr;
}

Activity activeTurnState(const Value& state) {
  const Value* runtimeStatus = state.member(runtimeStatusKey);
  const Activity runtime = runtimeStatus ? activityOfRuntimeStatus(textMember(*runtimeStatus, "type")) : std::nullopt;
  if (runtime == true) return true;

  const Value* turns = turnsOf(state);
  if (turns) {
    const auto isInProgress = [](const auto& turn) {
      const std::string* status = textMember(turn.second, "status");
      return status && *status == "inProgress";
    };
    if (std::ranges::any_of(*turns->objectValue(), isInProgress)) return true;
  }
  return runtime || turns ? Activity(false) : std::nullopt;
}

/// The steps of a patch's path that are texts; the others are indices.
std::vector<std::string_view> pathOf(const Value& patch) {
  std::vector<std::string_view> path;
  const Value* steps = patch.member("path");
  if (!steps || !steps->arrayValue()) return path;
  for (const Value& step : *steps->arrayValue()) {
    if (step.stringValue()) path.push_back(*step.stringValue());
  }
  return path;
}

bool endsWith(const std::vector<std::string_view>& path, std::initializer_list<std::string_view> end) {
  return path.size() >= end.size() && std::equal(end.begin(), end.end(), path.end() - static_cast<std::ptrdiff_t>(end.size()));
}

Activity activityOfPatch(const Value& patch) {
  const Value* value = patch.member("value");
  if (!value) return std::nullopt;
  const std::vector<std::string_view> path = pathOf(patch);
  if (endsWith(path, {runtimeStatusKey})) return activityOfRuntimeStatus(textMember(*value, "type"));
  if (endsWith(path, {runtimeStatusKey, "type"})) return activityOfRuntimeStatus(value->stringValue());
  if (!contains(path, turnsKey)) return std::nullopt;
  if (endsWith(path, {"status"})) {
    return value->stringValue() ? isTurnStatusActive(*value->stringValue()) : std::nullopt;
  }
  const std::string* status = textMember(*value, "status");
  return status && value->member("turnId") ? isTurnStatusActive(*status) : std::nullopt;
}

Activity activityOfPatches(const Value& change) {
  const Value* patches = change.member("patches");
  if (!patches || !patches->arrayValue()) return std::nullopt;
  for (const Value& patch : std::views::reverse(*patches->arrayValue())) {
    if (const Activity activity = activityOfPatch(patch)) return activity;
  }
  return std::nullopt;
}

Activity activityOf(const Value& change) {
  const std::string* type = textMember(change, "type");
  if (!type) return std::nullopt;
  if (*type == "patches") return activityOfPatches(change);
  const Value* state = *type == "snapshot" ? change.member("conversationState") : nullptr;
  return state && state->objectValue() ? activeTurnState(*state) : std::nullopt;
}

}  // namespace

std::optional<ThreadStreamStateChanged> ThreadStreamStateChanged::from(
    const HostCoordinationBroadcast& broadcast) {
  if (broadcast.method != HostCoordinationMethods::threadStreamStateChanged ||
      broadcast.version != HostCoordinationMethods::threadStreamStateChangedVersion) {
    return std::nullopt;
  }
  const std::string* conversation = textMember(broadcast.params, "conversationId");
  const Value* change = broadcast.params.member("change");
  if (!conversation || !change) return std::nullopt;
  const std::string* host = textMember(broadcast.params, "hostId");
  return ThreadStreamStateChanged{*conversation, host ? std::optional(*host) : std::nullopt, *change};
}

std::optional<HostConversationActivityChange> ThreadStreamStateChanged::activityChange() const {
  const Activity activity = activityOf(change);
  if (!activity) return std::nullopt;
  return HostConversationActivityChange{conversationID, *activity};
}

}  // namespace tavik
