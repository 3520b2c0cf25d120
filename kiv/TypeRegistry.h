// SPDX-License-Identifier: Apache-2.0
#pragma once
// Types registered by name at load time: a factory and a table of reflective
// attributes, through which a host creates and wires objects it knows only by name.
#include <functional>
#include <variant>
#include <vector>

#include "kiv/Entity.h"
#include "kiv/Exception.h"

namespace Kiv {

class Directory;

// A reflective attribute value. Instantiating attributes (built from several
// constructor parameters) take the parameters as a list of objects.
using AttrValue = std::variant<std::monostate, bool, S64, String8, Ptr<PtrInterface>,
                               std::vector<Ptr<PtrInterface>>>;

struct AttributeInfo {
  String8 name;
  AttributeId id = 0;
  std::function<AttrValue(const Entity&)> get;
  std::function<void(Entity&, const AttrValue&)> set;  // empty when read-only
};

struct TypeInfo {
  String8 name;
  std::function<Ptr<Entity>(const Name&, const Ptr<Directory>& parent)> newEntity;
  std::vector<AttributeInfo> attributes;

  const AttributeInfo* attribute(const String8& attributeName) const;
  const AttributeInfo* attribute(AttributeId id) const;
};

class TypeRegistry {
 public:
  static TypeRegistry& instance();
  // Registering a name twice raises NameInUseException; load-time hooks that
  // may run twice test hasType first.
  void typeIs(TypeInfo info);
  bool hasType(const String8& name) const;
  const TypeInfo* type(const String8& name) const;

 private:
  std::vector<TypeInfo> types_;
};

// Creates an entity by type name; an unknown type raises RangeException.
Ptr<Entity> newEntity(const String8& typeName, const Name& name,
                      const Ptr<Directory>& parent = nullptr);
// Reads or writes an attribute by name; unknown attributes, read-only attributes
// and values of the wrong kind raise RangeException.
AttrValue attribute(const Entity& entity, const String8& attributeName);
void attributeIs(Entity& entity, const String8& attributeName, const AttrValue& value);

// Helpers for attribute setters: the value as a typed pointer, or RangeException.
template <class T>
Ptr<T> attrPtr(const AttrValue& v, const String8& what) {
  if (std::holds_alternative<std::monostate>(v)) return nullptr;
  if (auto* p = std::get_if<Ptr<PtrInterface>>(&v)) {
    if (!*p) return nullptr;
    if (Ptr<T> t = ptrCast<T>(*p)) return t;
  }
  throw RangeException("wrong kind of value for " + what);
}

}  // namespace Kiv
