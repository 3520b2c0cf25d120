// SPDX-License-Identifier: Apache-2.0
#pragma once
// The state document on disk. A file that cannot be read, is too large, or does not hold a
// valid document raises StateFileError with one line "FILE: reason"; the caller keeps the
// records it has, so a bad write never disturbs what the agent serves.
#include <cstddef>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "zentra/StateDocument.h"

namespace Zentra {

class StateFileError : public Kiv::RangeException {
 public:
  // Control characters in either part become spaces: the message is always one line.
  StateFileError(const Kiv::String8& file, const Kiv::String8& reason);
};

class StateFile {
 public:
  static constexpr std::size_t kDefaultMaxBytes = 16 * 1024 * 1024;

  explicit StateFile(Kiv::String8 path, std::size_t maxBytes = kDefaultMaxBytes);

  const Kiv::String8& path() const { return path_; }
  std::size_t maxBytes() const { return maxBytes_; }

  // The file's text. A file over the limit is refused without being read.
  Kiv::String8 read() const;
  // Reads, parses and validates; a rejected file is also traced at level 0.
  StateDocument load() const;

 private:
  Kiv::String8 path_;
  std::size_t maxBytes_;
};

}  // namespace Zentra
