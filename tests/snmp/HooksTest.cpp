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

// A hint record as the table layer fills it: a count and the parsed index bindings.
class Hint {
 public:
  explicit Hint(unsigned count) { info_.number_indexes = count; }
  ~Hint() { snmp_free_varbind(info_.indexes); }
  Hint(const Hint&) = delete;
  Hint& operator=(const Hint&) = delete;

  // Stored as the table layer stores a parsed sub-identifier: the whole long, unchecked.
  Hint& integer(long value) {
    add(ASN_INTEGER, reinterpret_cast<const u_char*>(&value), sizeof(value));
    last()->val.integer[0] = value;
    return *this;
  }
  Hint& octets(u_char type, std::vector<u_char> bytes) {
    return add(type, bytes.data(), bytes.size());
  }
  void* record() { return &info_; }

 private:
  netsnmp_variable_list* last() {
    netsnmp_variable_list* v = info_.indexes;
    while (v->next_variable) v = v->next_variable;
    return v;
  }
  Hint& add(u_char type, const u_char* value, size_t len) {
    snmp_varlist_add_variable(&info_.indexes, nullptr, 0, type, value, len);
    return *this;
  }
  netsnmp_table_request_info info_{};
};

// The index bindings the iterator hands the hooks, typed as the table registers them.
class IndexList {
 public:
  explicit IndexList(std::initializer_list<u_char> types) {
    for (u_char t : types) snmp_varlist_add_variable(&vars_, nullptr, 0, t, nullptr, 0);
  }
  ~IndexList() { snmp_free_varbind(vars_); }
  IndexList(const IndexList&) = delete;
  IndexList& operator=(const IndexList&) = delete;
  netsnmp_variable_list* vars() { return vars_; }

 private:
  netsnmp_variable_list* vars_ = nullptr;
};

// The instance suffix the iterator builds from index bindings, "1.5" or "1.5.10.0.0.1".
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
    mib->assoIpAddrTableIs(VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 2)));
    mib->assoIpAddrTableIs(VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 1)));
    mib->assoIpAddrTableIs(VrrpIpIndex(2, 1, IpAddr(192, 0, 2, 1)));
  }

  // get-first with `hint` in the loop-context slot: the suffix it publishes. The loop
  // context is freed again, as free_loop_context_at_end does after a pass.
  std::string operFirst(void* hint) {
    IndexList indexes{ASN_INTEGER, ASN_INTEGER};
    void* slot = hint;
    void* data = nullptr;
    std::string s = suffix(vrrpOperTable_get_first_data_point(&slot, &data, indexes.vars(), &info));
    EXPECT_NE(slot, hint) << "the slot must hold the hook's own loop context";
    EXPECT_EQ(data, nullptr);
    vrrpOperTable_free_loop_context_at_end(slot, &info);
    return s;
  }
  std::string assoFirst(void* hint) {
    IndexList indexes{ASN_INTEGER, ASN_INTEGER, ASN_IPADDRESS};
    void* slot = hint;
    void* data = nullptr;
    std::string s =
        suffix(vrrpAssoIpAddrTable_get_first_data_point(&slot, &data, indexes.vars(), &info));
    EXPECT_NE(slot, hint);
    vrrpAssoIpAddrTable_free_loop_context_at_end(slot, &info);
    return s;
  }

  Kiv::Ptr<FhrpSnmp::VrrpMib> mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  netsnmp_iterator_info info{};
  Kiv::TraceCapture trace{"Snmp"};
};

TEST_F(HooksTest, WithoutAHintTheWalkStartsAtTheFirstRow) {
  EXPECT_EQ(operFirst(nullptr), "1.1");
  EXPECT_EQ(trace.lines().front(),
            "vrrpOperTable_get_first_data_point - *hint = null, number_indexes = 0");
  EXPECT_TRUE(trace.contains("hintMatched=0"));
  EXPECT_TRUE(
      trace.contains("vrrpOperTableIterationHelper - iterator has another value: ifIndex=1"));
  EXPECT_TRUE(trace.contains("vrrpOperTableIterationHelper - iterator has another value: vrId=1"));
}

