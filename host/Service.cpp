#include "host/Service.h"

#include <sstream>

#include "FhrpSnmp/TypeRegistration.h"
#include "host/FrrFeed.h"
#include "kiv/TypeRegistry.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/Config.h"

namespace Host {
namespace {
constexpr const char* kModelPath = "snmp/vrrp/vrrpMIB";

Kiv::String8 text(const Zentra::PublishSummary& summary) {
  std::ostringstream os;
  os << summary;
  return os.str();
}
}  // namespace

Service::Service(Kiv::String8 stateFile, bool notifications)
    : publisher_(tree_), file_(std::move(stateFile)), notifications_(notifications) {}

std::unique_ptr<Service> Service::following(Kiv::String8 frrVtyDirectory, bool notifications) {
  auto service = std::make_unique<Service>("", notifications);
  service->frrVtyDirectory_ = std::move(frrVtyDirectory);
  return service;
}

Service::~Service() {
  if (watcher_) unregister_readfd(watcher_->fd());
}

void Service::start() {
  FhrpSnmp::kivInitFhrpSnmp();
  FhrpSnmp::kivInitFhrpSnmpAgent();
  FhrpSnmp::kivInitFhrpSnmpEntry();

  // The deployment's notification configuration: the module asserts that its
  // group and notification are registered before it is ever asked to send.
  auto config = SnmpUtil::getSnmpConfig();
  config->notificationConfigIs("vrrp")->notificationIs("vrrpTrapNewMaster");
  config->notificationsEnabledIs(notifications_);

  if (frrVtyDirectory_.empty()) {
    Zentra::PublishSummary summary = publisher_.apply(file_.load(), file_.path());
    snmp_log(LOG_INFO, "fhrp-snmp: loaded %s: %s\n", file_.path().c_str(), text(summary).c_str());
  } else {
    frr_ = std::make_unique<FrrFeed>(publisher_, frrVtyDirectory_);
  }

  model_ = Kiv::newEntity("FhrpSnmp::VrrpMib", "vrrpMIB");
  tree_.root()->bind(kModelPath, model_);
  SnmpUtil::mountRootIs(tree_.root());

  agent_ = Kiv::newEntity("FhrpSnmp::Agent", "fhrpSnmpAgent");
  Kiv::attributeIs(*agent_, "vrrpMib", Kiv::Ptr<Kiv::PtrInterface>(model_));
  Kiv::attributeIs(
      *agent_, "vrrpMibSm",
      std::vector<Kiv::Ptr<Kiv::PtrInterface>>{tree_.fhrpConfig(), tree_.vrrpStatus(),
                                               tree_.allIntfStatus(), tree_.ipStatus(), model_});
}

void Service::watch() {
  if (watcher_ || frr_) return;
  watcher_ = std::make_unique<Zentra::StateFileWatcher>(file_.path());
  if (watcher_->watching()) {
    register_readfd(
        watcher_->fd(),
        [](int, void* data) {
          auto* self = static_cast<Service*>(data);
          if (self->watcher_->handleEvents()) self->reload();
        },
        this);
  } else {
    snmp_log(LOG_WARNING, "fhrp-snmp: cannot watch %s; send SIGHUP after changing it\n",
             file_.path().c_str());
  }
}

bool Service::reload() {
  if (frr_) {
    frr_->refresh();
    return true;
  }
  try {
    Zentra::PublishSummary summary = publisher_.apply(file_.load(), file_.path());
    if (!summary.unchanged()) {
      snmp_log(LOG_INFO, "fhrp-snmp: applied %s: %s\n", file_.path().c_str(),
               text(summary).c_str());
    }
    return true;
  } catch (const Kiv::RangeException& e) {
    snmp_log(LOG_ERR, "fhrp-snmp: rejected %s; still serving the last good state\n", e.what());
    return false;
  }
}

}  // namespace Host
