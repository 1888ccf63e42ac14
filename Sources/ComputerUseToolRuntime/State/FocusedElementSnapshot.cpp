#include "ComputerUseToolRuntime/State/FocusedElementSnapshot.h"

#include <utility>
#include <vector>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

FocusedElementSnapshot FocusedElementSnapshot::of(const AXElement& element, const LiveElementReader& reader) {
  FocusedElementSnapshot snapshot;
  snapshot.axElement = element;
  snapshot.role = reader.string(element, AXAttributes::role);
  snapshot.roleDescription = reader.string(element, AXAttributes::roleDescription);
  snapshot.subrole = reader.string(element, AXAttributes::subrole);
  snapshot.title = reader.string(element, AXAttributes::title);
  snapshot.elementDescription = reader.string(element, AXAttributes::description);
  snapshot.identifier = reader.string(element, AXAttributes::identifier);
  snapshot.value = reader.string(element, AXAttributes::value);
  return snapshot;
}

std::optional<std::string> FocusedElementSnapshot::rawDescription() const {
  const std::pair<const std::string&, const std::optional<std::string>&> fields[] = {
      {AXAttributes::role, role},         {AXAttributes::roleDescription, roleDescription},
      {AXAttributes::subrole, subrole},   {AXAttributes::title, title},
      {AXAttributes::description, elementDescription}, {AXAttributes::identifier, identifier},
  };
  std::vector<std::string> pieces;
  for (const auto& [name, value] : fields) {
    if (value) pieces.push_back(name + "=" + *value);
  }
  return pieces.empty() ? std::nullopt : std::optional(text::joined(pieces, " "));
}

std::optional<FocusedElementSnapshot> focusedElementSnapshot(std::int32_t pid, const LiveElementReader& reader) {
  const AXElement focused = reader.focusedElement(pid);
  return focused ? std::optional(FocusedElementSnapshot::of(focused, reader)) : std::nullopt;
}

}  // namespace tavik
