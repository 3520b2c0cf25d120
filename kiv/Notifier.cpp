// SPDX-License-Identifier: Apache-2.0
#include "kiv/Notifier.h"

#include <algorithm>

namespace Kiv {

NotifierBase::~NotifierBase() {
  for (NotifieeBase* n : notifiees_) n->notifier_ = nullptr;
}

void NotifierBase::attach(NotifieeBase* n) const {
  notifiees_.push_back(n);
}

void NotifierBase::detach(NotifieeBase* n) const {
  auto it = std::find(notifiees_.begin(), notifiees_.end(), n);
  if (it != notifiees_.end()) notifiees_.erase(it);
  for (Delivery* d = deliveries_; d; d = d->outer) {
    std::replace(d->snapshot.begin(), d->snapshot.end(), n, static_cast<NotifieeBase*>(nullptr));
  }
}

bool NotifierBase::isActive(const NotifieeBase* n) {
  return n && n->active_ && n->live_;
}

void NotifierBase::reportException(NotifieeBase* n, AttributeId attribute) {
  // The reactor may have been destroyed by the very handler that threw.
  if (!n) return;
  try {
    n->onNotificationException(attribute);
  } catch (...) {
    // An exception hook that throws has nobody left to tell.
  }
}

void NotifieeBase::hasNotificationActiveIs(bool active) {
  if (active == active_) return;
  active_ = active;
  onNotificationActive();
}

void NotifieeBase::attachTo(const NotifierBase* n) {
  detachFromNotifier();
  notifier_ = n;
  if (n) n->attach(this);
}

void NotifieeBase::detachFromNotifier() {
  if (notifier_) std::exchange(notifier_, nullptr)->detach(this);
}

}  // namespace Kiv
