// SPDX-License-Identifier: Apache-2.0
#pragma once
// The table-iterator hooks and the request handler that vrrpOperTable and
// vrrpAssoIpAddrTable share, written once over a description of the table (TableTraits).
// Each table's file defines its net-snmp hooks as thin functions that call these.
//
// Loop and data contexts are heap-allocated Table::Iterator objects. An iterator holds
// counted references to the table and its current row and finds its place again after the
// table changed, so a row deleted between two calls of one request neither dangles nor
// breaks the walk.
#include <concepts>
#include <span>
#include <string>

#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Exception.h"
#include "kiv/Ptr.h"
#include "platform/Snmp/NetSnmp.h"
#include "snmp/SnmpTrace.h"
#include "snmp/VrrpMIBIndexes.h"

namespace VrrpMIBImpl {

// The entity path that length messages name: "/<root>/snmp/vrrp/vrrpMIB".
Kiv::String8 modelPathText();

// One column a table serves on GET.
template <class Row>
struct ColumnDef {
  unsigned column;
  const char* name;
  // Read-write in the MIB: a SET on it is refused as not configured rather than as invalid.
  bool writableInMib;
  u_char type;
  S32 capacity;  // at most 1024
  S32 (*encode)(const Row& row, unsigned char* buf, S32 capacity);
  // Traced after "handle_<table> - " when encode fails.
  const char* failure;
  // When set, a produced length outside [minLength, maxLength] fails under this name.
  const char* lengthName = nullptr;
  S32 minLength = 0;
  S32 maxLength = 0;
};

// What a table tells the shared code about itself.
template <class T>
concept TableTraits = requires(const FhrpSnmp::VrrpMib& mib, const HintValues& hint,
                               const typename T::Key& key, netsnmp_variable_list* indexes) {
  typename T::Row;
  // The model's ordered table, keyed in SNMP index order.
  requires std::same_as<typename T::Table, Kiv::OrderedMap<typename T::Key, typename T::Row>>;
  { T::kName } -> std::convertible_to<const char*>;     // "vrrpOperTable"
  { T::kKeyType } -> std::convertible_to<const char*>;  // named when a hint makes no key
  { T::kIndexCount } -> std::convertible_to<int>;       // index parts a usable hint has
  { T::collection(mib) } -> std::convertible_to<const Kiv::Ptr<typename T::Table>&>;
  { T::keyFromHint(hint) } -> std::same_as<typename T::Key>;  // may throw RangeException
  // Writes a row's index bindings, tracing them under the helper's name.
  T::writeIndexes("helper", key, indexes);
  // The columns served on GET.
  { std::span(T::kColumns) } -> std::convertible_to<std::span<const ColumnDef<typename T::Row>>>;
};

template <TableTraits Traits>
class TableIterator {
 public:
  using Table = typename Traits::Table;
  using Iterator = typename Table::Iterator;
  using Row = typename Traits::Row;

