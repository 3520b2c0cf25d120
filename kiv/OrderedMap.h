// SPDX-License-Identifier: Apache-2.0
#pragma once
// An ordered, counted collection of counted rows keyed by a value type.
//
// Iterators stay usable across changes: each remembers the collection's change
// stamp and its current key. While the stamp matches, advancing steps to the
// in-order successor; after a change it searches again for the first key greater
// than the one it holds, so deleting the current row never breaks a walk.
#include <map>

#include "kiv/Ptr.h"

namespace Kiv {

template <class K, class V>
class OrderedMap : public PtrInterface {
  using Map = std::map<K, Ptr<V>>;

 public:
  class Iterator;

  Ptr<V> find(const K& k) const {
    auto it = map_.find(k);
    return it == map_.end() ? Ptr<V>() : it->second;
  }
  size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  U64 stamp() const { return stamp_; }

  // Inserts, or replaces the row held under k; returns the row now held.
  const Ptr<V>& set(const K& k, const Ptr<V>& v) {
    ++stamp_;
    auto [it, added] = map_.try_emplace(k, v);
    if (!added) it->second = v;
    return it->second;
  }
  // Removes the row under k and returns it (null when absent: nothing changes).
  Ptr<V> erase(const K& k) {
    auto it = map_.find(k);
    if (it == map_.end()) return nullptr;
    Ptr<V> v = std::move(it->second);
    map_.erase(it);
    ++stamp_;
    return v;
  }

  Iterator begin() const { return Iterator(this, map_.begin()); }
  Iterator lowerBound(const K& k) const { return Iterator(this, map_.lower_bound(k)); }
  Iterator upperBound(const K& k) const { return Iterator(this, map_.upper_bound(k)); }
  // Positioned on the row with exactly this key, or at end.
  Iterator at(const K& k) const { return Iterator(this, map_.find(k)); }

  // Plain iteration for code that does not change the map meanwhile.
  typename Map::const_iterator cbegin() const { return map_.cbegin(); }
  typename Map::const_iterator cend() const { return map_.cend(); }
  const Map& members() const { return map_; }

  class Iterator {
   public:
    Iterator() = default;
    bool atEnd() const { return !row_; }
    const K& key() const { return key_; }
    const Ptr<V>& value() const { return row_; }
    const Ptr<const OrderedMap>& collection() const { return map_; }

    void advance() {
      if (!map_ || !row_) return;
      if (stamp_ == map_->stamp_) {
        ++it_;
      } else {
        it_ = map_->map_.upper_bound(key_);
      }
      load();
    }
    Iterator& operator++() {
      advance();
      return *this;
    }

   private:
    friend class OrderedMap;
    Iterator(const OrderedMap* m, typename Map::const_iterator it) : map_(m), it_(it) { load(); }
    void load() {
      stamp_ = map_->stamp_;
      if (it_ == map_->map_.end()) {
        row_ = nullptr;
      } else {
        key_ = it_->first;
        row_ = it_->second;
      }
    }

    Ptr<const OrderedMap> map_;
    typename Map::const_iterator it_{};
    K key_{};
    Ptr<V> row_;
    U64 stamp_ = 0;
  };

 private:
  Map map_;
  U64 stamp_ = 0;
};

}  // namespace Kiv
