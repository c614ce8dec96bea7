// Which rights are missing to use disks, and which are given up before the first one is asked.
#include "host/platform/linux/access_check.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "host/platform/linux/capabilities.h"
#include "host/platform/rights.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

/// Exit code of a process of its own, since rights do not come back.
int inAChild(const std::function<int()>& act) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(act());
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// "closed CAP_X: a b; ..." of a set of disks, as somebody who is not root sees it.
std::string missingWith(const std::string& root, std::uint64_t capabilities) {
  std::string text;
  for (const MissingRight& right : missingRights(root + "/block", root + "/dev", capabilities)) {
    text += std::to_string(static_cast<int>(right.effect)) + right.right;
    for (const std::string& disk : right.disks) {
      text += " " + disk;
    }
    text += ";";
  }
  return text;
}

TEST(AccessCheckTest, EachDiskThatCannotBeUsedIsNamedWithTheRightThatIsMissing) {
  EXPECT_TRUE(missingRights("/nonexistent", "/dev", 0).empty());
  const storage::test::TemporaryFolder folder;
  const std::string& root = folder.path();
  std::filesystem::permissions(root, std::filesystem::perms::all);
  std::filesystem::create_directories(root + "/dev");
  for (const char* name : {"sda", "nvme0n1", "loop0", "dm-0", "sdb", "sdc", "nvme1n1"}) {
    std::filesystem::create_directories(root + "/block/" + name);
    std::ofstream(root + "/dev/" + name) << "x";
    const std::string text(name);
    std::filesystem::permissions(root + "/dev/" + name, text == "sda" || text == "nvme1n1"
                                                            ? std::filesystem::perms::all
                                                            : std::filesystem::perms::none);
  }
  std::filesystem::remove(root + "/dev/sdb");
  const std::uint64_t admin = std::uint64_t{1} << CAP_SYS_ADMIN;
  const std::uint64_t raw = std::uint64_t{1} << CAP_SYS_RAWIO;
  // Root may open everything, so the question is put by somebody else.
  EXPECT_EQ(inAChild([&] {
              if (geteuid() == 0 && setuid(65534) != 0) {
                return 9;
              }
              const std::string closed = "0CAP_DAC_OVERRIDE nvme0n1 sdc;";
              return missingWith(root, 0) == closed + "1CAP_SYS_ADMIN nvme1n1;2CAP_SYS_RAWIO sda;"
                         ? (missingWith(root, admin) == closed + "2CAP_SYS_RAWIO sda;"
                                ? (missingWith(root, admin | raw) == closed ? 0 : 3)
                                : 2)
                         : 1;
            }),
            0);
}

TEST(RightsTest, OnlyThoseThatARunNeedsAreKept) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root has rights to give up";
  }
  const std::uint64_t all = effectiveCapabilities();
  const std::uint64_t disks =
      (std::uint64_t{1} << CAP_SYS_ADMIN | std::uint64_t{1} << CAP_SYS_RAWIO) & all;
  const std::uint64_t files = disks | (std::uint64_t{1} << CAP_DAC_OVERRIDE & all);
  const auto after = [](const Undertaking& run, std::uint64_t wanted) {
    return inAChild([&] {
      const bool bounded = prctl(PR_CAPBSET_READ, CAP_KILL) == 1;
      keepRightsFor(run);
      if (effectiveCapabilities() != wanted) {
        return 1;
      }
      return run.volumes || !bounded || prctl(PR_CAPBSET_READ, CAP_KILL) == 0 ? 0 : 2;
    });
  };
  EXPECT_EQ(after({}, disks), 0);
  EXPECT_EQ(after({.files = true}, files), 0);
  EXPECT_EQ(after({.volumes = true}, all), 0);
}

}  // namespace
}  // namespace ostria::host::test
