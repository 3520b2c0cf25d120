// SPDX-License-Identifier: Apache-2.0
#pragma once
// Tells when the state document may have changed. It watches the file's directory rather than
// the file: writers replace the file by renaming a new one over it, editors delete and recreate
// it, and a watch on the file itself would stay on the old inode. Events for other names in
// the directory are ignored.
//
// The host polls fd() in its own event loop and calls handleEvents() when it is readable; a
// burst of events (a rewrite is several) drained in one call is one change.
#include "kiv/Types.h"

namespace Zentra {

class StateFileWatcher {
 public:
  // StateFileError when the directory cannot be watched (e.g. it does not exist).
  explicit StateFileWatcher(const Kiv::String8& path);
  ~StateFileWatcher();
  StateFileWatcher(const StateFileWatcher&) = delete;
  StateFileWatcher& operator=(const StateFileWatcher&) = delete;

  // Non-blocking; readable when events are pending.
  int fd() const { return fd_; }
  const Kiv::String8& directory() const { return directory_; }
  const Kiv::String8& fileName() const { return fileName_; }

  // Reads every pending event; true when one of them concerns the file (written, renamed to
  // or from, created, deleted, its permissions changed), when events were lost, or when the
  // directory itself went away.
  bool handleEvents();
  // False once the directory was deleted or moved: no further changes will be seen.
  bool watching() const { return watching_; }

 private:
  Kiv::String8 directory_;
  Kiv::String8 fileName_;
  int fd_ = -1;
  bool watching_ = true;
};

}  // namespace Zentra
