// SPDX-License-Identifier: Apache-2.0
// Permission is told by the daemon and the plug-in in tests/integration/test_daemon_startup.py.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "sources/frr/VtyAdvice.h"

namespace {

TEST(VtyAdviceTest, AWrongFolderIsNamedWhatWaitingMendsIsNot) {
  std::string dir = (std::filesystem::temp_directory_path() / "fhrp-vty-XXXXXX").string();
  ASSERT_TRUE(mkdtemp(dir.data()));
  EXPECT_EQ(
      Sources::vtyAdvice(dir + "/frr/vrrpd.vty"),
      "no such directory: --frr-vty/fhrpFrr names " + dir + "/frr; FRR's default is /var/run/frr");
  std::ofstream(dir + "/file");
  EXPECT_EQ(Sources::vtyAdvice(dir + "/file/vrrpd.vty"),
            "--frr-vty/fhrpFrr names " + dir + "/file, which is no directory; FRR's default is " +
                "/var/run/frr");
  // vrrpd not started yet, or gone with its socket left behind.
  EXPECT_EQ(Sources::vtyAdvice(dir + "/vrrpd.vty"), "");
  EXPECT_EQ(Sources::vtyAdvice(dir + "/vrrpd.vty", ECONNREFUSED), "");
  std::filesystem::remove_all(dir);
}

}  // namespace
