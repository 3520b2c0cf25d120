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

}  // namespace
