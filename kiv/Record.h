// SPDX-License-Identifier: Apache-2.0
#pragma once
// Declaring a notifying record in a few lines.
//
// A record lists its attributes once, as an X-macro taking two macro names:
//
//   #define MY_RECORD_ATTRS(ATTR, COLL)
//     ATTR(U32, priority, Priority, 0)               // type, name, Name, initial value
//     COLL(Lirex::IpAddr, bool, ipAddrs, IpAddrs)    // key, value, name, Name
//
//   class MyRecord : public Kiv::NotifierBase {
//     KIV_RECORD(MyRecord, Lirex::IntfId, intfId, MY_RECORD_ATTRS)
//   };
//
// and gets, per attribute: an id `priorityId`, the reader `priority()`, the setter
// `priorityIs(v)` (notifies only on a real change) and the reactor callback
// `onPriority()`; per collection: `ipAddrs()` (the whole ordered map),
// `ipAddrs(k)` (the member or a default value), `ipAddrsIs(k, v)`, `ipAddrsDel(k)`
// (member callback `onIpAddrs(k)`), `ipAddrsDelAll()` (whole-collection callback
// `onIpAddrs()`). The nested `NotifieeConst` is the reactor base for the record.
#include <map>

#include "kiv/Notifier.h"

#define KIV_RECORD_ID_ATTR_(T, n, N, init) n##Id,
#define KIV_RECORD_ID_COLL_(K, V, n, N) n##Id,

#define KIV_RECORD_ON_ATTR_(T, n, N, init) \
  virtual void on##N() {}
#define KIV_RECORD_ON_COLL_(K, V, n, N) \
  virtual void on##N(const K&) {}       \
  virtual void on##N() {}

#define KIV_RECORD_ATTR_(T, n, N, init)                                 \
 public:                                                                \
  const T& n() const {                                                  \
    return n##_;                                                        \
  }                                                                     \
  void n##Is(const T& v) {                                              \
    if (n##_ == v) return;                                              \
    n##_ = v;                                                           \
    notify<NotifieeConst>(n##Id, [](NotifieeConst* r) { r->on##N(); }); \
  }                                                                     \
                                                                        \
 private:                                                               \
  T n##_ = init;

#define KIV_RECORD_COLL_(K, V, n, N)                                           \
 public:                                                                       \
  const std::map<K, V>& n() const {                                            \
    return n##_;                                                               \
  }                                                                            \
  V n(const K& k) const {                                                      \
    auto it = n##_.find(k);                                                    \
    return it == n##_.end() ? V() : it->second;                                \
  }                                                                            \
  void n##Is(const K& k, const V& v) {                                         \
    auto [it, added] = n##_.try_emplace(k, v);                                 \
    if (!added) {                                                              \
      if (it->second == v) return;                                             \
      it->second = v;                                                          \
    }                                                                          \
    notify<NotifieeConst>(n##Id, [&k](NotifieeConst* r) { r->on##N(k); });     \
  }                                                                            \
  void n##Del(const K& k) {                                                    \
    auto it = n##_.find(k);                                                    \
    if (it == n##_.end()) return;                                              \
    K key = k; /* k may live in the member being erased */                     \
    n##_.erase(it);                                                            \
    notify<NotifieeConst>(n##Id, [&key](NotifieeConst* r) { r->on##N(key); }); \
  }                                                                            \
  void n##DelAll() {                                                           \
    if (n##_.empty()) return;                                                  \
    n##_.clear();                                                              \
    notify<NotifieeConst>(n##Id, [](NotifieeConst* r) { r->on##N(); });        \
  }                                                                            \
                                                                               \
 private:                                                                      \
  std::map<K, V> n##_;

#define KIV_RECORD_BODY_(Class, LIST)                                                       \
 public:                                                                                    \
  enum AttributeIds : ::Kiv::AttributeId {                                                  \
    kivNoAttribute_ = 0,                                                                    \
    LIST(KIV_RECORD_ID_ATTR_, KIV_RECORD_ID_COLL_)                                          \
  };                                                                                        \
  class NotifieeConst : public ::Kiv::Notifiee<Class> {                                     \
   public:                                                                                  \
    NotifieeConst() = default;                                                              \
    explicit NotifieeConst(const ::Kiv::Ptr<const Class>& n) : ::Kiv::Notifiee<Class>(n) {} \
    LIST(KIV_RECORD_ON_ATTR_, KIV_RECORD_ON_COLL_)                                          \
  };                                                                                        \
  LIST(KIV_RECORD_ATTR_, KIV_RECORD_COLL_)                                                  \
 public:

// A record identified by a key that is fixed at construction.
#define KIV_RECORD(Class, KeyType, keyName, LIST)     \
 public:                                              \
  explicit Class(const KeyType& k) : keyName##_(k) {} \
  const KeyType& keyName() const {                    \
    return keyName##_;                                \
  }                                                   \
                                                      \
 private:                                             \
  KeyType keyName##_;                                 \
  KIV_RECORD_BODY_(Class, LIST)

// A record with no key (a root of the state tree).
#define KIV_ROOT_RECORD(Class, LIST) \
 public:                             \
  Class() = default;                 \
  KIV_RECORD_BODY_(Class, LIST)
