// SPDX-License-Identifier: Apache-2.0
#include "kiv/Directory.h"

#include <vector>

#include "kiv/Exception.h"

namespace Kiv {
namespace {
std::vector<String8> segments(std::string_view path) {
  std::vector<String8> out;
  size_t pos = 0;
  while (pos <= path.size()) {
    size_t slash = path.find('/', pos);
    if (slash == std::string_view::npos) slash = path.size();
    if (slash > pos) out.emplace_back(path.substr(pos, slash - pos));
    pos = slash + 1;
  }
  return out;
}
}  // namespace

Ptr<PtrInterface> Directory::member(const Name& name) const {
  auto it = members_.find(name);
  return it == members_.end() ? nullptr : it->second;
}

void Directory::memberIs(const Name& name, const Ptr<PtrInterface>& object) {
  auto [it, added] = members_.try_emplace(name, object);
  if (!added && !(it->second == object)) {
    throw NameInUseException("name " + name.str() + " is already in use in " + this->name().str());
  }
}

Ptr<PtrInterface> Directory::memberDel(const Name& name) {
  auto it = members_.find(name);
  if (it == members_.end()) return nullptr;
  Ptr<PtrInterface> old = std::move(it->second);
  members_.erase(it);
  return old;
}

Ptr<PtrInterface> Directory::lookup(std::string_view path) const {
  const Directory* dir = this;
  Ptr<PtrInterface> found;
  for (const auto& seg : segments(path)) {
    if (!dir) return nullptr;
    found = dir->member(seg);
    if (!found) return nullptr;
    dir = dynamic_cast<const Directory*>(found.ptr());
  }
  return found;
}

void Directory::bind(std::string_view path, const Ptr<PtrInterface>& object) {
  auto segs = segments(path);
  if (segs.empty()) throw RangeException("empty path");
  Directory* dir = this;
  for (size_t i = 0; i + 1 < segs.size(); ++i) {
    Ptr<PtrInterface> next = dir->member(segs[i]);
    if (!next) {
      next = make<Directory>(segs[i]);
      dir->memberIs(segs[i], next);
    }
    dir = dynamic_cast<Directory*>(next.ptr());
    if (!dir)
      throw NameInUseException("path " + String8(path) + ": " + segs[i] + " is not a directory");
  }
  dir->memberIs(segs.back(), object);
}

}  // namespace Kiv