  static netsnmp_variable_list* getFirst(void** loopContext, netsnmp_variable_list* indexes,
                                         netsnmp_iterator_info* info) {
    const auto* hint = static_cast<const netsnmp_table_request_info*>(*loopContext);
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_get_first_data_point - *hint = " << Kiv::ptrToStrep(hint)
                            << ", number_indexes = " << (hint ? hint->number_indexes : 0));
    const Table& rows = table(info);
    Iterator start;
    const bool hintMatched = hint &&
                             hint->number_indexes == static_cast<unsigned>(Traits::kIndexCount) &&
                             findHintedRow(rows, hint->indexes, start);
    // The slot held the iterator's hint record, which is not ours to free: it must hold our
    // loop context from here on, also when the table is empty.
    auto* loop = new Iterator(hintMatched ? start : rows.begin());
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_get_first_data_point - allocated new loop context "
                            << Kiv::ptrToStrep(loop) << ", hintMatched=" << hintMatched);
    *loopContext = loop;
    return iterationHelper(loop, indexes);
  }

  static netsnmp_variable_list* getNext(void** loopContext, void** dataContext,
                                        netsnmp_variable_list* indexes) {
    auto* loop = static_cast<Iterator*>(*loopContext);
    if (!loop || loop->atEnd()) {
      KIV_TRACE(Snmp::snmpTrace(), 2,
                Traits::kName << "_get_next_data_point - at end of loop context "
                              << Kiv::ptrToStrep(loop));
      return nullptr;
    }
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_get_next_data_point - advancing loop context "
                            << Kiv::ptrToStrep(loop) << " ; data context "
                            << Kiv::ptrToStrep(dataContext ? *dataContext : nullptr));
    loop->advance();
    return iterationHelper(loop, indexes);
  }

  static netsnmp_variable_list* iterationHelper(const Iterator* loop,
                                                netsnmp_variable_list* indexes) {
    static const std::string helper = std::string(Traits::kName) + "IterationHelper";
    if (!loop || loop->atEnd()) {
      KIV_TRACE(Snmp::snmpTrace(), 2, helper << " - iterator is at end");
      return nullptr;
    }
    Traits::writeIndexes(helper.c_str(), loop->key(), indexes);
    return indexes;
  }

  static void* makeDataContext(void* loopContext) {
    auto* data = new Iterator(*static_cast<const Iterator*>(loopContext));
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_make_data_context - allocated data context "
                            << Kiv::ptrToStrep(data) << " for loop context "
                            << Kiv::ptrToStrep(loopContext));
    return data;
  }

  static void freeDataContext(void* dataContext) {
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_free_data_context " << Kiv::ptrToStrep(dataContext));
    delete static_cast<Iterator*>(dataContext);
  }

  static void freeLoopContextAtEnd(void* loopContext) {
    KIV_TRACE(Snmp::snmpTrace(), 2,
              Traits::kName << "_free_loop_context_at_end " << Kiv::ptrToStrep(loopContext));
    delete static_cast<Iterator*>(loopContext);
  }

  static int handler(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
    KIV_TRACE(Snmp::snmpTrace(), 2, Traits::kName << "_handler");
    KIV_TRACE(Snmp::snmpTrace(), 2, Traits::kName << "_handler: request mode " << reqinfo->mode);
    if (reqinfo->mode != MODE_GET) return refuseSet(requests);
    for (netsnmp_request_info* request = requests; request; request = request->next) {
      if (skipProcessed(request)) continue;
      const auto* data = static_cast<const Iterator*>(netsnmp_extract_iterator_context(request));
      if (!data || !data->value()) {
        KIV_TRACE(Snmp::snmpTrace(), 2, Traits::kName << "_handler: null data context in request");
        return SNMP_ERR_NOERROR;
      }
      const unsigned colnum = columnOf(request);
      const ColumnDef<Row>* column = find(colnum);
      if (!column) {
        KIV_TRACE(Snmp::snmpTrace(), 0, Traits::kName << " invalid column " << colnum);
        netsnmp_request_set_error(request, SNMP_NOSUCHOBJECT);
        return SNMP_ERR_NOERROR;
      }
      KIV_TRACE(Snmp::snmpTrace(), 2,
                Traits::kName << "_handler: request GET for column " << column->name << ", key "
                              << data->key());
      if (int status = answer(*column, *data->value(), request)) return status;
    }
    return SNMP_ERR_NOERROR;
  }

 private:
  static const Table& table(netsnmp_iterator_info* info) {
    return *Traits::collection(*static_cast<const FhrpSnmp::VrrpMib*>(info->myvoid));
  }

  // Positions `at` on the row whose key the hint names exactly. A hint naming a row that
  // is not there is not used to start past it: the iterator's own comparison, walking from
  // the first row, then finds the answer.
  static bool findHintedRow(const Table& rows, const netsnmp_variable_list* indexes, Iterator& at) {
    HintValues values;
    const int found = parseHint(Traits::kName, indexes, Traits::kIndexCount, values);
    if (found != Traits::kIndexCount) {
      KIV_TRACE(Snmp::snmpTrace(), 2,
                Traits::kName << "_get_first_data_point - needed " << Traits::kIndexCount
                              << " components, found only " << found);
      return false;
    }
    typename Traits::Key key;
    try {
      key = Traits::keyFromHint(values);
    } catch (const Kiv::RangeException& e) {
      KIV_TRACE(Snmp::snmpTrace(), 0,
                "Bad hint for " << Traits::kName << ": " << Traits::kKeyType
                                << " ctor threw exception: " << e.what());
      return false;
    }
    Iterator candidate = rows.lowerBound(key);
    if (candidate.atEnd() || candidate.key() != key) {
      KIV_TRACE(Snmp::snmpTrace(), 2,
                Traits::kName << "_get_first_data_point - key '" << key << "' not found in table");
      return false;
    }
    at = candidate;
    return true;
  }

  static bool skipProcessed(const netsnmp_request_info* request) {
    if (!request->processed) return false;
    KIV_TRACE(
        Snmp::snmpTrace(), 2,
        Traits::kName << "_handler: request " << Kiv::ptrToStrep(request) << " already processed");
    return true;
  }

  static unsigned columnOf(netsnmp_request_info* request) {
    const netsnmp_table_request_info* info = netsnmp_extract_table_info(request);
    return info ? info->colnum : 0;
  }

  static const ColumnDef<Row>* find(unsigned colnum) {
    for (const ColumnDef<Row>& c : Traits::kColumns) {
      if (c.column == colnum) return &c;
    }
    return nullptr;
  }

  // The MIB is read-only here: the first request still open is refused, which fails the
  // whole SET.
  static int refuseSet(netsnmp_request_info* requests) {
    netsnmp_request_info* request = requests;
    while (request && skipProcessed(request)) request = request->next;
    if (!request) return SNMP_ERR_NOERROR;
    const unsigned colnum = columnOf(request);
    const ColumnDef<Row>* column = find(colnum);
    if (column && column->writableInMib) {
      KIV_TRACE(Snmp::snmpTrace(), 2,
                Traits::kName << "_handler: SET is not configured for column " << column->name);
    } else {
      KIV_TRACE(Snmp::snmpTrace(), 0, Traits::kName << " invalid column " << colnum);
    }
    netsnmp_request_set_error(request, SNMP_ERR_NOTWRITABLE);
    return SNMP_ERR_NOERROR;
  }

  static int answer(const ColumnDef<Row>& column, const Row& row, netsnmp_request_info* request) {
    unsigned char buf[1024];
    const S32 len = column.encode(row, buf, column.capacity);
    if (len < 0) {
      KIV_TRACE(Snmp::snmpTrace(), 2, "handle_" << Traits::kName << " - " << column.failure);
      netsnmp_request_set_error(request, SNMP_ERR_GENERR);
      return SNMP_ERR_GENERR;
    }
    if (column.lengthName && (len < column.minLength || len > column.maxLength)) {
      KIV_TRACE(Snmp::snmpTrace(), 2,
                "handle_" << Traits::kName << " - entity " << modelPathText()
                          << " length out of range: " << column.lengthName << " (" << len << ")");
      netsnmp_request_set_error(request, SNMP_ERR_GENERR);
      return SNMP_ERR_GENERR;
    }
    snmp_set_var_typed_value(request->requestvb, column.type, buf, static_cast<size_t>(len));
    return SNMP_ERR_NOERROR;
  }
};

}  // namespace VrrpMIBImpl
