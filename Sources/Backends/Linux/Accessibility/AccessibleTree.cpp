#include "Backends/Linux/Accessibility/AccessibleTree.h"

#include <algorithm>
#include <set>

#include "Backends/Linux/Accessibility/FactQuestions.h"
#include "Backends/Linux/Accessibility/NodeView.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;

/// A whole-tree reading gives up here, so that whoever asked still has time to use
/// what came; the rest is asked node by node.
constexpr std::chrono::milliseconds prefetchBudget = 3s;

constexpr std::uint32_t screenCoordinates = 0;

constexpr std::string_view cacheItemsSignature = "a((so)(so)(so)iiassusau)";

/// An application that names none of this many objects names none at all; one that
/// is known for it is asked a few times only, in case a new part of it does.
constexpr int firstIdentifierSample = 32;
constexpr int laterIdentifierSample = 4;

/// The kind of so many first children tells how a container is to be shown.
constexpr int kindSampleSize = 8;

/// The children of one object as a cache lists them.
struct ListedChildren {
  std::vector<std::pair<std::int64_t, AccessibleReference>> byIndex;

  bool areComplete(std::int64_t count) {
    if (count < 0 || byIndex.size() != static_cast<std::size_t>(count)) return false;
    std::sort(byIndex.begin(), byIndex.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    auto sameIndex = [](const auto& a, const auto& b) { return a.first == b.first; };
    return std::adjacent_find(byIndex.begin(), byIndex.end(), sameIndex) == byIndex.end();
  }
};

}  // namespace

/// One reading of everything below some roots.
struct AccessibleTree::Walk {
  FactFetcher& fetcher;
  std::unordered_set<AccessibleReference> roots;
  /// Objects whose children have been taken in, and objects met as a child: a tree
  /// that comes back to itself is walked once.
  std::unordered_set<AccessibleReference> expanded;
  std::unordered_set<AccessibleReference> met;
  /// How many objects are still asked for an identifier.
  int identifierSamples = firstIdentifierSample;
  bool foundIdentifier = false;
};

AccessibleTree::AccessibleTree(BusConnection& bus, ApplicationHabits& habits,
                               std::vector<AccessibleApplication> applications,
                               std::chrono::milliseconds timeout)
    : bus_(bus), habits_(habits), applications_(std::move(applications)), timeout_(timeout) {}

Toolkit AccessibleTree::toolkit(const AccessibleReference& object) const {
  for (const AccessibleApplication& application : applications_) {
    if (application.root.bus == object.bus) return application.toolkit;
  }
  return Toolkit::other;
}

bool AccessibleTree::isRoot(const AccessibleReference& object) const {
  for (const AccessibleApplication& application : applications_) {
    if (application.root == object) return true;
  }
  return false;
}

const AccessibleFacts& AccessibleTree::read(const AccessibleReference& object, Facets facets) {
  auto known = facts_.find(object);
  if (known != facts_.end() && known->second.knows(facets)) return known->second;
  readAll({object}, facets);
  return facts_[object];
}

void AccessibleTree::readAll(const std::vector<AccessibleReference>& objects, Facets facets) {
  std::vector<AccessibleReference> missing;
  for (const AccessibleReference& object : objects) {
    AccessibleFacts& facts = facts_[object];
    bool isDead = facts.failure == AXError::invalidUIElement;
    if (!isDead && !facts.knows(facets)) missing.push_back(object);
  }
  if (missing.empty()) return;
  if (isSilent_) {
    for (const AccessibleReference& object : missing) facts_[object].failure = AXError::cannotComplete;
    return;
  }
  FactFetcher fetcher(
      bus_, facts_, [this](const auto& object) { return toolkit(object); }, timeout_,
      std::max<std::chrono::milliseconds>(timeout_, prefetchBudget));
  for (const AccessibleReference& object : missing) {
    facts_[object].failure = AXError::success;
    fetcher.want(object, facets);
  }
  isSilent_ = fetcher.run(nullptr) == FactFetcher::Outcome::silent;
  if (facets & actionsFacet) nameActions(missing);
}

std::optional<long> AccessibleTree::textOffset(const AccessibleReference& object, Point point) {
  BusMessage question = accessibility::call(object, accessibility::text, "GetOffsetAtPoint");
  BusWriter(question)
      .int32(static_cast<std::int32_t>(point.x))
      .int32(static_cast<std::int32_t>(point.y))
      .uint32(screenCoordinates);
  BusReply reply = ask(question);
  if (!reply.ok()) return std::nullopt;
  long offset = reply.read().integer();
  return offset >= 0 ? std::optional(offset) : std::nullopt;
}

