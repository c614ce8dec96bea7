#include <gtest/gtest.h>

#include "tests/support/drive_bench.h"
#include "virtual_pc/drives/block_medium.h"

namespace ostria::virtual_pc {
namespace {

using testing::unwritten;
using Bytes = std::vector<std::uint8_t>;

TEST(VirtualMedium, HoldsWhatWasWrittenAndNothingElse) {
  BlockMedium medium(std::uint64_t{1} << 40, 4096);
  const std::uint64_t far = (std::uint64_t{1} << 40) - 2;
  Bytes data(8192, 0xA5);
  ASSERT_EQ(medium.write(far, 2, data.data()).outcome, MediumOutcome::Good);
  Bytes back(3 * 4096);
  const MediumAnswer answer = medium.read(far - 1, 3, back.data());
  EXPECT_EQ(answer.doneSectors, 3u);
  EXPECT_EQ(Bytes(back.begin(), back.begin() + 4096), unwritten(far - 1, 4096));
  EXPECT_EQ(Bytes(back.begin() + 4096, back.end()), data);
  EXPECT_NE(unwritten(7), unwritten(8));
  EXPECT_EQ(medium.store().storedSectors(), 2u);

  EXPECT_EQ(medium.read(far, 3, back.data()).outcome, MediumOutcome::OutOfRange);
  EXPECT_EQ(medium.read(~std::uint64_t{0}, 2, back.data()).outcome, MediumOutcome::OutOfRange);
}

struct BadCase {
  const char* what;
  BadSectors run;
  MediumOutcome firstRead, secondRead, write, afterWrite;
};

TEST(VirtualMedium, BadSectorsOfEachKindFailAndHealAsTheyShould) {
  using enum MediumOutcome;
  const BadCase cases[] = {
      {"medium",
       {5, 1, BadSectorKind::Medium, WriteEffect::Heals},
       MediumError,
       MediumError,
       Good,
       Good},
      {"medium that stays",
       {5, 1, BadSectorKind::Medium, WriteEffect::Stays},
       MediumError,
       MediumError,
       Good,
       MediumError},
      {"medium that fails",
       {5, 1, BadSectorKind::Medium, WriteEffect::Fails},
       MediumError,
       MediumError,
       MediumError,
       MediumError},
      {"interface",
       {5, 1, BadSectorKind::Interface, WriteEffect::Fails},
       InterfaceError,
       InterfaceError,
       InterfaceError,
       InterfaceError},
      {"rejected",
       {5, 1, BadSectorKind::Rejected, WriteEffect::Heals},
       Rejected,
       Rejected,
       Good,
       Good},
      {"hang", {5, 1, BadSectorKind::Hang, WriteEffect::Fails}, Hang, Hang, Hang, Hang},
      {"transient",
       {5, 1, BadSectorKind::Transient, WriteEffect::Stays, 1},
       MediumError,
       Good,
       Good,
       Good},
      {"slow",
       {5, 1, BadSectorKind::Slow, WriteEffect::Stays, 1, 3'000'000},
       Good,
       Good,
       Good,
       Good},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.what);
    BlockMedium medium(100, 512);
    medium.addBadSectors(c.run);
    Bytes buffer(4 * 512);
    const MediumAnswer first = medium.read(3, 4, buffer.data());
    EXPECT_EQ(first.outcome, c.firstRead);
    if (c.firstRead != Good) {
      EXPECT_EQ(first.doneSectors, 2u);
      EXPECT_EQ(first.failedLba, 5u);
    }
    EXPECT_EQ(first.durationMicroseconds == Never, c.firstRead == Hang);
    EXPECT_EQ(medium.read(5, 1, buffer.data()).outcome, c.secondRead);
    const Bytes data(512, 0x11);
    const MediumAnswer written = medium.write(5, 1, data.data());
    EXPECT_EQ(written.outcome, c.write);
    EXPECT_EQ(medium.read(5, 1, buffer.data()).outcome, c.afterWrite);
    if (c.afterWrite == Good) {
      EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 512), data);
    }
    EXPECT_EQ(medium.read(4, 1, buffer.data()).outcome, Good);
    if (c.run.delayMicroseconds) {
      EXPECT_GE(first.durationMicroseconds, 3'000'000u);
    }
  }
}

TEST(VirtualFaults, HitTheCommandAndTheCountThatTheyName) {
  FaultPlan plan;
  plan.add({.command = 0x25, .detail = {}, .occurrence = 2, .times = 2, .action = HangFault{}});
  plan.add({.command = 0xB0, .detail = 0xDA, .times = 0, .action = VanishFault{}});
  std::string hits;
  for (int i = 0; i < 5; ++i) {
    hits += plan.take(0x25, 0) != nullptr ? 'x' : '.';
  }
  EXPECT_EQ(hits, ".xx..");
  EXPECT_EQ(plan.take(0xB0, 0xD0), nullptr);
  for (int i = 0; i < 3; ++i) {
    const FaultRule* rule = plan.take(0xB0, 0xDA);
    ASSERT_NE(rule, nullptr);
    EXPECT_TRUE(std::holds_alternative<VanishFault>(rule->action));
  }
}

TEST(VirtualFaults, EachActionShowsAtTheDevice) {
  testing::DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "faults": [
      {"command": 37, "occurrence": 1, "action": "device_error", "codes": [64]},
      {"command": 37, "occurrence": 2, "action": "transport", "error": 31},
      {"command": 37, "occurrence": 3, "action": "short", "bytes": 100},
      {"command": 37, "occurrence": 4, "action": "garbage"},
      {"command": 37, "occurrence": 5, "action": "hang"},
      {"command": 37, "occurrence": 6, "action": "slow", "milliseconds": 5000},
      {"command": 37, "occurrence": 7, "action": "vanish"}])");
  AtaExchange read = drive.readExt(1);
  EXPECT_EQ(read.out.command, 0x51);
  EXPECT_EQ(read.out.features, 0x40);
  read = drive.readExt(1);
  EXPECT_EQ(read.delivery, Delivery::TransportError);
  EXPECT_EQ(read.transportError, 31u);
  EXPECT_EQ(drive.readExt(1).transferred, 100u);
  read = drive.readExt(1);
  EXPECT_EQ(read.transferred, 512u);
  EXPECT_NE(read.data, unwritten(1));
  EXPECT_EQ(drive.readExt(1).durationMicroseconds, Never);
  EXPECT_GE(drive.readExt(1).durationMicroseconds, 5'000'000u);
  EXPECT_EQ(drive.readExt(1).delivery, Delivery::Gone);
  EXPECT_EQ(drive.smart(0xDA).delivery, Delivery::Gone);
  drive->ata->comeBack();
  EXPECT_EQ(drive.readExt(1).data, unwritten(1));
}

}  // namespace
}  // namespace ostria::virtual_pc
