// SPDX-License-Identifier: Apache-2.0
#include "platform/Status.h"

#include <utility>
#include <vector>

namespace Status {
namespace {

struct State {
  std::function<void(const Kiv::String8&)> sink;
  std::vector<std::pair<Kiv::String8, Kiv::String8>> topics;  // in the order first named
  Kiv::String8 line;
};

State& state() {
  static State s;
  return s;
}

}  // namespace

void sinkIs(std::function<void(const Kiv::String8& line)> sink) {
  state().sink = std::move(sink);
}

void is(std::string_view topic, const Kiv::String8& text) {
  State& s = state();
  auto it = s.topics.begin();
  while (it != s.topics.end() && it->first != topic) ++it;
  if (it == s.topics.end()) it = s.topics.insert(it, {Kiv::String8(topic), ""});
  it->second = text;
  Kiv::String8 line;
  for (const auto& [name, said] : s.topics) {
    if (said.empty()) continue;
    line += (line.empty() ? "" : "; ") + said;
  }
  if (line == s.line) return;
  s.line = std::move(line);
  if (s.sink) s.sink(s.line);
}

const Kiv::String8& line() {
  return state().line;
}

}  // namespace Status
