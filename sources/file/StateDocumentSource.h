// SPDX-License-Identifier: Apache-2.0
#pragma once
// The state document as a source. It is read at start and followed from then on: its directory
// is watched (a directory that is not there, or goes away, is looked for again every few
// seconds) and every change is applied. A document that is rejected, or missing, leaves the
// last good state served, and one line says so; the line for the next good one says it is good
// again.
#include <memory>
#include <optional>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"
#include "sources/Source.h"
#include "zentra/StateFile.h"
#include "zentra/StateFileWatcher.h"
#include "zentra/StatePublisher.h"

namespace Sources {

class StateDocumentSource : public Source {
 public:
  static constexpr double kRewatchSeconds = 5;

  // With `refuseInvalid`, start() raises Zentra::StateFileError ("FILE: reason") for a
  // document that is there but cannot be served: a daemon ends its start with it. Without, such
  // a document is rejected and waited for like any later bad version: a plug-in cannot refuse
  // to start. A missing document is waited for either way.
  StateDocumentSource(Loop::EventLoop& loop, Zentra::StatePublisher& publisher, Kiv::String8 path,
                      bool refuseInvalid);
  ~StateDocumentSource() override;
  StateDocumentSource(const StateDocumentSource&) = delete;
  StateDocumentSource& operator=(const StateDocumentSource&) = delete;

  void start() override;
  // A bad document is logged and the last good state stays.
  void refresh() override;

  const Kiv::String8& path() const { return file_.path(); }
  // Follows another document from now on, and applies it.
  void followIs(Kiv::String8 path);
  // Reads and applies the document now; false when it was rejected (and logged).
  bool reload();

 private:
  void apply();
  void rejected(const Kiv::RangeException& error);
  void watch();
  void unwatch();

  Loop::EventLoop& loop_;
  Zentra::StatePublisher& publisher_;
  Zentra::StateFile file_;
  bool refuseInvalid_;
  std::unique_ptr<Zentra::StateFileWatcher> watcher_;
  std::optional<Loop::EventLoop::TimerId> rewatch_;
  Kiv::String8 goodSince_;  // when the served state was last applied; empty: never
  bool good_ = true;        // false while the document on disk is rejected or missing
};

}  // namespace Sources
