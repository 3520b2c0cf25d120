#pragma once
// Names a place inside a JSON document so that a parse error or a rejected value can say
// exactly where it is: `$` is the root, `.name` a member whose key is identifier-like,
// `["any key"]` any other member and `[3]` an array element, e.g.
// `$.vrrpStatus.Ethernet1["5"].state`.
#include <cstddef>
#include <string_view>
#include <vector>

#include "kiv/Types.h"

namespace Zentra::Json {

class Path {
 public:
  void pushKey(std::string_view key);
  void pushIndex(std::size_t index);
  // Removes the innermost step; popping the root is a programming fault.
  void pop();

  std::size_t depth() const { return stepEnds_.size(); }
  // Kept rendered as steps are pushed: validators name paths far more often than they change.
  const Kiv::String8& str() const { return text_; }

 private:
  Kiv::String8 text_ = "$";
  std::vector<std::size_t> stepEnds_;  // text_'s length before each step
};

// `text` as a JSON string literal, quoted and escaped, so that odd keys print unambiguously.
Kiv::String8 quote(std::string_view text);

}  // namespace Zentra::Json
