#include <gtest/gtest.h>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "sources/frr/VtyAdvice.h"

namespace {

namespace fs = std::filesystem;

class VtyAdviceTest : public ::testing::Test {
 protected:
  VtyAdviceTest() {
    std::string pattern = (fs::temp_directory_path() / "fhrp-vty-XXXXXX").string();
    dir = mkdtemp(pattern.data());
  }
  ~VtyAdviceTest() override { fs::remove_all(dir); }
  fs::path dir;
};

TEST_F(VtyAdviceTest, AWrongDirectoryNamesItAndFrrsDefault) {
  const std::string missing = (dir / "frr").string();
  EXPECT_EQ(
      Sources::vtyAdvice(missing + "/vrrpd.vty"),
      "no such directory: --frr-vty/fhrpFrr names " + missing + "; FRR's default is /var/run/frr");
  std::ofstream(dir / "file");
  EXPECT_EQ(Sources::vtyAdvice((dir / "file" / "vrrpd.vty").string()),
            "--frr-vty/fhrpFrr names " + (dir / "file").string() +
                ", which is no directory; FRR's default is /var/run/frr");
}

TEST_F(VtyAdviceTest, PermissionNamesTheUserAndTheSocketsGroup) {
  const fs::path socket = dir / "vrrpd.vty";
  std::ofstream{socket};
  struct stat st {};
  ASSERT_EQ(stat(socket.c_str(), &st), 0);
  const std::string user = getpwuid(geteuid())->pw_name;
  const group* g = getgrgid(st.st_gid);
  const std::string owner = g ? g->gr_name : std::to_string(st.st_gid);
  EXPECT_EQ(Sources::vtyAdvice(socket.string(), EACCES),
            "add the user " + user + " to the group " + owner + " (the owner group of " +
                socket.string() + ") and restart " + program_invocation_short_name);
}

TEST_F(VtyAdviceTest, WhatWaitingMendsHasNoAdvice) {
  // vrrpd not started yet, or gone with its socket left behind.
  EXPECT_EQ(Sources::vtyAdvice((dir / "vrrpd.vty").string()), "");
  EXPECT_EQ(Sources::vtyAdvice((dir / "vrrpd.vty").string(), ECONNREFUSED), "");
}

}  // namespace
