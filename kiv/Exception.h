// SPDX-License-Identifier: Apache-2.0
#pragma once
// The framework's exceptions. Each carries the message the caller shows as is.
#include <exception>
#include <utility>

#include "kiv/Types.h"

namespace Kiv {

class Exception : public std::exception {
 public:
  explicit Exception(String8 message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const String8& message() const { return message_; }

 private:
  String8 message_;
};

// A value outside what a type or an operation accepts (also every parse error).
class RangeException : public Exception {
 public:
  using Exception::Exception;
};

// An attempt to bind a name or key that is already bound to something else.
class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Kiv
