#pragma once
// Names a place inside a JSON document so that a parse error or a rejected value can say
// exactly where it is: `$` is the root, `.name` a member whose key is identifier-like,
// `["any key"]` any other member and `[3]` an array element, e.g.
// `$.vrrpStatus.Ethernet1["5"].state`.
#include <cstddef>
#include <string_view>

#include "kiv/Types.h"

namespace Zentra::Json {

class Path {
 public:
  void pushKey(std::string_view key);
  void pushIndex(std::size_t index);

  const Kiv::String8& str() const { return text_; }

 private:
  Kiv::String8 text_ = "$";
};

// `text` as a JSON string literal, quoted and escaped, so that odd keys print unambiguously.
Kiv::String8 quote(std::string_view text);

}  // namespace Zentra::Json
