#include <optional>
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
  return n;
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

// Publishes a document, then publishes it again, which must change nothing at all.
PublishSummary publish(MirroredState& s, const StateDocument& d) {
  const PublishSummary first = s.publisher.apply(d, "fuzz");
  checkRowsBelong(*s.mib);
  const Kiv::String8 model = s.modelText();
  const U64 changes = s.mib->changeCount();
  const PublishSummary again = s.publisher.apply(d, "fuzz");
  KIV_ASSERT(again.unchanged(), "publishing a document again changed records: " + str(again));
  KIV_ASSERT(s.mib->changeCount() == changes && s.modelText() == model,
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
    KIV_ASSERT((added == PublishSummary{records(*d), 0, 0}),
               "a document of " + std::to_string(records(*d)) +
                   " records into an empty tree: " + str(added));
    const PublishSummary removed = publish(s, StateDocument{});
    KIV_ASSERT((removed == PublishSummary{0, records(*d), 0}),
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
