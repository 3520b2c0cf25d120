#include <gtest/gtest.h>

#include "kiv/Clock.h"
#include "kiv/Directory.h"
#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "kiv/TypeRegistry.h"

namespace {

TEST(PtrTest, CountsReferencesAndComparesByIdentity) {
  struct Obj : Kiv::PtrInterface {
    explicit Obj(bool* gone) : gone(gone) {}
    ~Obj() override { *gone = true; }
    bool* gone;
  };
  bool gone = false;
  Kiv::Ptr<Obj> a = Kiv::make<Obj>(&gone);
  Kiv::Ptr<const Obj> b = a;
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == Kiv::make<Obj>(&gone));
  gone = false;
  a = nullptr;
  EXPECT_FALSE(gone);
  b = nullptr;
  EXPECT_TRUE(gone);
  EXPECT_EQ(Kiv::ptrToStrep(Kiv::Ptr<Obj>()), "null");
}

TEST(TraceTest, SpecEnablesLevelsPerHandleAndRejectsMalformedSpecs) {
  auto& snmp = Kiv::traceHandle("TestSnmp");
  auto& entry = Kiv::traceHandle("TestEntry");
  Kiv::traceSpecIs("TestSnmp/0-2,TestEntry/7");
  EXPECT_TRUE(snmp.enabled(0) && snmp.enabled(2));
  EXPECT_FALSE(snmp.enabled(3));
  EXPECT_TRUE(entry.enabled(7));
  EXPECT_FALSE(entry.enabled(8));
  Kiv::traceSpecIs("*/9,TestEntry");
  EXPECT_TRUE(snmp.enabled(9));
  EXPECT_FALSE(snmp.enabled(0));
  EXPECT_TRUE(entry.enabled(0) && entry.enabled(8));
  for (const char* bad : {"TestSnmp/", "TestSnmp/3-1", "TestSnmp/x", "/3", "a,,b", "TestSnmp/10"}) {
    EXPECT_THROW(Kiv::traceSpecIs(bad), Kiv::RangeException) << bad;
  }
  EXPECT_EQ(Kiv::traceSpec(), "*/9,TestEntry");
  Kiv::traceSpecIs("");
  EXPECT_FALSE(entry.enabled(0));
}

TEST(TraceTest, DisabledLevelsDoNotFormatAndCaptureKeepsLines) {
  auto& h = Kiv::traceHandle("TestCapture");
  int formatted = 0;
  auto value = [&] { return ++formatted; };
  {
    Kiv::TraceCapture capture("TestCapture", 1u << 7);
    KIV_TRACE(h, 8, "never " << value());
    KIV_TRACE(h, 7, "Creating thing, id=" << value());
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Creating thing, id=1"}));
    EXPECT_EQ(capture.count("Creating"), 1u);
  }
  EXPECT_FALSE(h.enabled(7));  // the capture restored the handle
}

TEST(ClockTest, IsReplaceable) {
  Kiv::clockIs([] { return 1000.5; });
  EXPECT_EQ(Kiv::now(), 1000.5);
  Kiv::clockIs(nullptr);
  EXPECT_GT(Kiv::now(), 1.7e9);
}

struct Widget : Kiv::Entity {
  using Entity::Entity;
  Kiv::String8 typeName() const override { return "Test::Widget"; }
  Kiv::Ptr<Kiv::PtrInterface> part;
};

TEST(TypeRegistryTest, CreatesByNameAndAccessesAttributesReflectively) {
  auto& reg = Kiv::TypeRegistry::instance();
  if (!reg.hasType("Test::Widget")) {
    reg.typeIs({"Test::Widget",
                [](const Kiv::Name& n, const Kiv::Ptr<Kiv::Directory>&) -> Kiv::Ptr<Kiv::Entity> {
                  return Kiv::make<Widget>(n);
                },
                {{"part", 1,
                  [](const Kiv::Entity& e) -> Kiv::AttrValue {
                    return static_cast<const Widget&>(e).part;
                  },
                  [](Kiv::Entity& e, const Kiv::AttrValue& v) {
                    static_cast<Widget&>(e).part = Kiv::attrPtr<Kiv::PtrInterface>(v, "part");
                  }}}});
  }
  EXPECT_THROW(reg.typeIs({"Test::Widget", nullptr, {}}), Kiv::NameInUseException);
  auto dir = Kiv::make<Kiv::Directory>("root");
  auto w = Kiv::newEntity("Test::Widget", "w1", dir);
  EXPECT_EQ(dir->member("w1"), w);
  auto part = Kiv::make<Kiv::Directory>("p");
  Kiv::attributeIs(*w, "part", Kiv::Ptr<Kiv::PtrInterface>(part));
  EXPECT_EQ(std::get<Kiv::Ptr<Kiv::PtrInterface>>(Kiv::attribute(*w, "part")), part);
  EXPECT_EQ(w->attributeName(1), "part");
  EXPECT_EQ(w->attributeName(42), "unknown");
  EXPECT_THROW(Kiv::attributeIs(*w, "nope", true), Kiv::RangeException);
  EXPECT_THROW(Kiv::newEntity("Test::Nothing", "x"), Kiv::RangeException);
  EXPECT_THROW(dir->memberIs("w1", part), Kiv::NameInUseException);
}

TEST(DirectoryTest, BindsAndLooksUpPaths) {
  auto root = Kiv::make<Kiv::Directory>("root");
  auto leaf = Kiv::make<Kiv::Entity>("vrrpMIB");
  root->bind("snmp/vrrp/vrrpMIB", leaf);
  EXPECT_EQ(root->lookup("/snmp//vrrp/vrrpMIB/"), leaf);  // empty segments are skipped
  EXPECT_FALSE(root->lookup("snmp/vrrp/other"));
  EXPECT_FALSE(root->lookup("snmp/vrrp/vrrpMIB/deeper/still"));
  EXPECT_THROW(root->bind("snmp/vrrp/vrrpMIB/x", leaf), Kiv::NameInUseException);
}

}  // namespace
