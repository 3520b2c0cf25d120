// SPDX-License-Identifier: Apache-2.0
#pragma once
// MIB modules announce themselves here; the host registers their handlers with net-snmp
// once the agent is initialised, for the default context and for every extra context.
//
// A module keeps a HandlerRegistration and an AutoRegistree for it, usually as static
// objects in its own file:
//     static VrrpMibRegistration registration;
//     static Snmp::AutoRegistree autoRegistree(&registration);
#include <vector>

#include "kiv/Types.h"

namespace Snmp {

class HandlerRegistration {
 public:
  virtual ~HandlerRegistration();
  // Registers the module's handlers in a context ("" is the default context).
  virtual void initHandler(Kiv::String8 context) = 0;
};

// Puts a registration on the agent's list for its own lifetime.
class AutoRegistree {
 public:
  explicit AutoRegistree(HandlerRegistration* registration);
  ~AutoRegistree();
  AutoRegistree(const AutoRegistree&) = delete;
  AutoRegistree& operator=(const AutoRegistree&) = delete;

  HandlerRegistration* registration() const { return registration_; }

 private:
  HandlerRegistration* registration_;
};

// The registrations in the order they were added.
const std::vector<HandlerRegistration*>& handlerRegistrations();

// Calls initHandler(context) on every registration, in order.
void initHandlers(const Kiv::String8& context);

}  // namespace Snmp
