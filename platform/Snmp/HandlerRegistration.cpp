// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/HandlerRegistration.h"

#include <algorithm>

#include "kiv/Assert.h"

namespace Snmp {
namespace {
// Function-local so that AutoRegistrees in other files' static objects can use it whatever
// the order of static initialisation; it also outlives every AutoRegistree built before it.
std::vector<HandlerRegistration*>& registrations() {
  static std::vector<HandlerRegistration*> list;
  return list;
}
}  // namespace

HandlerRegistration::~HandlerRegistration() = default;

AutoRegistree::AutoRegistree(HandlerRegistration* registration) : registration_(registration) {
  KIV_ASSERT(registration, "null handler registration");
  auto& list = registrations();
  KIV_ASSERT(std::find(list.begin(), list.end(), registration) == list.end(),
             "handler registration added twice");
  list.push_back(registration);
}

AutoRegistree::~AutoRegistree() {
  auto& list = registrations();
  list.erase(std::find(list.begin(), list.end(), registration_));
}

const std::vector<HandlerRegistration*>& handlerRegistrations() {
  return registrations();
}

void initHandlers(const Kiv::String8& context) {
  const auto& list = registrations();
  // By index: a module may add a registration while it initialises; that one runs too.
  for (size_t i = 0; i < list.size(); ++i) list[i]->initHandler(context);
}

}  // namespace Snmp