std::optional<AccessibleReference> AccessibleTree::objectAt(const AccessibleReference& object, Point point) {
  BusMessage question = accessibility::call(object, accessibility::component, "GetAccessibleAtPoint");
  BusWriter(question)
      .int32(static_cast<std::int32_t>(point.x))
      .int32(static_cast<std::int32_t>(point.y))
      .uint32(screenCoordinates);
  BusReply reply = ask(question);
  if (!reply.ok()) return std::nullopt;
  BusReader answer = reply.read();
  AccessibleReference found = readReference(answer);
  return found.isNull() ? std::nullopt : std::optional(found);
}

BusReply AccessibleTree::ask(const BusMessage& question) {
  if (isSilent_) return {BusReply::Status::timedOut, {}};
  BusReply reply = bus_.call(question, timeout_);
  isSilent_ = reply.status == BusReply::Status::timedOut;
  return reply;
}

void AccessibleTree::prefetch(const std::vector<AccessibleReference>& roots) {
  for (const AccessibleReference& root : roots) {
    prefetched_.insert(root);
    // Qt has the call and answers with nothing.
    bool hasList = toolkit(root) != Toolkit::qt && listed_.insert(root.bus).second;
    if (hasList && !loadCache(root.bus)) {
      isSilent_ = true;
      return;
    }
  }
  FactFetcher fetcher(
      bus_, facts_, [this](const auto& object) { return toolkit(object); }, timeout_, prefetchBudget);
  Walk walk{.fetcher = fetcher, .roots = {roots.begin(), roots.end()}, .expanded = {}, .met = {}};
  if (!roots.empty() && habits_.givesNoIdentifiers(roots.front().bus))
    walk.identifierSamples = laterIdentifierSample;
  for (const AccessibleReference& root : roots) {
    walk.met.insert(root);
    fetcher.want(root, baseFacets | parentFacet);
  }
  auto outcome = fetcher.run(
      [&](const AccessibleReference& object, AccessibleFacts& facts) { advance(walk, object, facts); });
  isSilent_ = outcome == FactFetcher::Outcome::silent;
  if (!roots.empty() && outcome == FactFetcher::Outcome::complete) {
    habits_.noteIdentifiers(roots.front().bus, walk.foundIdentifier);
  }
  nameActions({walk.expanded.begin(), walk.expanded.end()});
}

void AccessibleTree::nameActions(const std::vector<AccessibleReference>& objects) {
  constexpr std::uint64_t actionsPerObject = 64;
  auto isUnnamed = [&](const AccessibleFacts& facts) {
    return facts.knows(actionsFacet) && !facts.actions.empty() && facts.actions.front().name.empty();
  };
  auto applyLearned = [&](const AccessibleReference& object, AccessibleFacts& facts) {
    auto names = habits_.actionNames(toolkit(object), facts.actions);
    for (std::size_t i = 0; names && i < names->size(); ++i) facts.actions[i].name = (*names)[i];
    return names.has_value();
  };
  if (isSilent_) return;
  BusFlight flight(bus_);
  std::set<std::vector<std::string>> asked;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    AccessibleFacts& facts = facts_[objects[i]];
    if (!isUnnamed(facts) || applyLearned(objects[i], facts)) continue;
    std::vector<std::string> localized;
    for (const AccessibleAction& action : facts.actions) localized.push_back(action.localizedName);
    bool canBeLearned = std::find(localized.begin(), localized.end(), "") == localized.end();
    if (canBeLearned && !asked.insert(localized).second) continue;
    for (std::size_t number = 0; number < std::min(facts.actions.size(), actionsPerObject); ++number) {
      flight.send(accessibility::actionName(objects[i], static_cast<int>(number)),
                  i * actionsPerObject + number);
    }
  }
  while (auto arrival = flight.next(BusConnection::Clock::now() + timeout_)) {
    AccessibleFacts& facts = facts_[objects[arrival->tag / actionsPerObject]];
    facts.actions[arrival->tag % actionsPerObject].name = arrival->reply.read().string();
  }
  isSilent_ = !flight.isEmpty();
  for (const AccessibleReference& object : objects) {
    AccessibleFacts& facts = facts_[object];
    if (facts.knows(actionsFacet) && !facts.actions.empty() && !isUnnamed(facts)) {
      habits_.learnActionNames(toolkit(object), facts.actions);
    }
  }
  for (const AccessibleReference& object : objects) {
    AccessibleFacts& facts = facts_[object];
    if (isUnnamed(facts)) applyLearned(object, facts);
  }
}

