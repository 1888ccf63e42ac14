#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace tavik {

/// What a backend knows of one element. Immutable; shared by every handle.
class AXElementIdentity {
 public:
  virtual ~AXElementIdentity() = default;
  /// True when both name the same element of the same application. Called from
  /// any thread; never asks the application.
  virtual bool isSame(const AXElementIdentity& other) const = 0;
  virtual std::size_t hash() const = 0;
};

/// A shared handle to one live accessibility element. Copying is cheap; the
/// element on screen may die while handles to it live on, and every call on it
/// then fails with a code. Two handles are equal when they name the same element,
/// however each was obtained.
class AXElement {
 public:
  AXElement() = default;
  explicit AXElement(std::shared_ptr<const AXElementIdentity> identity) : identity_(std::move(identity)) {}

  explicit operator bool() const { return identity_ != nullptr; }
  const AXElementIdentity* identity() const { return identity_.get(); }
  std::size_t hash() const { return identity_ ? identity_->hash() : 0; }

  friend bool operator==(const AXElement& a, const AXElement& b) {
    if (a.identity_ == b.identity_) return true;
    return a.identity_ && b.identity_ && a.identity_->isSame(*b.identity_);
  }

 private:
  std::shared_ptr<const AXElementIdentity> identity_;
};

}  // namespace tavik

template <>
struct std::hash<tavik::AXElement> {
  std::size_t operator()(const tavik::AXElement& element) const { return element.hash(); }
};
