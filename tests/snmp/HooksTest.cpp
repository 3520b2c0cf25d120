// SPDX-License-Identifier: Apache-2.0
// The table-iterator hooks called the way net-snmp's iterator calls them, without its
// request processing: where get-first starts for each kind of hint, and what the loop and
// data contexts keep alive.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Trace.h"
#include "snmp/VrrpMIBInternal.h"

namespace {

using FhrpSnmp::VrrpIndex;
using FhrpSnmp::VrrpIpIndex;
using Lirex::IpAddr;

// A variable list such as the table layer builds: a hint's parsed index bindings, or the
// unset bindings the iterator hands the hooks to fill.
class VarList {
 public:
  VarList() = default;
  ~VarList() { snmp_free_varbind(vars); }
  VarList(const VarList&) = delete;
  VarList& operator=(const VarList&) = delete;

  // A parsed sub-identifier is stored whole, unchecked, as the table layer stores it.
  VarList& integer(long value) {
    snmp_varlist_add_variable(&vars, nullptr, 0, ASN_INTEGER, &value, sizeof(value))
        ->val.integer[0] = value;
    return *this;
  }
  VarList& add(u_char type, std::vector<u_char> bytes) {
    snmp_varlist_add_variable(&vars, nullptr, 0, type, bytes.empty() ? nullptr : bytes.data(),
                              bytes.size());
    return *this;
  }
  netsnmp_variable_list* vars = nullptr;
};

// The instance suffix the iterator builds from the bindings a hook filled: "1.5",
// "1.5.10.0.0.1", or "end" when the hook returned none.
std::string suffix(netsnmp_variable_list* indexes) {
  if (!indexes) return "end";
  oid name[MAX_OID_LEN];
  size_t len = 0;
  if (build_oid_noalloc(name, MAX_OID_LEN, &len, nullptr, 0, indexes)) return "unbuildable";
  std::string text;
  for (size_t i = 0; i < len; ++i) text += (i ? "." : "") + std::to_string(name[i]);
  return text;
}

struct TableHooks {
  decltype(&vrrpOperTable_get_first_data_point) first;
  decltype(&vrrpOperTable_free_loop_context_at_end) freeLoop;
  std::vector<u_char> indexTypes;
};
const TableHooks kOper{vrrpOperTable_get_first_data_point,
                       vrrpOperTable_free_loop_context_at_end,
                       {ASN_INTEGER, ASN_INTEGER}};
const TableHooks kAsso{vrrpAssoIpAddrTable_get_first_data_point,
                       vrrpAssoIpAddrTable_free_loop_context_at_end,
                       {ASN_INTEGER, ASN_INTEGER, ASN_IPADDRESS}};

class HooksTest : public ::testing::Test {
 protected:
  HooksTest() {
    info.myvoid = mib.ptr();
    for (auto [ifIndex, vrId] : {std::pair{1, 1u}, {1, 5u}, {2, 3u}, {7, 12u}}) {
      mib->operTableIs(VrrpIndex(ifIndex, vrId), nullptr, nullptr);
    }
    mib->assoIpAddrTableIs(VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 2)));
    mib->assoIpAddrTableIs(VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 1)));
    mib->assoIpAddrTableIs(VrrpIpIndex(2, 1, IpAddr(192, 0, 2, 1)));
  }

  // get-first with a hint of `count` over `bindings` (no hint when null): the row it starts
  // at. Its loop context is freed again, as at the end of a pass.
  std::string first(const TableHooks& table, const VarList* bindings, unsigned count = 0) {
    netsnmp_table_request_info hint{};
    hint.number_indexes = count;
    hint.indexes = bindings ? bindings->vars : nullptr;
    VarList indexes;
    for (u_char t : table.indexTypes) indexes.add(t, {});
    void* slot = bindings ? &hint : nullptr;
    void* data = nullptr;
    std::string start = suffix(table.first(&slot, &data, indexes.vars, &info));
    EXPECT_TRUE(slot && slot != &hint) << "the slot must hold the hook's own loop context";
    EXPECT_EQ(data, nullptr);
    table.freeLoop(slot, &info);
    return start;
  }

  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  netsnmp_iterator_info info{};
  Kiv::TraceCapture trace{"Snmp"};
};

