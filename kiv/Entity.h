// SPDX-License-Identifier: Apache-2.0
#pragma once
// Named framework objects. An entity can also notify reactors (kiv/Notifier.h),
// and knows the names of its attributes through the type registry.
#include <compare>
#include <ostream>

#include "kiv/Notifier.h"
#include "kiv/Ptr.h"

namespace Kiv {

class Name {
 public:
  Name() = default;
  Name(String8 s) : s_(std::move(s)) {}
  Name(const char* s) : s_(s) {}
  const String8& str() const { return s_; }
  bool empty() const { return s_.empty(); }
  auto operator<=>(const Name&) const = default;

 private:
  String8 s_;
};
inline std::ostream& operator<<(std::ostream& os, const Name& n) {
  return os << n.str();
}

class Entity : public NotifierBase {
 public:
  explicit Entity(Name name) : name_(std::move(name)) {}
  const Name& name() const { return name_; }
  // The registered type name ("FhrpSnmp::Agent"); empty for unregistered types.
  virtual String8 typeName() const { return {}; }
  // The reflective name of an attribute id, "unknown" when the type has no such id.
  virtual String8 attributeName(AttributeId id) const;

 private:
  Name name_;
};

}  // namespace Kiv
