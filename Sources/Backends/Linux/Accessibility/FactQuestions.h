#pragma once

#include <span>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Accessibility/Toolkit.h"
#include "Backends/Linux/Bus/BusMessage.h"

namespace tavik {

/// One call that fills one or more fields of the facts.
struct FactQuestion {
  Facet facet;
  /// The interface that the object must have, or none.
  std::uint32_t interface;
  BusMessage (*ask)(const AccessibleReference& object, Toolkit toolkit);
  void (*take)(BusReader answer, AccessibleFacts& facts);
};

/// Every question; a facet with several is known when all have been answered.
std::span<const FactQuestion> factQuestions();

/// The facets whose questions need to know the interfaces first.
Facets facetsBehindInterfaces();

/// The bit of an interface by its full name; 0 when the backend does not use it.
std::uint32_t interfaceNamed(std::string_view name);
std::uint64_t readStates(BusReader& reader);
AccessibleReference readReference(BusReader& reader);

namespace accessibility {
inline const std::string accessible = "org.a11y.atspi.Accessible";
inline const std::string action = "org.a11y.atspi.Action";
inline const std::string application = "org.a11y.atspi.Application";
inline const std::string cache = "org.a11y.atspi.Cache";
inline const std::string component = "org.a11y.atspi.Component";
inline const std::string document = "org.a11y.atspi.Document";
inline const std::string editableText = "org.a11y.atspi.EditableText";
inline const std::string hyperlink = "org.a11y.atspi.Hyperlink";
inline const std::string registry = "org.a11y.atspi.Registry";
inline const std::string selection = "org.a11y.atspi.Selection";
inline const std::string table = "org.a11y.atspi.Table";
inline const std::string text = "org.a11y.atspi.Text";
inline const std::string value = "org.a11y.atspi.Value";
inline const std::string rootPath = "/org/a11y/atspi/accessible/root";
inline const std::string registryPath = "/org/a11y/atspi/registry";
inline const std::string cachePath = "/org/a11y/atspi/cache";

BusMessage call(const AccessibleReference& object, const std::string& interface, const std::string& member);
/// One property; all of them at once is a question that kills Qt applications.
BusMessage property(const AccessibleReference& object, const std::string& interface, const std::string& name);
/// The name of an object's action, the same in every language.
BusMessage actionName(const AccessibleReference& object, int number);
}  // namespace accessibility

}  // namespace tavik
