// SPDX-License-Identifier: Apache-2.0
#include "host/Service.h"

#include "FhrpSnmp/TypeRegistration.h"
#include "host/VrrpMibModule.h"
#include "host/Vrrpv3MibModule.h"
#include "kiv/TypeRegistry.h"
#include "platform/Snmp/Config.h"
#include "platform/Snmp/SnmpUtil.h"

namespace Host {
namespace {
constexpr const char* kModelPath = "snmp/vrrp/vrrpMIB";
}  // namespace

Service::Service(const SourceMaker& makeSource, bool notifications)
    : publisher_(tree_), source_(makeSource(publisher_)) {
  buildModels(notifications);
}

Service::~Service() = default;

// Every MIB's model and its mirroring agent, published where its module looks for it.
void Service::buildModels(bool notifications) {
  FhrpSnmp::kivInitFhrpSnmp();
  FhrpSnmp::kivInitFhrpSnmpAgent();
  FhrpSnmp::kivInitFhrpSnmpEntry();

  // The deployment's notification configuration: the module asserts that its
  // group and notification are registered before it is ever asked to send.
  auto config = SnmpUtil::getSnmpConfig();
  config->notificationConfigIs("vrrp")->notificationIs("vrrpTrapNewMaster");
  config->notificationsEnabledIs(notifications);

  model_ = Kiv::newEntity("FhrpSnmp::VrrpMib", "vrrpMIB");
  tree_.root()->bind(kModelPath, model_);
  SnmpUtil::mountRootIs(tree_.root());

  agent_ = Kiv::newEntity("FhrpSnmp::Agent", "fhrpSnmpAgent");
  Kiv::attributeIs(*agent_, "vrrpMib", Kiv::Ptr<Kiv::PtrInterface>(model_));
  Kiv::attributeIs(
      *agent_, "vrrpMibSm",
      std::vector<Kiv::Ptr<Kiv::PtrInterface>>{tree_.fhrpConfig(), tree_.vrrpStatus(),
                                               tree_.allIntfStatus(), tree_.ipStatus(), model_});
  vrrpv3_ = buildVrrpv3Mib(tree_);
}

// Every MIB module the product serves.
void Service::registerModules() {
  registerVrrpMib();
  registerVrrpv3Mib();
}

void Service::start() {
  source_->start();
}

void Service::refresh() {
  source_->refresh();
}

}  // namespace Host
