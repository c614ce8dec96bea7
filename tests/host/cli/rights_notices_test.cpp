// What is missing is said in the words of the system on which it is missing.
#include "host/cli/rights_notices.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(RightsNoticesTest, EachEffectHasItsSentence) {
  using Effect = MissingRight::Effect;
  const std::vector<std::string> notices =
      rightsNotices({{Effect::Closed, "CAP_X", {"sda", "sdb"}},
                     {Effect::LeftOut, "CAP_Y", {"sdc"}},
                     {Effect::Limited, "CAP_Z", {"sdd"}},
                     {Effect::NotElevated, {}, {"PhysicalDrive0", "PhysicalDrive1"}}},
                    Texts());
  EXPECT_EQ(
      notices,
      (std::vector<std::string>{
          "Cannot open these disks of this computer: sda, sdb (missing: CAP_X). Requires root "
          "privileges: use sudo.",
          "These disks are left out: sdc. No command reaches them without CAP_Y.",
          "Some commands do not reach these disks without CAP_Z: sdd. What they could not "
          "answer is missing.",
          "Cannot open these disks of this computer: PhysicalDrive0, PhysicalDrive1. Requires "
          "administrator privileges: start the console as administrator."}));
}

}  // namespace
}  // namespace ostria::host::test