TEST_F(HooksTest, AHintNamingARowStartsThereAndTheWalkGoesOnInKeyOrder) {
  Hint hint(2);
  hint.integer(2).integer(3);
  IndexList indexes{ASN_INTEGER, ASN_INTEGER};
  void* slot = hint.record();
  void* data = nullptr;
  EXPECT_EQ(suffix(vrrpOperTable_get_first_data_point(&slot, &data, indexes.vars(), &info)), "2.3");
  EXPECT_TRUE(trace.contains("hint component ifIndex is '2'"));
  EXPECT_TRUE(trace.contains("hint component vrrpOperVrId is '3'"));
  EXPECT_EQ(trace.count("allocated new loop context"), 1u);
  EXPECT_TRUE(trace.contains("hintMatched=1"));

  EXPECT_EQ(suffix(vrrpOperTable_get_next_data_point(&slot, &data, indexes.vars(), &info)), "7.12");
  trace.clear();
  EXPECT_EQ(vrrpOperTable_get_next_data_point(&slot, &data, indexes.vars(), &info), nullptr);
  EXPECT_EQ(trace.lines().back(), "vrrpOperTableIterationHelper - iterator is at end");
  EXPECT_EQ(vrrpOperTable_get_next_data_point(&slot, &data, indexes.vars(), &info), nullptr);
  EXPECT_EQ(
      trace.lines().back().rfind("vrrpOperTable_get_next_data_point - at end of loop context ", 0),
      0u);
  vrrpOperTable_free_loop_context_at_end(slot, &info);
}

TEST_F(HooksTest, AHintNamingNoRowRestartsFromTheFirst) {
  Hint hint(2);
  hint.integer(2).integer(4);
  EXPECT_EQ(operFirst(hint.record()), "1.1");
  EXPECT_TRUE(trace.contains("vrrpOperTable_get_first_data_point - key '" +
                             FhrpSnmp::valueToStrep(VrrpIndex(2, 4)) + "' not found in table"));
  EXPECT_TRUE(trace.contains("hintMatched=0"));
  // Past the last row as well: there is no greater row to start from either.
  Hint past(2);
  past.integer(9).integer(9);
  EXPECT_EQ(operFirst(past.record()), "1.1");
}

TEST_F(HooksTest, AHintWithAnotherCountIsNotRead) {
  Hint partial(1);
  partial.integer(2);
  EXPECT_EQ(operFirst(partial.record()), "1.1");
  Hint tooMany(3);
  tooMany.integer(2).integer(3).integer(4);
  EXPECT_EQ(operFirst(tooMany.record()), "1.1");
  EXPECT_FALSE(trace.contains("hint component"));
  EXPECT_FALSE(trace.contains("needed"));
  EXPECT_TRUE(
      trace.contains("*hint = " + Kiv::ptrToStrep(partial.record()) + ", number_indexes = 1"));
  EXPECT_EQ(trace.count("hintMatched=0"), 2u);
}

TEST_F(HooksTest, MalformedHintsAreTracedAndIgnored) {
  {
    Hint badIfIndex(2);
    badIfIndex.octets(ASN_OCTET_STR, {'x'}).integer(3);
    EXPECT_EQ(operFirst(badIfIndex.record()), "1.1");
    EXPECT_TRUE(trace.contains("hint for ifIndex has incorrect type! Expecting 2 but got 4"));
    EXPECT_TRUE(trace.contains("hint component vrrpOperVrId is '3'"));
    EXPECT_TRUE(
        trace.contains("vrrpOperTable_get_first_data_point - needed 2 components, found only 1"));
  }
  trace.clear();
  {
    Hint badVrId(2);
    badVrId.integer(2).octets(ASN_IPADDRESS, {1, 2, 3, 4});
    EXPECT_EQ(operFirst(badVrId.record()), "1.1");
    EXPECT_TRUE(trace.contains("hint for vrrpOperVrId has incorrect type! Expecting 2 but got 64"));
    EXPECT_TRUE(trace.contains("found only 1"));
  }
  trace.clear();
  {
    Hint outOfRange(2);
    outOfRange.integer(4294967293L).integer(5);
    EXPECT_EQ(operFirst(outOfRange.record()), "1.1");
    EXPECT_TRUE(trace.contains("hint for index ifIndex of vrrpOperTable is out of range! "));
    EXPECT_TRUE(trace.contains("found only 1"));
  }
  trace.clear();
  {
    Hint short1(2);
    short1.integer(1);
    EXPECT_EQ(operFirst(short1.record()), "1.1");
    EXPECT_TRUE(trace.contains("found only 1"));
    Hint empty(2);
    EXPECT_EQ(operFirst(empty.record()), "1.1");
    EXPECT_TRUE(trace.contains("found only 0"));
  }
}

TEST_F(HooksTest, AnEmptyTableStillLeavesALoopContextInTheSlot) {
  FhrpSnmp::VrrpMib empty("empty");
  info.myvoid = &empty;
  Hint hint(2);
  hint.integer(1).integer(1);
  EXPECT_EQ(operFirst(hint.record()), "end");
  EXPECT_EQ(assoFirst(nullptr), "end");
  EXPECT_EQ(trace.count("hintMatched=0"), 2u);
  EXPECT_TRUE(trace.contains("vrrpAssoIpAddrTableIterationHelper - iterator is at end"));
  vrrpOperTable_free_loop_context_at_end(nullptr, &info);
  vrrpOperTable_free_data_context(nullptr, &info);
}

