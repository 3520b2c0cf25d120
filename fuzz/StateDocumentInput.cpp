// SPDX-License-Identifier: Apache-2.0
#include <optional>
#include <set>
#include <sstream>

#include "fuzz/Inputs.h"
#include "fuzz/MirroredState.h"
#include "kiv/Assert.h"
#include "zentra/StateDocument.h"

namespace FhrpFuzz {
namespace {

using Zentra::PublishSummary;
using Zentra::StateDocument;

std::optional<StateDocument> read(std::string_view text) {
  try {
    return Zentra::parseStateDocument(text);
  } catch (const Zentra::StateDocumentError&) {
    return std::nullopt;
  }
}

// Records of every level, as the publisher counts them.
std::size_t records(const StateDocument& d) {
  std::size_t n = d.interfaces.size() + d.ip.size();
  for (const auto& [intf, vrs] : d.vrrpConfig) n += 1 + vrs.size();
  for (const auto& [intf, vrs] : d.vrrpStatus) n += 1 + vrs.size();
  for (const auto& [intf, vrs] : d.vrrpStatusV6) n += 1 + vrs.size();
  return n;
}

// The router-wide statistics are one record that always exists: a document sets attributes of
// it, one for each member that differs from an empty document's.
std::size_t globalAttributes(const StateDocument& d) {
  const StateDocument::GlobalStatistics& g = d.vrrpStatistics;
  return (g.checksumErrors != 0) + (g.versionErrors != 0) + (g.vrIdErrors != 0) +
         (g.refreshRate != 0);
}

// The rows of the VRRPv3-MIB a document calls for: one per version 3 router and family with a
// status of that family on an interface with an ifIndex, and one per true, non-zero address.
std::pair<std::size_t, std::size_t> v3Rows(const StateDocument& d) {
  std::size_t routers = 0, addrs = 0;
  const auto count = [&](const auto& statuses, const Lirex::IntfId& intf, Routing::Fhrp::VrId id) {
    const auto onIntf = statuses.find(intf);
    if (onIntf == statuses.end() || !onIntf->second.contains(id)) return;
    ++routers;
    for (const auto& [addr, up] : onIntf->second.at(id).ipAddrs) addrs += up && !addr.isZero();
  };
  for (const auto& [intf, vrs] : d.vrrpConfig) {
    if (!d.interfaces.contains(intf)) continue;
    for (const auto& [id, c] : vrs) {
      if (c.version != 3) continue;
      count(d.vrrpStatus, intf, id);
      count(d.vrrpStatusV6, intf, id);
    }
  }
  return {routers, addrs};
}

Kiv::String8 str(const PublishSummary& s) {
  std::ostringstream os;
  os << s;
  return os.str();
}

// Rows the MIB ties together: an address row and a statistics row each belong to a
// virtual router that has its operational row, and every such router has its statistics.
void checkRowsBelong(const FhrpSnmp::VrrpMib& mib) {
  for (auto it = mib.assoIpAddrTableIter(); !it.atEnd(); ++it) {
    const FhrpSnmp::VrrpIndex router(it.key().ifIndex, it.key().vrId);
    KIV_ASSERT(mib.operTable(router), "address row without its router: " + valueToStrep(it.key()));
  }
  for (auto it = mib.routerStatsTableIter(); !it.atEnd(); ++it) {
    KIV_ASSERT(mib.operTable(it.key()),
               "statistics row without its router: " + valueToStrep(it.key()));
  }
  KIV_ASSERT(mib.routerStatsTableCollection()->size() == mib.operTableCollection()->size(),
             "routers without statistics rows");
}

// A router is in exactly one MIB, by its version; in the VRRPv3-MIB with the rows its document
// calls for, each value of the row's own family, its reason saying whether it is master.
void checkV3Rows(const MirroredState& s, const StateDocument& d) {
  const auto [routers, addrs] = v3Rows(d);
  const Vrrpv3::Vrrpv3Mib& mib = *s.v3mib;
  KIV_ASSERT(mib.operationsTableCollection()->size() == routers &&
                 mib.associatedIpAddrTableCollection()->size() == addrs,
             "the VRRPv3-MIB lacks rows of the document, or has others:\n" + s.modelText());
  std::set<std::pair<U32, U32>> v3;
  for (auto it = mib.operationsTableCollection()->begin(); !it.atEnd(); ++it) {
    const Vrrpv3::OperationsEntry& r = *it.value();
    v3.insert({r.index().ifIndex, r.index().vrId});
    const bool master = r.state() == Routing::Fhrp::FhrpState::master;
    KIV_ASSERT(r.config()->version() == 3 && r.masterIpAddr().family() == r.index().family &&
                   r.primaryIpAddr().family() == r.index().family &&
                   (r.newMasterReason() == Vrrpv3::NewMasterReason::notMaster) == !master &&
                   (r.state() != Routing::Fhrp::FhrpState::initialize || r.masterIpAddr().isZero()),
               "a VRRPv3 row disagrees with its records:\n" + s.modelText());
  }
  for (auto it = mib.associatedIpAddrTableCollection()->begin(); !it.atEnd(); ++it) {
    KIV_ASSERT(mib.operationsTable(it.key().oper()),
               "a VRRPv3 address row without its router:\n" + s.modelText());
  }
  for (auto it = s.mib->operTableIter(); !it.atEnd(); ++it) {
    KIV_ASSERT(!v3.contains({static_cast<U32>(it.key().ifIndex), it.key().vrId}),
               "a version 3 router in the VRRP-MIB: " + valueToStrep(it.key()));
  }
}

// Publishes a document, then publishes it again, which must change nothing at all.
PublishSummary publish(MirroredState& s, const StateDocument& d) {
  const PublishSummary first = s.publisher.apply(d, "fuzz");
  checkRowsBelong(*s.mib);
  checkV3Rows(s, d);
  const Kiv::String8 model = s.modelText();
  const U64 changes = s.mib->changeCount();
  const U64 v3changes = s.v3mib->changeCount();
  const PublishSummary again = s.publisher.apply(d, "fuzz");
  KIV_ASSERT(again.unchanged(), "publishing a document again changed records: " + str(again));
  KIV_ASSERT(s.mib->changeCount() == changes && s.v3mib->changeCount() == v3changes &&
                 s.modelText() == model,
             "publishing a document again changed the model");
  return first;
}

}  // namespace

void stateDocument(std::string_view input) {
  const std::size_t separator = input.find('\0');
  const std::optional<StateDocument> first = read(input.substr(0, separator));
  const std::optional<StateDocument> second =
      separator == std::string_view::npos ? std::nullopt : read(input.substr(separator + 1));
  if (!first && !second) return;

  // Into an empty tree, a document adds each of its records and changes nothing else; taking
  // it away again removes each of them, and every row with them.
  for (const std::optional<StateDocument>& d : {first, second}) {
    if (!d) continue;
    MirroredState s;
    const PublishSummary added = publish(s, *d);
    KIV_ASSERT((added == PublishSummary{records(*d), 0, globalAttributes(*d)}),
               "a document of " + std::to_string(records(*d)) +
                   " records into an empty tree: " + str(added));
    const PublishSummary removed = publish(s, StateDocument{});
    KIV_ASSERT((removed == PublishSummary{0, records(*d), globalAttributes(*d)}),
               "emptying a tree of " + std::to_string(records(*d)) + " records: " + str(removed));
    KIV_ASSERT(s.rows() == 0, "rows left after every record went:\n" + s.modelText());
  }
  if (!first || !second) return;

  // The second document published over the first leaves records and model as the second
  // alone would, and so does going back to the first from there.
  MirroredState over;
  publish(over, *first);
  publish(over, *second);
  MirroredState alone;
  publish(alone, *second);
  KIV_ASSERT(over.modelText() == alone.modelText(),
             "the model after a difference:\n" + over.modelText() +
                 "differs from the model of the document alone:\n" + alone.modelText());
  const PublishSummary back = publish(over, *first);
  const PublishSummary fresh = publish(alone, *first);
  KIV_ASSERT(back == fresh, "after a difference the tree is not the second document's: " +
                                str(back) + " instead of " + str(fresh));
  KIV_ASSERT(
      over.modelText() == alone.modelText(),
      "the model after going back:\n" + over.modelText() + "differs from:\n" + alone.modelText());
}

}  // namespace FhrpFuzz
