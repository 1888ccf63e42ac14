#include "Backends/Linux/Accessibility/FactQuestions.h"

#include <algorithm>
#include <limits>

namespace tavik {

namespace accessibility {

BusMessage call(const AccessibleReference& object, const std::string& interface, const std::string& member) {
  return BusMessage::methodCall(object.bus, object.path, interface, member);
}

BusMessage property(const AccessibleReference& object, const std::string& interface,
                    const std::string& name) {
  BusMessage message = call(object, "org.freedesktop.DBus.Properties", "Get");
  BusWriter(message).string(interface).string(name);
  return message;
}

BusMessage actionName(const AccessibleReference& object, int number) {
  BusMessage message = call(object, action, "GetName");
  BusWriter(message).int32(number);
  return message;
}

}  // namespace accessibility

namespace {

using namespace accessibility;
using Object = const AccessibleReference&;
using Facts = AccessibleFacts&;

constexpr std::uint32_t screenCoordinates = 0;
constexpr std::int64_t labelledByRelation = 2;
/// How toolkits say that an extent is not known.
constexpr std::int64_t unknownExtent = std::numeric_limits<std::int32_t>::min();

struct InterfaceName {
  std::string_view name;
  AccessibleInterface bit;
};
constexpr InterfaceName interfaceNames[] = {
    {"org.a11y.atspi.Action", actionInterface},       {"org.a11y.atspi.Component", componentInterface},
    {"org.a11y.atspi.Text", textInterface},           {"org.a11y.atspi.EditableText", editableTextInterface},
    {"org.a11y.atspi.Value", valueInterface},         {"org.a11y.atspi.Selection", selectionInterface},
    {"org.a11y.atspi.Table", tableInterface},         {"org.a11y.atspi.Document", documentInterface},
    {"org.a11y.atspi.Hyperlink", hyperlinkInterface},
};

BusMessage askExtents(Object object, Toolkit) {
  BusMessage message = call(object, component, "GetExtents");
  BusWriter(message).uint32(screenCoordinates);
  return message;
}

void takeExtents(BusReader answer, Facts facts) {
  BusReader extents = answer.inside();
  std::int64_t x = extents.integer();
  std::int64_t y = extents.integer();
  std::int64_t width = extents.integer();
  std::int64_t height = extents.integer();
  if (!extents.ok() || x == unknownExtent || y == unknownExtent || width < 0 || height < 0) return;
  facts.extents = {{static_cast<double>(x), static_cast<double>(y)},
                   {static_cast<double>(width), static_cast<double>(height)}};
}

void takeInterfaces(BusReader answer, Facts facts) {
  facts.interfaces = 0;
  BusReader names = answer.inside();
  while (!names.atEnd()) facts.interfaces |= interfaceNamed(names.string());
}

void takeChildren(BusReader answer, Facts facts) {
  facts.children.clear();
  BusReader children = answer.inside();
  while (!children.atEnd()) {
    AccessibleReference child = readReference(children);
    if (!child.isNull()) facts.children.push_back(std::move(child));
  }
}

void takeActions(BusReader answer, Facts facts) {
  facts.actions.clear();
  BusReader actions = answer.inside();
  while (!actions.atEnd()) {
    BusReader action = actions.inside();
    AccessibleAction entry;
    entry.localizedName = action.string();
    entry.description = action.string();
    facts.actions.push_back(std::move(entry));
  }
}

BusMessage askFirstAction(Object object, Toolkit) {
  return actionName(object, 0);
}

void takeFirstAction(BusReader answer, Facts facts) {
  if (facts.actions.empty()) facts.actions.push_back({.name = answer.string()});
}

BusMessage askText(Object object, Toolkit toolkit) {
  // GTK 4 does not read -1 as the end; Qt complains of a place beyond it.
  std::int32_t end = toolkit == Toolkit::gtk4 ? std::numeric_limits<std::int32_t>::max() : -1;
  BusMessage message = call(object, accessibility::text, "GetText");
  BusWriter(message).int32(0).int32(end);
  return message;
}

void takeAttributes(BusReader answer, Facts facts) {
  BusReader entries = answer.inside();
  while (!entries.atEnd()) {
    BusReader entry = entries.inside();
    std::string key = entry.string();
    facts.attributes[key] = entry.string();
  }
}

void takeLabel(BusReader answer, Facts facts) {
  facts.label = {};
  BusReader relations = answer.inside();
  while (!relations.atEnd()) {
    BusReader relation = relations.inside();
    bool isLabel = relation.integer() == labelledByRelation;
    BusReader targets = relation.inside();
    if (isLabel && facts.label.isNull() && !targets.atEnd()) facts.label = readReference(targets);
  }
}

BusMessage askLink(Object object, Toolkit) {
  BusMessage message = call(object, hyperlink, "GetURI");
  BusWriter(message).int32(0);
  return message;
}

/// Browsers do not agree on the name.
void takeDocument(BusReader answer, Facts facts) {
  BusReader entries = answer.inside();
  while (!entries.atEnd()) {
    BusReader entry = entries.inside();
    std::string key = entry.string();
    if (key == "URI" || key == "DocURL") facts.documentURL = entry.string();
  }
}

BusMessage askSelection(Object object, Toolkit) {
  BusMessage message = call(object, accessibility::text, "GetSelection");
  BusWriter(message).int32(0);
  return message;
}

void takeSelection(BusReader answer, Facts facts) {
  long start = answer.integer();
  long end = answer.integer();
  if (start < 0 || end < 0) return;
  facts.selectionStart = std::min(start, end);
  facts.selectionEnd = std::max(start, end);
}

constexpr FactQuestion questions[] = {
    {statesFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetState"); },
     [](BusReader r, Facts f) { f.states = readStates(r); }},
    {roleFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetRole"); },
     [](BusReader r, Facts f) { f.role = static_cast<AccessibleRole>(r.integer()); }},
    {interfacesFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetInterfaces"); },
     takeInterfaces},
    {nameFacet, 0, [](Object o, Toolkit) { return property(o, accessible, "Name"); },
     [](BusReader r, Facts f) { f.name = r.inside().string(); }},
    {descriptionFacet, 0, [](Object o, Toolkit) { return property(o, accessible, "Description"); },
     [](BusReader r, Facts f) { f.description = r.inside().string(); }},
    {parentFacet, 0, [](Object o, Toolkit) { return property(o, accessible, "Parent"); },
     [](BusReader r, Facts f) {
       BusReader value = r.inside();
       f.parent = readReference(value);
     }},
    {childrenFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetChildren"); }, takeChildren},
    {extentsFacet, componentInterface, askExtents, takeExtents},
    {actionsFacet, actionInterface, [](Object o, Toolkit) { return call(o, action, "GetActions"); },
     takeActions},
    {firstActionFacet, actionInterface, askFirstAction, takeFirstAction},
    {textFacet, textInterface, askText, [](BusReader r, Facts f) { f.text = r.string(); }},
    {valueFacet, valueInterface,
     [](Object o, Toolkit) { return property(o, accessibility::value, "CurrentValue"); },
     [](BusReader r, Facts f) { f.value = r.inside().number(); }},
    {valueLimitsFacet, valueInterface,
     [](Object o, Toolkit) { return property(o, accessibility::value, "MinimumValue"); },
     [](BusReader r, Facts f) { f.minimum = r.inside().number(); }},
    {valueLimitsFacet, valueInterface,
     [](Object o, Toolkit) { return property(o, accessibility::value, "MaximumValue"); },
     [](BusReader r, Facts f) { f.maximum = r.inside().number(); }},
    {valueLimitsFacet, valueInterface,
     [](Object o, Toolkit) { return property(o, accessibility::value, "MinimumIncrement"); },
     [](BusReader r, Facts f) { f.increment = r.inside().number(); }},
    {attributesFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetAttributes"); },
     takeAttributes},
    {identifierFacet, 0, [](Object o, Toolkit) { return property(o, accessible, "AccessibleId"); },
     [](BusReader r, Facts f) { f.identifier = r.inside().string(); }},
    {labelFacet, 0, [](Object o, Toolkit) { return call(o, accessible, "GetRelationSet"); }, takeLabel},
    {linkFacet, hyperlinkInterface, askLink, [](BusReader r, Facts f) { f.link = r.string(); }},
    {documentFacet, documentInterface, [](Object o, Toolkit) { return call(o, document, "GetAttributes"); },
     takeDocument},
    {columnsFacet, tableInterface, [](Object o, Toolkit) { return property(o, table, "NColumns"); },
     [](BusReader r, Facts f) { f.columnCount = static_cast<int>(r.inside().integer()); }},
    {textSelectionFacet, textInterface, askSelection, takeSelection},
    {textSelectionFacet, textInterface,
     [](Object o, Toolkit) { return property(o, accessibility::text, "CaretOffset"); },
     [](BusReader r, Facts f) { f.caret = r.inside().integer(); }},
};

}  // namespace

std::span<const FactQuestion> factQuestions() {
  return questions;
}

Facets facetsBehindInterfaces() {
  Facets facets = 0;
  for (const FactQuestion& question : questions) {
    if (question.interface != 0) facets |= question.facet;
  }
  return facets;
}

std::uint32_t interfaceNamed(std::string_view name) {
  for (const InterfaceName& entry : interfaceNames) {
    if (entry.name == name) return entry.bit;
  }
  return 0;
}

std::uint64_t readStates(BusReader& reader) {
  BusReader words = reader.inside();
  std::uint64_t low = static_cast<std::uint64_t>(words.integer());
  std::uint64_t high = words.atEnd() ? 0 : static_cast<std::uint64_t>(words.integer());
  return low | high << 32;
}

AccessibleReference readReference(BusReader& reader) {
  BusReader parts = reader.inside();
  AccessibleReference reference;
  reference.bus = parts.string();
  reference.path = parts.string();
  return reference;
}

}  // namespace tavik
