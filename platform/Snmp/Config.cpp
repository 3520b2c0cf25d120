// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/Config.h"

#include "kiv/Exception.h"

namespace Snmp {

Kiv::Ptr<Notification> NotificationGroup::notification(const Kiv::String8& name) const {
  auto it = notifications_.find(name);
  return it == notifications_.end() ? nullptr : it->second;
}

Kiv::Ptr<Notification> NotificationGroup::notificationIs(const Kiv::String8& name) {
  if (name.empty()) throw Kiv::RangeException("empty notification name in group " + name_);
  auto& slot = notifications_[name];
  if (!slot) slot = Kiv::make<Notification>(name);
  return slot;
}

Kiv::Ptr<NotificationGroup> Config::notificationConfig(const Kiv::String8& group) const {
  auto it = groups_.find(group);
  return it == groups_.end() ? nullptr : it->second;
}

Kiv::Ptr<NotificationGroup> Config::notificationConfigIs(const Kiv::String8& group) {
  if (group.empty()) throw Kiv::RangeException("empty notification group name");
  auto& slot = groups_[group];
  if (!slot) slot = Kiv::make<NotificationGroup>(group);
  return slot;
}

NotificationStatus Config::notificationStatus(const Kiv::String8& group,
                                              const Kiv::String8& name) const {
  if (!notificationsEnabled_) {
    return {false, "notifications are switched off in the agent configuration"};
  }
  const Kiv::String8 qualified = group + "/" + name;
  Kiv::Ptr<NotificationGroup> g = notificationConfig(group);
  Kiv::Ptr<Notification> n = g ? g->notification(name) : nullptr;
  if (!n) return {false, "notification " + qualified + " is not registered"};
  if (!n->enabled()) return {false, "notification " + qualified + " is disabled"};
  return {true, {}};
}

}  // namespace Snmp
