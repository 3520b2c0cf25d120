// SPDX-License-Identifier: Apache-2.0
#pragma once
// Which notifications the agent may send. Modules register their notifications by group
// ("vrrp") and name ("vrrpTrapNewMaster"); the daemon's configuration switches single
// notifications or all of them off. A module asks notificationStatus before it queues one.
#include <map>
#include <utility>

#include "kiv/Ptr.h"
#include "kiv/Types.h"

namespace Snmp {

class Notification : public Kiv::PtrInterface {
 public:
  explicit Notification(Kiv::String8 name) : name_(std::move(name)) {}
  const Kiv::String8& name() const { return name_; }
  bool enabled() const { return enabled_; }
  void enabledIs(bool enabled) { enabled_ = enabled; }

 private:
  Kiv::String8 name_;
  bool enabled_ = true;
};

class NotificationGroup : public Kiv::PtrInterface {
 public:
  explicit NotificationGroup(Kiv::String8 name) : name_(std::move(name)) {}
  const Kiv::String8& name() const { return name_; }

  // Null when no notification of that name is registered.
  Kiv::Ptr<Notification> notification(const Kiv::String8& name) const;
  // Finds or registers (enabled) the notification. An empty name raises RangeException.
  Kiv::Ptr<Notification> notificationIs(const Kiv::String8& name);
  const std::map<Kiv::String8, Kiv::Ptr<Notification>>& notifications() const {
    return notifications_;
  }

 private:
  Kiv::String8 name_;
  std::map<Kiv::String8, Kiv::Ptr<Notification>> notifications_;
};

struct NotificationStatus {
  bool send;
  Kiv::String8 reason;  // why not, when send is false
};

class Config : public Kiv::PtrInterface {
 public:
  // Null when no group of that name is registered.
  Kiv::Ptr<NotificationGroup> notificationConfig(const Kiv::String8& group) const;
  // Finds or registers the group. An empty name raises RangeException.
  Kiv::Ptr<NotificationGroup> notificationConfigIs(const Kiv::String8& group);
  const std::map<Kiv::String8, Kiv::Ptr<NotificationGroup>>& notificationGroups() const {
    return groups_;
  }

  // The global switch (the daemon's --notifications on|off); on by default.
  bool notificationsEnabled() const { return notificationsEnabled_; }
  void notificationsEnabledIs(bool enabled) { notificationsEnabled_ = enabled; }

  NotificationStatus notificationStatus(const Kiv::String8& group, const Kiv::String8& name) const;

 private:
  std::map<Kiv::String8, Kiv::Ptr<NotificationGroup>> groups_;
  bool notificationsEnabled_ = true;
};

}  // namespace Snmp
