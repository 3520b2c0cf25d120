// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "kiv/Record.h"

namespace {

#define TEST_RECORD_ATTRS(ATTR, COLL) \
  ATTR(U32, priority, Priority, 100)  \
  ATTR(bool, preempt, Preempt, false) \
  COLL(U32, bool, addrs, Addrs)

class TestRecord : public Kiv::NotifierBase {
  KIV_RECORD(TestRecord, Kiv::String8, name, TEST_RECORD_ATTRS)
};

// A reactor that logs what it is told and can run an extra action per call.
class Logger : public TestRecord::NotifieeConst {
 public:
  Logger(const Kiv::Ptr<const TestRecord>& r, std::string tag, std::vector<std::string>* log)
      : NotifieeConst(r), tag_(std::move(tag)), log_(log) {}
  void onPriority() override { record("priority"); }
  void onAddrs(const U32& k) override { record("addrs[" + std::to_string(k) + "]"); }
  void onAddrs() override { record("addrs"); }
  void onNotifier() override { record("notifier"); }
  void onNotificationException(Kiv::AttributeId id) override {
    record("exception " + std::to_string(id));
  }
  std::function<void()> action;

 private:
  void record(const std::string& what) {
    log_->push_back(tag_ + ":" + what);
    if (action) action();
  }
  std::string tag_;
  std::vector<std::string>* log_;
};

struct NotifierTest : ::testing::Test {
  Kiv::Ptr<TestRecord> rec = Kiv::make<TestRecord>("r");
  std::vector<std::string> log;
  Kiv::Ptr<Logger> logger(const std::string& tag) { return Kiv::make<Logger>(rec, tag, &log); }
};

TEST_F(NotifierTest, SnapshotIgnoresReactorsAddedAndSkipsReactorsRemovedDuringDelivery) {
  auto a = logger("a"), b = logger("b"), c = logger("c");
  Kiv::Ptr<Logger> late;
  a->action = [&] {
    if (!late) late = logger("late");
    c = nullptr;  // destroyed while the delivery still lists it
    b->notifierIs(nullptr);
  };
  rec->priorityIs(1);
  EXPECT_EQ(log, (std::vector<std::string>{"a:priority"}));
  a->action = nullptr;
  log.clear();
  rec->priorityIs(2);
  EXPECT_EQ(log, (std::vector<std::string>{"a:priority", "late:priority"}));
}

// A reactor's own change is delivered at once, inside the outer delivery; a reactor's
// exception goes to that reactor and the others are still told.
TEST_F(NotifierTest, NestedChangesAndExceptions) {
  auto a = logger("a"), b = logger("b");
  a->action = [&] {
    if (rec->priority() == 1) rec->priorityIs(2);
    if (rec->priority() == 9 && log.back() == "a:priority") throw std::runtime_error("boom");
  };
  rec->priorityIs(1);
  rec->priorityIs(9);
  EXPECT_EQ(log, (std::vector<std::string>{
                     "a:priority", "a:priority", "b:priority", "b:priority", "a:priority",
                     "a:exception " + std::to_string(TestRecord::priorityId), "b:priority"}));
}

TEST_F(NotifierTest, RepointingSwitchingOffAndTeardown) {
  auto a = logger("a");
  auto other = Kiv::make<TestRecord>("o");
  a->notifierIs(rec);  // same record: nothing
  a->notifierIs(other);
  rec->priorityIs(1);  // no longer watched
  other->priorityIs(1);
  a->hasNotificationActiveIs(false);
  other->priorityIs(2);
  a->hasNotificationActiveIs(true);
  a->notifierIs(nullptr);  // to null: unhooked, not told
  EXPECT_EQ(log, (std::vector<std::string>{"a:notifier", "a:priority"}));
  EXPECT_EQ(other->notifieeCount(), 0u);
  a->notifierIs(rec);
  const size_t told = log.size();
  a->teardown();
  EXPECT_FALSE(a->isLive());
  rec->priorityIs(3);
  EXPECT_EQ(log.size(), told);
  EXPECT_EQ(rec->notifieeCount(), 0u);
}

TEST_F(NotifierTest, ReactorKeepsItsRecordAliveAndRecordMayDieDuringDelivery) {
  auto b = Kiv::make<Logger>(Kiv::make<TestRecord>("tmp"), "b", &log);
  ASSERT_TRUE(b->notifier());
  // The only reference to the record is the reactor's; dropping it inside the
  // handler must not pull the record out from under the running delivery.
  auto raw = Kiv::constPtrCast<TestRecord>(b->notifier());
  b->action = [&] { b->notifierIs(nullptr); };
  raw->priorityIs(5);
  raw = nullptr;
  EXPECT_EQ(log, (std::vector<std::string>{"b:priority"}));
}

}  // namespace
