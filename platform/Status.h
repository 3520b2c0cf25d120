// SPDX-License-Identifier: Apache-2.0
#pragma once
// The program's status in one line, for a service manager to show beside it (systemd's
// STATUS=, in `systemctl status`): what the agent serves or waits for, and what a source needs
// from the operator. Each concern is one topic ("agent", "vrrpd") with its own text; the line
// joins the topics' texts in the order the topics were first named. The host decides where the
// line goes; without a sink it goes nowhere.
#include <functional>
#include <string_view>

#include "kiv/Types.h"

namespace Status {

// Where the line goes whenever it changes.
void sinkIs(std::function<void(const Kiv::String8& line)> sink);
// `text` (empty: nothing) is what `topic` says from now on.
void is(std::string_view topic, const Kiv::String8& text);
const Kiv::String8& line();

}  // namespace Status
