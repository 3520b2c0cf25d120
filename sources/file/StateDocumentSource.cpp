// SPDX-License-Identifier: Apache-2.0
#include "sources/file/StateDocumentSource.h"

#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <sstream>
#include <utility>

#include "platform/Log.h"

namespace Sources {
namespace {

Kiv::String8 text(const Zentra::PublishSummary& summary) {
  std::ostringstream os;
  os << summary;
  return os.str();
}

// A time of day for the operator ("applied 2026-11-23 18:40:02 UTC"), not a duration.
Kiv::String8 timeOfDay() {
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

StateDocumentSource::StateDocumentSource(Loop::EventLoop& loop, Zentra::StatePublisher& publisher,
                                         Kiv::String8 path, bool refuseInvalid)
    : loop_(loop), publisher_(publisher), file_(std::move(path)), refuseInvalid_(refuseInvalid) {}

StateDocumentSource::~StateDocumentSource() {
  unwatch();
}

void StateDocumentSource::start() {
  watch();
  try {
    apply();
  } catch (const Kiv::RangeException& e) {
    if (refuseInvalid_ && !missing(file_.path())) throw;
    rejected(e);
  }
}

void StateDocumentSource::refresh() {
  // A reload asked for is answered in the log even when the document did not change.
  Log::info("reloading: reading " + file_.path() + " again");
  reload();
}

void StateDocumentSource::followIs(Kiv::String8 path) {
  unwatch();
  file_ = Zentra::StateFile(std::move(path));
  Log::info("following " + file_.path());
  good_ = true;
  watch();
  reload();
}

void StateDocumentSource::apply() {
  const Zentra::PublishSummary summary = publisher_.apply(file_.load(), file_.path());
  const bool first = goodSince_.empty();
  goodSince_ = timeOfDay();
  if (first) {
    Log::info("loaded " + file_.path() + ": " + text(summary));
  } else if (!good_ || !summary.unchanged()) {
    // After a rejected or missing document, the line that says it is good again.
    Log::info("applied " + file_.path() + ": " + text(summary) +
              (good_ ? "" : "; the document is good again"));
  }
  good_ = true;
}

bool StateDocumentSource::reload() {
  try {
    apply();
    return true;
  } catch (const Kiv::RangeException& e) {
    rejected(e);
    return false;
  }
}

void StateDocumentSource::rejected(const Kiv::RangeException& error) {
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

void StateDocumentSource::unwatch() {
  if (watcher_) loop_.readFdDel(watcher_->fd());
  watcher_.reset();
  if (rewatch_) loop_.timerDel(*rewatch_);
  rewatch_.reset();
}

void StateDocumentSource::watch() {
  if (watcher_) return;
  try {
    watcher_ = std::make_unique<Zentra::StateFileWatcher>(file_.path());
  } catch (const Zentra::StateFileError& e) {
    if (!rewatch_) {
      Log::warning(e.message() + "; looking again every " +
                   std::to_string(static_cast<int>(kRewatchSeconds)) + " s");
      rewatch_ = loop_.timerIs(kRewatchSeconds, true, "state document rewatch", [this] {
        watch();
        if (watcher_) reload();
      });
    }
    return;
  }
  if (rewatch_) loop_.timerDel(*rewatch_);
  rewatch_.reset();
  loop_.readFdIs(watcher_->fd(), "state document watcher", [this] {
    const bool changed = watcher_->handleEvents();
    if (!watcher_->watching()) {
      // The directory went away: look for it again, and say so once.
      unwatch();
      watch();
    }
    if (changed) reload();
  });
}

}  // namespace Sources
