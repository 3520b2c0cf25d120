// SPDX-License-Identifier: Apache-2.0
#pragma once
// A named directory of counted objects, addressed by relative paths "a/b/c".
#include <map>
#include <string_view>

#include "kiv/Entity.h"

namespace Kiv {

class Directory : public Entity {
 public:
  explicit Directory(Name name) : Entity(std::move(name)) {}

  Ptr<PtrInterface> member(const Name& name) const;
  // Binds name to an object; binding a different object to a bound name raises
  // NameInUseException (rebinding the same object is harmless).
  void memberIs(const Name& name, const Ptr<PtrInterface>& object);
  Ptr<PtrInterface> memberDel(const Name& name);
  const std::map<Name, Ptr<PtrInterface>>& members() const { return members_; }

  // The object at a relative path, or null. Empty path segments are ignored.
  Ptr<PtrInterface> lookup(std::string_view path) const;
  // Binds an object at a relative path, creating the directories on the way.
  void bind(std::string_view path, const Ptr<PtrInterface>& object);

 private:
  std::map<Name, Ptr<PtrInterface>> members_;
};

}  // namespace Kiv
