// SPDX-License-Identifier: Apache-2.0
#pragma once
// Named trace handles with levels 0..9.
//
// A spec such as "Snmp/0-2,FhrpSnmpEntry/7-8" enables levels per handle ("*" names
// every handle; a name without levels enables all ten). It comes from FHRP_TRACE
// at start and from traceSpecIs (the daemon's --trace). KIV_TRACE tests the level
// before it formats anything, so a disabled line costs one branch.
#include <functional>
#include <sstream>
#include <string_view>
#include <vector>

#include "kiv/Types.h"

namespace Kiv {

class TraceHandle {
 public:
  explicit TraceHandle(String8 name) : name_(std::move(name)) {}
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;

  const String8& name() const { return name_; }
  bool enabled(int level) const { return level >= 0 && level <= 9 && ((mask_ >> level) & 1u); }
  U32 mask() const { return mask_; }
  void maskIs(U32 mask) { mask_ = mask & 0x3ffu; }
  void write(int level, std::string_view text) const;

 private:
  friend class TraceCapture;
  String8 name_;
  U32 mask_ = 0;
  std::vector<String8>* capture_ = nullptr;
};

// The handle with this name, created (and set from the current spec) on first use.
TraceHandle& traceHandle(const String8& name);

// Replaces the current spec; a malformed spec raises RangeException and changes nothing.
void traceSpecIs(const String8& spec);
const String8& traceSpec();
// Where enabled lines go (default: "name/level: text" lines on stderr).
void traceOutputIs(std::function<void(const TraceHandle&, int, std::string_view)> output);

// For tests: while alive, the lines of one handle at the given levels are kept
// here instead of being written out.
class TraceCapture {
 public:
  explicit TraceCapture(const String8& handle, U32 mask = 0x3ffu);
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  const std::vector<String8>& lines() const { return lines_; }
  size_t count(std::string_view substring) const;
  bool contains(std::string_view substring) const { return count(substring) > 0; }
  void clear() { lines_.clear(); }

 private:
  TraceHandle& handle_;
  U32 savedMask_;
  std::vector<String8>* savedCapture_;
  std::vector<String8> lines_;
};

}  // namespace Kiv

#define KIV_TRACE(handle, level, expr)                  \
  do {                                                  \
    const ::Kiv::TraceHandle& kivTraceHandle_ = handle; \
    if (kivTraceHandle_.enabled(level)) {               \
      std::ostringstream kivTraceOs_;                   \
      kivTraceOs_ << expr;                              \
      kivTraceHandle_.write(level, kivTraceOs_.str());  \
    }                                                   \
  } while (0)