TEST_F(HooksTest, AssociatedAddressesUseAllThreeComponents) {
  Hint exact(3);
  exact.integer(1).integer(5).octets(ASN_IPADDRESS, {10, 0, 0, 2});
  EXPECT_EQ(assoFirst(exact.record()), "1.5.10.0.0.2") << "four sub-identifiers, no length";
  EXPECT_TRUE(trace.contains("hint component vrrpAssoIpAddr is '10.0.0.2'"));
  EXPECT_TRUE(trace.contains("hintMatched=1"));
  EXPECT_TRUE(trace.contains(
      "vrrpAssoIpAddrTableIterationHelper - iterator has another value: ipAddr=10.0.0.2"));

  Hint partial(2);
  partial.integer(2).integer(1);
  EXPECT_EQ(assoFirst(partial.record()), "1.5.10.0.0.1");

  trace.clear();
  Hint missing(3);
  missing.integer(1).integer(5).octets(ASN_IPADDRESS, {10, 0, 0, 3});
  EXPECT_EQ(assoFirst(missing.record()), "1.5.10.0.0.1");
  EXPECT_TRUE(trace.contains("vrrpAssoIpAddrTable_get_first_data_point - key '" +
                             FhrpSnmp::valueToStrep(VrrpIpIndex(1, 5, IpAddr(10, 0, 0, 3))) +
                             "' not found in table"));
}

TEST_F(HooksTest, AssociatedAddressHintsOfTheWrongTypeOrLengthAreRefused) {
  Hint octetString(3);
  octetString.integer(1).integer(5).octets(ASN_OCTET_STR, {10, 0, 0, 2});
  EXPECT_EQ(assoFirst(octetString.record()), "1.5.10.0.0.1");
  EXPECT_TRUE(trace.contains("hint for vrrpAssoIpAddr has incorrect type! Expecting 64 but got 4"));
  EXPECT_TRUE(trace.contains(
      "vrrpAssoIpAddrTable_get_first_data_point - needed 3 components, found only 2"));

  trace.clear();
  Hint longAddr(3);
  longAddr.integer(1).integer(5).octets(ASN_IPADDRESS, {10, 0, 0, 2, 9});
  EXPECT_EQ(assoFirst(longAddr.record()), "1.5.10.0.0.1");
  EXPECT_TRUE(
      trace.contains("hint for index vrrpAssoIpAddr of vrrpAssoIpAddrTable is out of range! "));
  EXPECT_TRUE(trace.contains("found only 2"));

  trace.clear();
  Hint twoOfThree(3);
  twoOfThree.integer(1).integer(5);
  EXPECT_EQ(assoFirst(twoOfThree.record()), "1.5.10.0.0.1");
  EXPECT_TRUE(trace.contains("found only 2"));
}

TEST_F(HooksTest, ContextsKeepTheirRowAndTableAcrossDeletion) {
  IndexList indexes{ASN_INTEGER, ASN_INTEGER};
  Hint hint(2);
  hint.integer(1).integer(5);
  void* loop = hint.record();
  void* data = nullptr;
  vrrpOperTable_get_first_data_point(&loop, &data, indexes.vars(), &info);
  void* dataContext = vrrpOperTable_make_data_context(loop, &info);
  EXPECT_TRUE(trace.contains("vrrpOperTable_make_data_context - allocated data context " +
                             Kiv::ptrToStrep(dataContext) + " for loop context " +
                             Kiv::ptrToStrep(loop)));

  // The mirroring half retires the selected row and its successor, then the model goes.
  Kiv::Ptr<FhrpSnmp::OperEntry> row = mib->operTable(VrrpIndex(1, 5));
  mib->operTableDel(VrrpIndex(1, 5));
  mib->operTableDel(VrrpIndex(2, 3));
  mib->operTableIs(VrrpIndex(1, 9), nullptr, nullptr);
  const FhrpSnmp::OperTable* table = mib->operTableCollection().ptr();
  info.myvoid = nullptr;
  mib = nullptr;

  auto* selected = static_cast<const FhrpSnmp::OperTable::Iterator*>(dataContext);
  EXPECT_EQ(selected->value(), row);
  EXPECT_EQ(selected->key(), VrrpIndex(1, 5));
  EXPECT_EQ(row->references(), 3) << "ours, the loop context's and the data context's";
  EXPECT_EQ(selected->collection().ptr(), table);

  EXPECT_EQ(suffix(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars(), &info)), "1.9");
  EXPECT_EQ(suffix(vrrpOperTable_get_next_data_point(&loop, &data, indexes.vars(), &info)), "7.12");
  vrrpOperTable_free_loop_context_at_end(loop, &info);
  vrrpOperTable_free_data_context(dataContext, &info);
  EXPECT_EQ(row->references(), 1);
  EXPECT_TRUE(trace.contains("vrrpOperTable_free_data_context " + Kiv::ptrToStrep(dataContext)));
}

}  // namespace
