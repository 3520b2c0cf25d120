// SPDX-License-Identifier: Apache-2.0
#pragma once
// Counted objects and the counted pointer that shares them. Everything runs on one
// thread (the agent's event loop), so counts are plain integers.
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "kiv/Types.h"

namespace Kiv {

class PtrInterface {
 public:
  PtrInterface() = default;
  // A copy is a new object: it starts with no references of its own.
  PtrInterface(const PtrInterface&) {}
  PtrInterface& operator=(const PtrInterface&) { return *this; }
  virtual ~PtrInterface() = default;

  long references() const { return references_; }
  void newRef() const { ++references_; }
  void deleteRef() const {
    if (--references_ == 0) onZeroReferences();
  }

 protected:
  // Objects are created by Kiv::make (below); the last reference deletes them.
  virtual void onZeroReferences() const { delete this; }

 private:
  mutable long references_ = 0;
};

template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  Ptr(T* p) : p_(p) { acquire(); }
  Ptr(const Ptr& o) : p_(o.p_) { acquire(); }
  Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(const Ptr<U>& o) : p_(o.ptr()) {
    acquire();
  }
  ~Ptr() { release(); }

  Ptr& operator=(const Ptr& o) {
    Ptr(o).swap(*this);
    return *this;
  }
  Ptr& operator=(Ptr&& o) noexcept {
    Ptr(std::move(o)).swap(*this);
    return *this;
  }
  void swap(Ptr& o) noexcept { std::swap(p_, o.p_); }

  T* ptr() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  void acquire() const {
    if (p_) p_->newRef();
  }
  void release() {
    if (p_) std::exchange(p_, nullptr)->deleteRef();
  }
  T* p_ = nullptr;
};

// Pointers compare by identity; a null pointer equals only null.
template <class T, class U>
bool operator==(const Ptr<T>& a, const Ptr<U>& b) {
  return static_cast<const void*>(a.ptr()) == static_cast<const void*>(b.ptr());
}
template <class T>
bool operator==(const Ptr<T>& a, std::nullptr_t) {
  return !a;
}

template <class T, class... Args>
Ptr<T> make(Args&&... args) {
  return Ptr<T>(new T(std::forward<Args>(args)...));
}

template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& p) {
  return Ptr<T>(dynamic_cast<T*>(p.ptr()));
}
template <class T, class U>
Ptr<T> constPtrCast(const Ptr<U>& p) {
  return Ptr<T>(const_cast<T*>(p.ptr()));
}

// The text form of a pointer in messages: its address, or "null".
String8 ptrToStrep(const void* p);
template <class T>
String8 ptrToStrep(const Ptr<T>& p) {
  return ptrToStrep(static_cast<const void*>(p.ptr()));
}

}  // namespace Kiv

template <class T>
struct std::hash<Kiv::Ptr<T>> {
  size_t operator()(const Kiv::Ptr<T>& p) const noexcept { return std::hash<T*>()(p.ptr()); }
};