/// The next thing to know of an object, from cheap and telling to dear: most of an
/// interface is hidden at any time, and one question finds that out.
void AccessibleTree::advance(Walk& walk, const AccessibleReference& object, AccessibleFacts& facts) {
  if (facts.failure != AXError::success) return;
  bool isWalkRoot = walk.roots.contains(object);
  NodeView node{.facts = facts, .toolkit = toolkit(object), .isTopLevel = isRoot(facts.parent)};
  node.isInClosedMenu = readsClosedMenus_ && !isWalkRoot;
  if (!facts.knows(statesFacet)) return walk.fetcher.want(object, statesFacet);
  if (!isWalkRoot && !mayShow(node)) return;
  if (!facts.knows(baseFacets)) return walk.fetcher.want(object, baseFacets);
  if (node.toolkit == Toolkit::gtk4 && !facts.knows(extentsFacet))
    return walk.fetcher.want(object, extentsFacet);
  if (!isWalkRoot && !isShowing(node)) return;
  Facets details = detailFacets(node);
  if (!facts.knows(details)) {
    if (walk.identifierSamples > 0 || walk.foundIdentifier) {
      --walk.identifierSamples;
      details |= identifierFacet;
    }
    return walk.fetcher.want(object, details);
  }
  if (!facts.identifier.empty()) walk.foundIdentifier = true;
  if (!walk.expanded.insert(object).second) return;
  int tellingChildren =
      facts.role == AccessibleRole::comboBox || isRowContainerRole(facts.role) ? kindSampleSize : 0;
  for (const AccessibleReference& child : facts.children) {
    if (!walk.met.insert(child).second) continue;
    AccessibleFacts& childFacts = facts_[child];
    childFacts.parent = object;
    childFacts.known |= parentFacet;
    walk.fetcher.want(child, tellingChildren-- > 0 ? statesFacet | roleFacet : statesFacet);
  }
}

std::vector<AccessibleReference> AccessibleTree::objectsWith(AccessibleState state) const {
  std::vector<AccessibleReference> result;
  for (const auto& [object, facts] : facts_) {
    if (facts.knows(statesFacet) && facts.is(state)) result.push_back(object);
  }
  return result;
}

bool AccessibleTree::loadCache(const std::string& busName) {
  AccessibleReference cache{busName, accessibility::cachePath};
  BusReply reply = bus_.call(accessibility::call(cache, accessibility::cache, "GetItems"), timeout_);
  if (reply.status == BusReply::Status::timedOut || reply.status == BusReply::Status::disconnected)
    return false;
  if (!reply.ok() || reply.message.signature() != cacheItemsSignature) return true;
  std::unordered_map<AccessibleReference, ListedChildren> listed;
  std::unordered_map<AccessibleReference, std::int64_t> counts;
  BusReader reader = reply.read();
  BusReader items = reader.inside();
  while (!items.atEnd()) {
    BusReader item = items.inside();
    AccessibleReference object = readReference(item);
    item.skip();  // the application
    AccessibleFacts facts;
    facts.parent = readReference(item);
    std::int64_t index = item.integer();
    counts[object] = item.integer();
    BusReader interfaces = item.inside();
    while (!interfaces.atEnd()) facts.interfaces |= interfaceNamed(interfaces.string());
    facts.name = item.string();
    facts.role = static_cast<AccessibleRole>(item.integer());
    facts.description = item.string();
    facts.states = readStates(item);
    facts.known = baseFacets | parentFacet;
    if (!item.ok() || object.isNull()) continue;
    listed[facts.parent].byIndex.emplace_back(index, object);
    facts_.try_emplace(object, std::move(facts));
  }
  for (auto& [object, count] : counts) {
    ListedChildren& children = listed[object];
    if (!children.areComplete(count)) continue;
    AccessibleFacts& facts = facts_[object];
    if (facts.knows(childrenFacet)) continue;
    for (auto& [index, child] : children.byIndex) facts.children.push_back(std::move(child));
    facts.known |= childrenFacet;
  }
  return true;
}

}  // namespace tavik