// A hint naming a row exactly starts the walk there; anything else starts it at the first row,
// and the iterator's own comparison finds the answer.
TEST_F(HooksTest, AHintNamingARowStartsThereOtherwiseTheWalkStartsAtTheFirstRow) {
  struct Case {
    const TableHooks* table;
    std::vector<long> ints;  // the hint's integer bindings, then 10.0.0.<addr> unless 0
    u_char addr;
    unsigned count;  // 0: no hint at all
    const char* start;
  };
  const Case cases[] = {
      {&kOper, {}, 0, 0, "1.1"},
      {&kOper, {2, 3}, 0, 2, "2.3"},
      {&kOper, {2, 4}, 0, 2, "1.1"},           // not even the greater row 7.12 is used
      {&kOper, {2, 3}, 0, 1, "1.1"},           // a partial index
      {&kAsso, {1, 5}, 2, 3, "1.5.10.0.0.2"},  // the address is four sub-identifiers
      {&kAsso, {2, 1}, 0, 2, "1.5.10.0.0.1"},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    VarList hint;
    for (long v : c.ints) hint.integer(v);
    if (c.addr) hint.add(ASN_IPADDRESS, {10, 0, 0, c.addr});
    trace.clear();
    EXPECT_EQ(first(*c.table, c.count ? &hint : nullptr, c.count), c.start) << "case " << i;
    const bool matched = std::string(c.start) != (c.table == &kOper ? "1.1" : "1.5.10.0.0.1");
    EXPECT_TRUE(trace.contains(matched ? "hintMatched=1" : "hintMatched=0")) << "case " << i;
  }
}

// Malformed hints: the daemon's hostile test asks with them and checks each answer; the
// agent test walks an emptied table.

TEST_F(HooksTest, ContextsKeepTheirRowAndTableAcrossDeletion) {
  VarList hint, indexes;
  hint.integer(1).integer(5);
  indexes.add(ASN_INTEGER, {}).add(ASN_INTEGER, {});
  netsnmp_table_request_info record{};
  record.number_indexes = 2;
  record.indexes = hint.vars;
  void* loop = &record;
  void* data = nullptr;
  vrrpOperTable_get_first_data_point(&loop, &data, indexes.vars, &info);
  void* dataContext = vrrpOperTable_make_data_context(loop, &info);

  // The mirroring half retires the selected row and its successor, adds one, and the model
  // itself goes.
  Kiv::Ptr<FhrpSnmp::OperEntry> row = mib->operTable(VrrpIndex(1, 5));
  mib->operTableDel(VrrpIndex(1, 5));
  mib->operTableDel(VrrpIndex(2, 3));
  mib->operTableIs(VrrpIndex(1, 9), nullptr, nullptr);
  info.myvoid = nullptr;
  mib = nullptr;

  auto* selected = static_cast<const FhrpSnmp::OperTable::Iterator*>(dataContext);
  EXPECT_EQ(selected->value(), row);
  EXPECT_EQ(selected->key(), VrrpIndex(1, 5));
  EXPECT_EQ(row->references(), 3) << "ours, the loop context's and the data context's";
  EXPECT_EQ(suffix(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars, &info)), "1.9");
  EXPECT_EQ(suffix(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars, &info)), "7.12");
  EXPECT_EQ(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars, &info), nullptr);
  EXPECT_EQ(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars, &info), nullptr);
  vrrpOperTable_free_loop_context_at_end(loop, &info);
  vrrpOperTable_free_data_context(dataContext, &info);
  EXPECT_EQ(row->references(), 1);
}

}  // namespace
