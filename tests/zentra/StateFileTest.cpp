#include "zentra/StateFile.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kiv/Trace.h"
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
  std::string loadResult(std::size_t maxBytes = StateFile::kDefaultMaxBytes) const {
    try {
      StateFile(file, maxBytes).load();
      return "ok";
    } catch (const StateFileError& e) {
      return e.message();
    }
  }
};

TEST_F(StateFileTest, RejectionsAreOneLineNamingTheFileAndAreTraced) {
  Kiv::TraceCapture capture("Zentra", 1u << 0);
  EXPECT_EQ(loadResult(), file + ": no such file");
  EXPECT_EQ(capture.lines(), std::vector<std::string>{"rejected " + file + ": no such file"});

  write(file, "{\"ip\": garbage\n}\n");
  const std::string garbage = loadResult();
  EXPECT_EQ(garbage.rfind(file + ": line 1, column 8 (at $.ip): ", 0), 0u) << garbage;

  write(file, R"({"vrrpStatus": {"Ethernet1": {"5": {"state": "mastr"}}}})");
  EXPECT_EQ(loadResult(), file + R"(: $.vrrpStatus.Ethernet1["5"].state: unknown state "mastr" )"
                                 R"((expected master, backup or initialize))");

  try {
    StateFile(dir.string()).read();
    ADD_FAILURE() << "read a directory";
  } catch (const StateFileError& e) {
    EXPECT_EQ(e.message(), dir.string() + ": is a directory");
  }
  file = (dir / "fifo").string();
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(loadResult(), file + ": is not a regular file") << "and open() did not block";

  // A file name can hold anything, a newline included; the message stays one line.
  file = (dir / "bad\nname.json").string();
  EXPECT_EQ(loadResult(), (dir / "bad name.json").string() + ": no such file");
}

TEST_F(StateFileTest, OversizeFilesAreRefusedUnread) {
  write(file, kGood);
  const std::size_t size = std::string(kGood).size();
  EXPECT_EQ(loadResult(size), "ok");
  EXPECT_EQ(loadResult(size - 1), file + ": " + std::to_string(size) +
                                      " bytes, larger than the limit of " +
                                      std::to_string(size - 1) + " bytes");

  // Far over the default limit but sparse: reading it would take seconds and four gigabytes.
  fs::resize_file(file, std::uintmax_t{1} << 32);
  EXPECT_EQ(loadResult(), file + ": 4294967296 bytes, larger than the limit of 16777216 bytes");
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
