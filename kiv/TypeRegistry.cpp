// SPDX-License-Identifier: Apache-2.0
#include "kiv/TypeRegistry.h"

#include "kiv/Directory.h"
#include "kiv/Exception.h"

namespace Kiv {

const AttributeInfo* TypeInfo::attribute(const String8& attributeName) const {
  for (const auto& a : attributes) {
    if (a.name == attributeName) return &a;
  }
  return nullptr;
}

const AttributeInfo* TypeInfo::attribute(AttributeId id) const {
  for (const auto& a : attributes) {
    if (a.id == id) return &a;
  }
  return nullptr;
}

TypeRegistry& TypeRegistry::instance() {
  static TypeRegistry registry;
  return registry;
}

void TypeRegistry::typeIs(TypeInfo info) {
  if (hasType(info.name)) throw NameInUseException("type " + info.name + " is already registered");
  types_.push_back(std::move(info));
}

bool TypeRegistry::hasType(const String8& name) const {
  return type(name) != nullptr;
}

const TypeInfo* TypeRegistry::type(const String8& name) const {
  for (const auto& t : types_) {
    if (t.name == name) return &t;
  }
  return nullptr;
}

Ptr<Entity> newEntity(const String8& typeName, const Name& name, const Ptr<Directory>& parent) {
  const TypeInfo* t = TypeRegistry::instance().type(typeName);
  if (!t || !t->newEntity) throw RangeException("unknown type: " + typeName);
  Ptr<Entity> e = t->newEntity(name, parent);
  if (parent && e) parent->memberIs(name, e);
  return e;
}

namespace {
const AttributeInfo& findAttribute(const Entity& entity, const String8& attributeName) {
  const TypeInfo* t = TypeRegistry::instance().type(entity.typeName());
  const AttributeInfo* a = t ? t->attribute(attributeName) : nullptr;
  if (!a) {
    throw RangeException("type " + entity.typeName() + " has no attribute " + attributeName);
  }
  return *a;
}
}  // namespace

AttrValue attribute(const Entity& entity, const String8& attributeName) {
  const AttributeInfo& a = findAttribute(entity, attributeName);
  return a.get ? a.get(entity) : AttrValue();
}

void attributeIs(Entity& entity, const String8& attributeName, const AttrValue& value) {
  const AttributeInfo& a = findAttribute(entity, attributeName);
  if (!a.set) throw RangeException("attribute " + attributeName + " is read-only");
  a.set(entity, value);
}

String8 Entity::attributeName(AttributeId id) const {
  const TypeInfo* t = TypeRegistry::instance().type(typeName());
  const AttributeInfo* a = t ? t->attribute(id) : nullptr;
  return a ? a->name : "unknown";
}

}  // namespace Kiv
