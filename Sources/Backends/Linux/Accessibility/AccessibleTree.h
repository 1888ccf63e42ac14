#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <unordered_set>
#include <vector>

#include "Backends/Linux/Accessibility/ApplicationHabits.h"
#include "Backends/Linux/Accessibility/FactFetcher.h"
#include "Backends/Linux/Accessibility/Toolkit.h"
#include "Backends/Linux/Accessibility/WindowPlacement.h"

namespace tavik {

/// What an application is on the bus.
struct AccessibleApplication {
  AccessibleReference root = {};
  Toolkit toolkit = Toolkit::other;

  bool operator==(const AccessibleApplication&) const = default;
};

/// What has been read of one process's elements: for one question, or, in a read
/// scope, for all of them. Whoever uses it holds `mutex` meanwhile.
class AccessibleTree {
 public:
  AccessibleTree(BusConnection& bus, ApplicationHabits& habits,
                 std::vector<AccessibleApplication> applications, std::chrono::milliseconds timeout);

  std::mutex mutex;

  const std::vector<AccessibleApplication>& applications() const { return applications_; }
  Toolkit toolkit(const AccessibleReference& object) const;
  bool isRoot(const AccessibleReference& object) const;

  /// The facts of an object with these facets, asked now where they are missing.
  /// Never null; look at `failure`. Stays valid as long as the tree.
  const AccessibleFacts& read(const AccessibleReference& object, Facets facets);
  /// The same of many objects in one flight.
  void readAll(const std::vector<AccessibleReference>& objects, Facets facets);

  /// The place in an object's text, in code points, that is nearest a screen point.
  std::optional<long> textOffset(const AccessibleReference& object, Point point);
  /// The object that an object names as standing at a screen point.
  std::optional<AccessibleReference> objectAt(const AccessibleReference& object, Point point);

  /// From now on menus are read also while they are closed.
  void readClosedMenus() { readsClosedMenus_ = true; }
  bool readsClosedMenus() const { return readsClosedMenus_; }

  /// Reads everything on screen below these objects that a reading of the whole
  /// tree asks for, as far as it comes within a few seconds. What was read below an
  /// object before is not read again.
  void prefetch(const std::vector<AccessibleReference>& roots);
  /// Whether anything was, and whether everything below this object was.
  bool isPrefetched() const { return !prefetched_.empty(); }
  bool isPrefetched(const AccessibleReference& root) const { return prefetched_.contains(root); }
  /// Everything read so far that has a state.
  std::vector<AccessibleReference> objectsWith(AccessibleState state) const;

  /// What whoever uses the tree has worked out from it; lives as long as the tree.
  struct Notes {
    /// Of top-level objects.
    std::unordered_map<AccessibleReference, std::optional<PlacedWindow>> placements;
    /// The cells of a table, line by line.
    std::unordered_map<AccessibleReference, std::vector<std::vector<AccessibleReference>>> lines;
  };
  Notes notes;

  /// To be called when a new operation begins. Once the application has let a
  /// time-out pass, the rest of the operation fails without waiting for more.
  void beginOperation() { isSilent_ = false; }

 private:
  struct Walk;

  BusReply ask(const BusMessage& question);
  /// False when the application did not answer at all.
  bool loadCache(const std::string& busName);
  void advance(Walk& walk, const AccessibleReference& object, AccessibleFacts& facts);

  /// Gives the actions of these objects their names.
  void nameActions(const std::vector<AccessibleReference>& objects);

  BusConnection& bus_;
  ApplicationHabits& habits_;
  const std::vector<AccessibleApplication> applications_;
  const std::chrono::milliseconds timeout_;
  FactsMap facts_;
  std::unordered_set<AccessibleReference> prefetched_;
  /// Applications whose list of objects has been taken in.
  std::unordered_set<std::string> listed_;
  bool isSilent_ = false;
  bool readsClosedMenus_ = false;
};

}  // namespace tavik
