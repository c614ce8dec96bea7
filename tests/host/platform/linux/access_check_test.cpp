// Which rights are missing to open disks, said in one sentence.
#include "host/platform/linux/access_check.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace ostria::host::test {
namespace {

TEST(AccessCheckTest, DisksThatAUserMayNotOpenAreCounted) {
  EXPECT_EQ(closedDisks("/nonexistent", "/dev"), 0u);
  const std::string root = testing::TempDir() + "access";
  std::filesystem::create_directories(root + "/dev");
  for (const char* name : {"sda", "nvme0n1", "loop0", "dm-0", "sdb"}) {
    std::filesystem::create_directories(root + "/block/" + name);
    std::ofstream(root + "/dev/" + name) << "x";
    std::filesystem::permissions(root + "/dev/" + name, std::filesystem::perms::owner_read);
  }
  std::filesystem::remove(root + "/dev/sdb");
  // Root may open everything, so the question is put by somebody else.
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) {
      _exit(2);
    }
    _exit(closedDisks(root + "/block", root + "/dev") == 2 ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace ostria::host::test
