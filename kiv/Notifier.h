// SPDX-License-Identifier: Apache-2.0
#pragma once
// Notifiers (records) and their reactors (notifiees).
//
// A reactor registers with one notifier. A notifier delivers each change to the
// reactors registered when the change began: reactors added during delivery are
// not called for it, and reactors removed (or destroyed) during delivery are
// skipped, so a handler may tear down its siblings safely. An exception thrown by
// one reactor goes to that reactor's onNotificationException and the rest are
// still called.
#include <vector>

#include "kiv/Ptr.h"

namespace Kiv {

using AttributeId = unsigned;
class NotifieeBase;

class NotifierBase : public PtrInterface {
 public:
  NotifierBase() = default;
  // A copy is a new notifier: reactors stay with the original.
  NotifierBase(const NotifierBase&) : PtrInterface() {}
  NotifierBase& operator=(const NotifierBase&) { return *this; }
  ~NotifierBase() override;

  size_t notifieeCount() const { return notifiees_.size(); }

 protected:
  // Calls `call(N*)` on every active reactor of the snapshot.
  template <class N, class F>
  void notify(AttributeId attribute, F&& call) const;

 private:
  friend class NotifieeBase;
  struct Delivery {
    std::vector<NotifieeBase*> snapshot;
    Delivery* outer;
  };
  void attach(NotifieeBase* n) const;
  void detach(NotifieeBase* n) const;
  static bool isActive(const NotifieeBase* n);
  static void reportException(NotifieeBase* n, AttributeId attribute);

  mutable std::vector<NotifieeBase*> notifiees_;
  mutable Delivery* deliveries_ = nullptr;  // innermost first; nested changes nest
};

class NotifieeBase : public PtrInterface {
 public:
  NotifieeBase(const NotifieeBase&) = delete;
  NotifieeBase& operator=(const NotifieeBase&) = delete;
  ~NotifieeBase() override { detachFromNotifier(); }

  bool notificationActive() const { return active_; }
  // Switches delivery to this reactor off or on; nothing happens when unchanged.
  void hasNotificationActiveIs(bool active);
  // False once the reactor is being torn down: handlers return early then.
  bool isLive() const { return live_; }
  // Unhooks the reactor for good, e.g. before its owner goes away.
  void teardown() {
    live_ = false;
    detachFromNotifier();
  }
  virtual void onNotificationException(AttributeId) {}

 protected:
  NotifieeBase() = default;
  void attachTo(const NotifierBase* n);
  void detachFromNotifier();
  virtual void onNotificationActive() {}

 private:
  friend class NotifierBase;
  const NotifierBase* notifier_ = nullptr;
  bool active_ = true;
  bool live_ = true;
};

// A reactor on records of type R.
template <class R>
class Notifiee : public NotifieeBase {
 public:
  using Record = R;
  Ptr<const R> notifier() const { return notifier_; }
  // Re-points the reactor. Pointed at a different non-null record, it is told
  // through onNotifier(): everything it watched may have changed.
  void notifierIs(const Ptr<const R>& n) {
    if (n == notifier_) return;
    Ptr<const R> old = notifier_;  // keeps the old record alive until unhooked
    notifier_ = n;
    attachTo(n.ptr());
    if (n && live()) onNotifier();
  }

 protected:
  Notifiee() = default;
  // Construction registers without telling onNotifier().
  explicit Notifiee(const Ptr<const R>& n) : notifier_(n) { attachTo(n.ptr()); }
  ~Notifiee() override { detachFromNotifier(); }
  virtual void onNotifier() {}

 private:
  bool live() const { return isLive(); }
  Ptr<const R> notifier_;
};

template <class N, class F>
void NotifierBase::notify(AttributeId attribute, F&& call) const {
  if (notifiees_.empty()) return;
  // A reactor may drop the last reference to this notifier while it runs.
  Ptr<const NotifierBase> keep(references() > 0 ? this : nullptr);
  Delivery d{notifiees_, deliveries_};
  deliveries_ = &d;
  for (size_t i = 0; i < d.snapshot.size(); ++i) {
    if (!isActive(d.snapshot[i])) continue;
    try {
      call(static_cast<N*>(d.snapshot[i]));
    } catch (...) {
      reportException(d.snapshot[i], attribute);
    }
  }
  deliveries_ = d.outer;
}

}  // namespace Kiv
