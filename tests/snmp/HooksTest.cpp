// The table-iterator hooks called the way net-snmp's iterator calls them, without its
// request processing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FhrpSnmp/VrrpMib.h"
#include "snmp/VrrpMIBInternal.h"

namespace {

using FhrpSnmp::VrrpIndex;

// A variable list such as the table layer builds: a hint's parsed index bindings, or the
// unset bindings the iterator hands the hooks to fill.
struct VarList {
  VarList() = default;
  VarList(const VarList&) = delete;
  ~VarList() { snmp_free_varbind(vars); }
  // A parsed sub-identifier is stored whole, unchecked, as the table layer stores it.
  VarList& integer(long value) {
    add(ASN_INTEGER, {0, 0, 0, 0});
    netsnmp_variable_list* v = vars;
    while (v->next_variable) v = v->next_variable;
    *v->val.integer = value;
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
  if (build_oid_noalloc(name, MAX_OID_LEN, &len, nullptr, 0, indexes) != SNMPERR_SUCCESS) {
    return "unbuildable";
  }
  std::string text;
  for (size_t i = 0; i < len; ++i) text += (i ? "." : "") + std::to_string(name[i]);
  return text;
}

class HooksTest : public ::testing::Test {
 protected:
  HooksTest() {
    info.myvoid = mib.ptr();
    for (auto [ifIndex, vrId] : {std::pair{1, 1u}, {1, 5u}, {2, 3u}, {7, 12u}}) {
      mib->operTableIs(VrrpIndex(ifIndex, vrId), nullptr, nullptr);
    }
  }
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  netsnmp_iterator_info info{};
};

// Where get-first starts for each kind of hint is seen through the agent (AgentTest); here,
// what a request's contexts keep alive while the mirroring half changes the table under them.
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
  vrrpOperTable_free_loop_context_at_end(nullptr, &info);
  vrrpOperTable_free_data_context(dataContext, &info);
  EXPECT_EQ(row->references(), 1);
}

}  // namespace
