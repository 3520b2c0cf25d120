#include <optional>
#include <sstream>

#include "fuzz/Inputs.h"
#include "kiv/Assert.h"
#include "zentra/StateDocument.h"
#include "zentra/StatePublisher.h"
#include "zentra/StateTree.h"

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

// A state tree with its publisher, as the daemon holds them.
struct World {
  Zentra::StateTree tree;
  Zentra::StatePublisher publisher{tree};

  PublishSummary apply(const StateDocument& d) {
    const PublishSummary s = publisher.apply(d, "fuzz");
    KIV_ASSERT(publisher.apply(d, "fuzz").unchanged(),
               "applying a document a second time changed records after " + str(s));
    return s;
  }
};

}  // namespace

void stateDocument(std::string_view input) {
  const std::size_t separator = input.find('\0');
  const std::optional<StateDocument> first = read(input.substr(0, separator));
  const std::optional<StateDocument> second =
      separator == std::string_view::npos ? std::nullopt : read(input.substr(separator + 1));
  if (!first && !second) return;

  // Into an empty tree, a document adds each of its records and changes nothing else; taking
  // it away again removes each of them.
  for (const std::optional<StateDocument>& d : {first, second}) {
    if (!d) continue;
    World w;
    const PublishSummary added = w.apply(*d);
    KIV_ASSERT((added == PublishSummary{records(*d), 0, 0}),
               "a document of " + std::to_string(records(*d)) +
                   " records into an empty tree: " + str(added));
    const PublishSummary removed = w.apply(StateDocument{});
    KIV_ASSERT((removed == PublishSummary{0, records(*d), 0}),
               "emptying a tree of " + std::to_string(records(*d)) + " records: " + str(removed));
  }
  if (!first || !second) return;

  // The second document applied over the first leaves the tree as the second alone would:
  // the difference back to the first is the same from both.
  World over;
  over.apply(*first);
  over.apply(*second);
  World alone;
  alone.apply(*second);
  const PublishSummary back = over.apply(*first);
  const PublishSummary fresh = alone.apply(*first);
  KIV_ASSERT(back == fresh, "after a difference the tree is not the second document's: " +
                                str(back) + " instead of " + str(fresh));
}

}  // namespace FhrpFuzz
