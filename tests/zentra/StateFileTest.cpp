// SPDX-License-Identifier: Apache-2.0
#include "zentra/StateFile.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "zentra/StateFileWatcher.h"

namespace Zentra {
namespace {

namespace fs = std::filesystem;

const char* const kGood = R"({"interfaces": {"Ethernet1": {"ifIndex": 1}}})";

struct StateFileTest : ::testing::Test {
  fs::path dir;
  std::string file;

  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "zentra-state-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    file = (dir / "state.json").string();
  }
  void TearDown() override { fs::remove_all(dir); }

  static void write(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
  }
  // What the file said, or the error it raised.
  std::string loadResult() const {
    try {
      StateFile(file).load();
      return "ok";
    } catch (const StateFileError& e) {
      return e.message();
    }
  }
};

// Missing, unreadable, directories, FIFOs, oversized and broken documents: the daemon's
// fault test, message by message. A file name can hold anything; the message stays one line.
TEST_F(StateFileTest, ARejectionIsOneLineWhateverTheName) {
  file = (dir / "bad\nname.json").string();
  EXPECT_EQ(loadResult(), (dir / "bad name.json").string() + ": no such file");
}

// Whether the watcher has an event within a second, and whether it concerned the file.
int changed(StateFileWatcher& watcher) {
  pollfd p{watcher.fd(), POLLIN, 0};
  return ::poll(&p, 1, 1000) == 1 ? watcher.handleEvents() : -1;
}

TEST_F(StateFileTest, WatcherSeesEveryWayTheFileIsReplaced) {
  StateFileWatcher watcher(file);
  EXPECT_FALSE(watcher.handleEvents()) << "nothing pending";
  for (int i = 0; i < 20; ++i) write(file, kGood);  // created, then rewritten in a burst
  EXPECT_EQ(changed(watcher), 1);
  EXPECT_FALSE(watcher.handleEvents()) << "coalesced and drained";

  const std::string other = (dir / "state.json.tmp").string();
  write(other, kGood);  // a writer preparing a replacement: not the file yet
  EXPECT_EQ(changed(watcher), 0);
  fs::rename(other, file);
  EXPECT_EQ(changed(watcher), 1);
  // A document refused for its permissions is fixed with a chmod alone.
  fs::permissions(file, fs::perms::owner_read);
  EXPECT_EQ(changed(watcher), 1);
  fs::rename(file, other);  // moved away
  EXPECT_EQ(changed(watcher), 1);
  fs::permissions(other, fs::perms::owner_read | fs::perms::owner_write);  // not ours
  EXPECT_EQ(changed(watcher), 0);
  write(file, kGood);
  EXPECT_EQ(changed(watcher), 1);
  fs::remove(file);
  EXPECT_EQ(changed(watcher), 1);
  EXPECT_TRUE(watcher.watching());

  fs::remove_all(dir);
  EXPECT_EQ(changed(watcher), 1);
  EXPECT_FALSE(watcher.watching());
  EXPECT_THROW(StateFileWatcher again(file), StateFileError);
}

}  // namespace
}  // namespace Zentra
