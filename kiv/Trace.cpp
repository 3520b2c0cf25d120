// SPDX-License-Identifier: Apache-2.0
#include "kiv/Trace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "kiv/Exception.h"

namespace Kiv {
namespace {

struct TraceState {
  std::map<String8, TraceHandle> handles;
  std::map<String8, U32> spec;  // handle name ("*" for all) -> level mask
  String8 specText;
  std::function<void(const TraceHandle&, int, std::string_view)> output;
};

void writeToStderr(const TraceHandle& h, int level, std::string_view text) {
  std::fprintf(stderr, "%s/%d: %.*s\n", h.name().c_str(), level, static_cast<int>(text.size()),
               text.data());
}

U32 parseLevels(const String8& item, std::string_view levels) {
  auto digit = [&](char c) -> int {
    if (c < '0' || c > '9') throw RangeException("bad trace levels in '" + item + "'");
    return c - '0';
  };
  if (levels.size() == 1) return 1u << digit(levels[0]);
  if (levels.size() == 3 && levels[1] == '-') {
    int lo = digit(levels[0]), hi = digit(levels[2]);
    if (lo > hi) throw RangeException("bad trace level range in '" + item + "'");
    U32 mask = 0;
    for (int l = lo; l <= hi; ++l) mask |= 1u << l;
    return mask;
  }
  throw RangeException("bad trace levels in '" + item + "' (expected N or N-M, 0..9)");
}

std::map<String8, U32> parseSpec(const String8& spec) {
  std::map<String8, U32> result;
  size_t pos = 0;
  while (pos <= spec.size()) {
    size_t comma = spec.find(',', pos);
    if (comma == String8::npos) comma = spec.size();
    String8 item = spec.substr(pos, comma - pos);
    pos = comma + 1;
    if (item.empty()) {
      if (comma == spec.size() && result.empty() && spec.empty()) break;
      throw RangeException("empty item in trace spec '" + spec + "'");
    }
    size_t slash = item.find('/');
    String8 name = item.substr(0, slash);
    if (name.empty()) throw RangeException("missing handle name in trace spec item '" + item + "'");
    U32 mask = slash == String8::npos ? 0x3ffu
                                      : parseLevels(item, std::string_view(item).substr(slash + 1));
    result[name] |= mask;
  }
  return result;
}

U32 maskFor(const TraceState& s, const String8& name) {
  U32 mask = 0;
  if (auto it = s.spec.find("*"); it != s.spec.end()) mask |= it->second;
  if (auto it = s.spec.find(name); it != s.spec.end()) mask |= it->second;
  return mask;
}

TraceState& state() {
  static TraceState s = [] {
    TraceState init;
    init.output = writeToStderr;
    if (const char* env = std::getenv("FHRP_TRACE")) {
      try {
        init.spec = parseSpec(env);
        init.specText = env;
      } catch (const RangeException& e) {
        // Read before any log is set up: the program's name is the line's prefix.
        std::fprintf(stderr, "%s: FHRP_TRACE ignored: %s\n", program_invocation_short_name,
                     e.what());
      }
    }
    return init;
  }();
  return s;
}

}  // namespace

void TraceHandle::write(int level, std::string_view text) const {
  if (capture_) {
    capture_->emplace_back(text);
    return;
  }
  state().output(*this, level, text);
}

TraceHandle& traceHandle(const String8& name) {
  TraceState& s = state();
  auto it = s.handles.find(name);
  if (it == s.handles.end()) {
    it = s.handles.try_emplace(name, name).first;
    it->second.maskIs(maskFor(s, name));
  }
  return it->second;
}

void traceSpecIs(const String8& spec) {
  TraceState& s = state();
  s.spec = parseSpec(spec);
  s.specText = spec;
  for (auto& [name, handle] : s.handles) handle.maskIs(maskFor(s, name));
}

const String8& traceSpec() {
  return state().specText;
}

void traceOutputIs(std::function<void(const TraceHandle&, int, std::string_view)> output) {
  state().output = output ? std::move(output) : writeToStderr;
}

TraceCapture::TraceCapture(const String8& handle, U32 mask)
    : handle_(traceHandle(handle)), savedMask_(handle_.mask()), savedCapture_(handle_.capture_) {
  handle_.maskIs(mask);
  handle_.capture_ = &lines_;
}

TraceCapture::~TraceCapture() {
  handle_.maskIs(savedMask_);
  handle_.capture_ = savedCapture_;
}

size_t TraceCapture::count(std::string_view substring) const {
  size_t n = 0;
  for (const auto& l : lines_) n += l.find(substring) != String8::npos;
  return n;
}

}  // namespace Kiv
