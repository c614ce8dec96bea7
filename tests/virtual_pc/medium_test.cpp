// The medium: content, bad sectors of each kind, healing, and time.
#include <gtest/gtest.h>

#include "tests/support/drive_bench.h"
#include "virtual_pc/drives/block_medium.h"

namespace ostria::virtual_pc::test {
namespace {

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
  using Kind = BadSectorKind;
  using On = WriteEffect;
  const BadCase cases[] = {
      {"heals", {5, 1, Kind::Medium, On::Heals}, MediumError, MediumError, Good, Good},
      {"stays", {5, 1, Kind::Medium, On::Stays}, MediumError, MediumError, Good, MediumError},
      {"fails",
       {5, 1, Kind::Medium, On::Fails},
       MediumError,
       MediumError,
       MediumError,
       MediumError},
      {"link",
       {5, 1, Kind::Interface, On::Fails},
       InterfaceError,
       InterfaceError,
       InterfaceError,
       InterfaceError},
      {"rejected", {5, 1, Kind::Rejected, On::Heals}, Rejected, Rejected, Good, Good},
      {"hang", {5, 1, Kind::Hang, On::Fails}, Hang, Hang, Hang, Hang},
      {"transient", {5, 1, Kind::Transient, On::Stays, 1}, MediumError, Good, Good, Good},
      {"slow", {5, 1, Kind::Slow, On::Stays, 1, 3'000'000}, Good, Good, Good, Good},
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
    EXPECT_EQ(first.durationMicroseconds == kNever, c.firstRead == Hang);
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

}  // namespace
}  // namespace ostria::virtual_pc::test
