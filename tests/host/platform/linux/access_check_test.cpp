// Which rights are missing to use disks, how that is said, and which are given up before the first
// disk is asked.
#include "host/platform/linux/access_check.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "host/cli/rights_notices.h"
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

/// What somebody who is not root reads of a set of disks.
std::string noticesWith(const std::string& root, std::uint64_t capabilities) {
  std::string text;
  for (const std::string& notice :
       rightsNotices(missingRights(root + "/block", root + "/dev", capabilities), Texts())) {
    text += notice + "\n";
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
  const std::string closed =
      "Cannot open these disks of this computer: nvme0n1, sdc (missing: CAP_DAC_OVERRIDE). "
      "Requires root privileges: use sudo.\n";
  const std::string limited =
      "Some commands do not reach these disks without CAP_SYS_RAWIO: sda. What they could not "
      "answer is missing.\n";
  const std::string leftOut =
      "These disks are left out: nvme1n1. No command reaches them without CAP_SYS_ADMIN.\n";
  // Root may open everything, so the question is put by somebody else.
  EXPECT_EQ(inAChild([&] {
              if (geteuid() == 0 && setuid(65534) != 0) {
                return 9;
              }
              return (noticesWith(root, 0) == closed + leftOut + limited ? 0 : 1) +
                     (noticesWith(root, admin) == closed + limited ? 0 : 2) +
                     (noticesWith(root, admin | raw) == closed ? 0 : 4);
            }),
            0);
  EXPECT_EQ(rightsNotices({{MissingRight::Effect::NotElevated, {}, {"PhysicalDrive0"}}}, Texts()),
            std::vector<std::string>{
                "Cannot open these disks of this computer: PhysicalDrive0. Requires administrator "
                "privileges: start the console as administrator."});
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
