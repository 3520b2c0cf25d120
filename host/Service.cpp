#include "host/Service.h"

#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <sstream>

#include "FhrpSnmp/TypeRegistration.h"
#include "host/FrrFeed.h"
#include "host/Vrrpv3MibModule.h"
#include "kiv/TypeRegistry.h"
#include "platform/Snmp/Config.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Snmp/SnmpUtil.h"

namespace Host {
namespace {
constexpr const char* kModelPath = "snmp/vrrp/vrrpMIB";
constexpr unsigned kRewatchSeconds = 5;

Kiv::String8 text(const Zentra::PublishSummary& summary) {
  std::ostringstream os;
  os << summary;
  return os.str();
}

Kiv::String8 now() {
  const std::time_t t = std::time(nullptr);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S UTC", &tm);
  return buffer;
}

bool missing(const Kiv::String8& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) != 0 && errno == ENOENT;
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
  unwatch();
}

void Service::build() {
  FhrpSnmp::kivInitFhrpSnmp();
  FhrpSnmp::kivInitFhrpSnmpAgent();
  FhrpSnmp::kivInitFhrpSnmpEntry();

  // The deployment's notification configuration: the module asserts that its
  // group and notification are registered before it is ever asked to send.
  auto config = SnmpUtil::getSnmpConfig();
  config->notificationConfigIs("vrrp")->notificationIs("vrrpTrapNewMaster");
  config->notificationsEnabledIs(notifications_);

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

void Service::start() {
  if (!frrVtyDirectory_.empty()) {
    frr_ = std::make_unique<FrrFeed>(publisher_, frrVtyDirectory_);
    build();
    return;
  }
  Zentra::PublishSummary summary = publisher_.apply(file_.load(), file_.path());
  goodSince_ = now();
  Log::info("loaded " + file_.path() + ": " + text(summary));
  build();
}

void Service::startEmpty() {
  build();
}

void Service::unwatch() {
  if (watcher_) Snmp::eventLoop().readFdDel(watcher_->fd());
  watcher_.reset();
  if (rewatchAlarm_) Snmp::eventLoop().timerDel(rewatchAlarm_);
  rewatchAlarm_ = 0;
}

void Service::watch() {
  if (watcher_ || frr_) return;
  try {
    watcher_ = std::make_unique<Zentra::StateFileWatcher>(file_.path());
  } catch (const Zentra::StateFileError& e) {
    if (!rewatchAlarm_) {
      Log::warning(e.message() + "; looking again every " + std::to_string(kRewatchSeconds) + " s");
      rewatchAlarm_ =
          Snmp::eventLoop().timerIs(kRewatchSeconds, true, "state document rewatch", [this] {
            watch();
            if (watcher_) reload();
          });
    }
    return;
  }
  if (rewatchAlarm_) Snmp::eventLoop().timerDel(rewatchAlarm_);
  rewatchAlarm_ = 0;
  Snmp::eventLoop().readFdIs(watcher_->fd(), "state document watcher", [this] {
    const bool changed = watcher_->handleEvents();
    if (!watcher_->watching()) {
      // The directory went away: look for it again, and say so once.
      unwatch();
      watch();
    }
    if (changed) reload();
  });
}

void Service::followIs(Kiv::String8 stateFile) {
  unwatch();
  file_ = Zentra::StateFile(std::move(stateFile));
  Log::info("following " + file_.path());
  good_ = true;
  watch();
  reload();
}

void Service::rejected(const Kiv::RangeException& error) {
  const Kiv::String8 served = goodSince_.empty()
                                  ? "serving no virtual routers until it is good"
                                  : "still serving the last good state, applied " + goodSince_;
  if (missing(file_.path())) {
    // Said once: a document stays missing until it comes back.
    if (good_) Log::warning(file_.path() + " does not exist; " + served);
  } else {
    Log::error("rejected " + error.message() + "; " + served);
  }
  good_ = false;
}

bool Service::reload() {
  if (frr_) {
    frr_->refresh();
    return true;
  }
  try {
    Zentra::PublishSummary summary = publisher_.apply(file_.load(), file_.path());
    const bool first = goodSince_.empty();
    goodSince_ = now();
    if (first) {
      Log::info("loaded " + file_.path() + ": " + text(summary));
    } else if (!good_ || !summary.unchanged()) {
      // After a rejected or missing document, the line that says it is good again.
      Log::info("applied " + file_.path() + ": " + text(summary) +
                (good_ ? "" : "; the document is good again"));
    }
    good_ = true;
    return true;
  } catch (const Kiv::RangeException& e) {
    rejected(e);
    return false;
  }
}

}  // namespace Host
