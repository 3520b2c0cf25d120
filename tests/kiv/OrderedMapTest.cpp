#include <gtest/gtest.h>

#include "kiv/OrderedMap.h"

namespace {

struct Row : Kiv::PtrInterface {
  explicit Row(int v) : v(v) {}
  int v;
};
using Map = Kiv::OrderedMap<int, Row>;

std::vector<int> walk(Map::Iterator it) {
  std::vector<int> keys;
  for (; !it.atEnd(); ++it) keys.push_back(it.key());
  return keys;
}

TEST(OrderedMapTest, WalksInKeyOrderAndFindsBounds) {
  auto m = Kiv::make<Map>();
  for (int k : {30, 10, 20}) m->set(k, Kiv::make<Row>(k));
  EXPECT_EQ(walk(m->begin()), (std::vector<int>{10, 20, 30}));
  EXPECT_EQ(walk(m->lowerBound(15)), (std::vector<int>{20, 30}));
  EXPECT_EQ(walk(m->upperBound(20)), (std::vector<int>{30}));
  EXPECT_TRUE(m->at(15).atEnd());
  EXPECT_EQ(m->at(20).value()->v, 20);
  EXPECT_FALSE(m->find(25));
}

TEST(OrderedMapTest, IteratorRefindsItsPlaceAfterChanges) {
  auto m = Kiv::make<Map>();
  for (int k : {10, 20, 30, 40}) m->set(k, Kiv::make<Row>(k));
  auto it = m->at(20);
  Kiv::Ptr<Row> held = it.value();
  m->erase(20);                    // current row deleted: iterator still holds the row and its key
  m->set(25, Kiv::make<Row>(25));  // inserted right after the current key
  m->erase(30);
  EXPECT_EQ(it.value(), held);
  ++it;
  EXPECT_EQ(it.key(), 25);
  m->erase(40);
  m->erase(25);
  ++it;
  EXPECT_TRUE(it.atEnd());
  ++it;  // advancing at end stays at end
  EXPECT_TRUE(it.atEnd());
}

TEST(OrderedMapTest, IteratorKeepsCollectionAndRowAlive) {
  Map::Iterator it;
  {
    auto m = Kiv::make<Map>();
    m->set(1, Kiv::make<Row>(1));
    m->set(2, Kiv::make<Row>(2));
    it = m->begin();
  }
  EXPECT_EQ(it.collection()->size(), 2u);
  ++it;
  EXPECT_EQ(it.value()->v, 2);
}

TEST(OrderedMapTest, EraseAbsentChangesNothingAndReplaceKeepsOneRow) {
  auto m = Kiv::make<Map>();
  m->set(1, Kiv::make<Row>(1));
  auto stamp = m->stamp();
  EXPECT_FALSE(m->erase(7));
  EXPECT_EQ(m->stamp(), stamp);
  m->set(1, Kiv::make<Row>(100));
  EXPECT_EQ(m->size(), 1u);
  EXPECT_EQ(m->find(1)->v, 100);
}

}  // namespace
