// SPDX-License-Identifier: Apache-2.0
#pragma once
// The framework clock: Unix time in seconds, replaceable by tests.
#include <functional>

namespace Kiv {

double now();
// Replaces the clock; an empty function restores the system clock.
void clockIs(std::function<double()> clock);

}  // namespace Kiv
