#include <gtest/gtest.h>

#include "kiv/OrderedMap.h"

namespace {

struct Row : Kiv::PtrInterface {
  explicit Row(int v) : v(v) {}
  int v;
};
using Map = Kiv::OrderedMap<int, Row>;

Kiv::Ptr<Map> mapOf(std::initializer_list<int> keys) {
  auto m = Kiv::make<Map>();
  for (int k : keys) m->set(k, Kiv::make<Row>(k));
  return m;
}

std::vector<int> walk(Map::Iterator it) {
  std::vector<int> keys;
  for (; !it.atEnd(); ++it) keys.push_back(it.key());
  return keys;
}

TEST(OrderedMapTest, WalksInKeyOrderFromBounds) {
  auto m = mapOf({30, 10, 20});
  EXPECT_EQ(walk(m->begin()), (std::vector<int>{10, 20, 30}));
  EXPECT_EQ(walk(m->lowerBound(15)), (std::vector<int>{20, 30}));
  EXPECT_EQ(walk(m->upperBound(20)), (std::vector<int>{30}));
  EXPECT_TRUE(m->at(15).atEnd());
  const auto stamp = m->stamp();
  EXPECT_FALSE(m->erase(7));
  EXPECT_EQ(m->stamp(), stamp);  // an iterator need not re-find its place
}

TEST(OrderedMapTest, IteratorRefindsItsPlaceAfterChanges) {
  auto m = mapOf({10, 20, 30, 40});
  auto it = m->at(20);
  Kiv::Ptr<Row> held = it.value();
  m->erase(20);                    // the current row: the iterator keeps it and its key
  m->set(25, Kiv::make<Row>(25));  // right after the current key
  m->erase(30);
  EXPECT_EQ(it.value(), held);
  ++it;
  EXPECT_EQ(it.key(), 25);
  m->erase(40);
  m->erase(25);
  ++it;
  ++it;  // advancing at the end stays there
  EXPECT_TRUE(it.atEnd());
}

TEST(OrderedMapTest, IteratorKeepsCollectionAndRowAlive) {
  Map::Iterator it = mapOf({1, 2})->begin();
  ++it;
  EXPECT_EQ(it.value()->v, 2);
  EXPECT_EQ(it.collection()->size(), 2u);
}

}  // namespace
