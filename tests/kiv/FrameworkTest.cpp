#include <gtest/gtest.h>

#include "kiv/Directory.h"
#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "kiv/TypeRegistry.h"

namespace {

TEST(TraceTest, SpecEnablesLevelsPerHandleAndRejectsMalformedSpecs) {
  auto& snmp = Kiv::traceHandle("TestSnmp");
  auto& entry = Kiv::traceHandle("TestEntry");
  Kiv::traceSpecIs("TestSnmp/0-2,TestEntry/7");
  EXPECT_TRUE(snmp.enabled(2) && !snmp.enabled(3) && entry.enabled(7) && !entry.enabled(8));
  Kiv::traceSpecIs("*/9,TestEntry");  // a bare name is every level
  EXPECT_TRUE(snmp.enabled(9) && !snmp.enabled(0) && entry.enabled(0) && entry.enabled(8));
  for (const char* bad : {"TestSnmp/", "TestSnmp/3-1", "TestSnmp/x", "/3", "a,,b", "TestSnmp/10"}) {
    EXPECT_THROW(Kiv::traceSpecIs(bad), Kiv::RangeException) << bad;
  }
  EXPECT_EQ(Kiv::traceSpec(), "*/9,TestEntry");  // a rejected spec changes nothing
  Kiv::traceSpecIs("");
  EXPECT_FALSE(entry.enabled(0));
  int formatted = 0;
  KIV_TRACE(entry, 0, "never " << ++formatted);
  EXPECT_EQ(formatted, 0) << "a disabled level must not format its text";
}

struct Widget : Kiv::Entity {
  using Entity::Entity;
  Kiv::String8 typeName() const override { return "Test::Widget"; }
  Kiv::Ptr<Kiv::PtrInterface> part;
};

TEST(TypeRegistryTest, CreatesByNameAndSetsAttributesByName) {
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
  EXPECT_FALSE(root->lookup("snmp/vrrp/vrrpMIB/deeper"));
  EXPECT_THROW(root->bind("snmp/vrrp/vrrpMIB/x", leaf), Kiv::NameInUseException);
}

}  // namespace
