// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpIndex.h"
#include "FhrpSnmp/VrrpMibEntrySmId.h"
#include "fuzz/Inputs.h"
#include "kiv/Assert.h"
#include "kiv/Exception.h"

namespace FhrpFuzz {
namespace {

template <class Key>
Kiv::String8 show(const Key& key) {
  return FhrpSnmp::valueToStrep(key);
}

// The parser a key type's tables and traces use, with what a successful parse promises: the
// value prints to a text that parses back to it and prints the same again, and reading from
// an iterator stops inside the text, after a prefix that on its own reads as the same value.
template <class Key>
void checkKey(const Kiv::String8& text) {
  FhrpSnmp::StrepIter pos = text.begin();
  bool readPrefix = true;
  Key prefixValue;
  try {
    prefixValue = Key(pos, text.end());
  } catch (const Kiv::RangeException&) {
    readPrefix = false;
  }
  if (readPrefix) {
    KIV_ASSERT(pos >= text.begin() && pos <= text.end(), "key reader left the text: " + text);
    const Kiv::String8 prefix(text.begin(), pos);
    try {
      KIV_ASSERT(FhrpSnmp::strepToValue<Key>(prefix) == prefixValue,
                 "prefix reads as another key: " + prefix);
    } catch (const Kiv::RangeException& e) {
      KIV_ASSERT(false, "prefix of an accepted key is refused: " + prefix + ": " + e.message());
    }
  }

  Key value;
  try {
    value = FhrpSnmp::strepToValue<Key>(text);
  } catch (const Kiv::RangeException&) {
    return;
  }
  KIV_ASSERT(readPrefix && pos == text.end() && prefixValue == value,
             "whole-text and iterator readers disagree on " + text);
  const Kiv::String8 printed = show(value);
  try {
    const Key again = FhrpSnmp::strepToValue<Key>(printed);
    KIV_ASSERT(again == value, "round trip changed " + text + " into " + printed);
    KIV_ASSERT(show(again) == printed, "printing is not stable for " + printed);
  } catch (const Kiv::RangeException& e) {
    KIV_ASSERT(false, "printed key does not parse: " + printed + ": " + e.message());
  }
}

}  // namespace

void keys(std::string_view input) {
  const Kiv::String8 text(input);
  checkKey<FhrpSnmp::VrrpIndex>(text);
  checkKey<FhrpSnmp::VrrpIpIndex>(text);
  checkKey<FhrpSnmp::VrrpMibEntrySmId>(text);
}

}  // namespace FhrpFuzz
