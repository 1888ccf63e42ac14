#include "Backends/Linux/Accessibility/LinuxElement.h"

#include <functional>

namespace tavik {

namespace {

class LinuxElementIdentity : public AXElementIdentity {
 public:
  explicit LinuxElementIdentity(LinuxElement element) : element(std::move(element)) {}

  bool isSame(const AXElementIdentity& other) const override {
    auto* same = dynamic_cast<const LinuxElementIdentity*>(&other);
    return same && same->element == element;
  }

  std::size_t hash() const override {
    return std::hash<AccessibleReference>()(element.object) ^ static_cast<std::size_t>(element.pid) * 7919 ^
           static_cast<std::size_t>(element.kind) << 20 ^ std::hash<std::string>()(element.anchor);
  }

  const LinuxElement element;
};

}  // namespace

AXElement LinuxElement::handle(LinuxElement element) {
  return AXElement(std::make_shared<LinuxElementIdentity>(std::move(element)));
}

const LinuxElement* LinuxElement::from(const AXElement& element) {
  auto* identity = dynamic_cast<const LinuxElementIdentity*>(element.identity());
  return identity ? &identity->element : nullptr;
}

}  // namespace tavik
