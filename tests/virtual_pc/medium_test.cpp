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

TEST(VirtualMedium, BadSectorsOfEachKindFailAndHealAsTheyShould) {
  using enum MediumOutcome;
  using Kind = BadSectorKind;
  using On = WriteEffect;
  const struct {
    const char* what;
    Kind kind;
    On onWrite;
    MediumOutcome bad;
    const char* answers;  ///< two reads, a write and a read: "x" where the outcome is the bad one
    std::uint32_t failures = 0;
    std::uint64_t delayMicroseconds = 0;
  } cases[] = {
      {"heals", Kind::Medium, On::Heals, MediumError, "xx--"},
      {"stays", Kind::Medium, On::Stays, MediumError, "xx-x"},
      {"fails", Kind::Medium, On::Fails, MediumError, "xxxx"},
      {"link", Kind::Interface, On::Fails, InterfaceError, "xxxx"},
      {"rejected", Kind::Rejected, On::Heals, Rejected, "xx--"},
      {"hang", Kind::Hang, On::Fails, Hang, "xxxx"},
      {"transient", Kind::Transient, On::Stays, MediumError, "x---", 1},
      {"slow", Kind::Slow, On::Stays, Good, "----", 1, 3'000'000},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto expected = [&c](std::size_t i) { return c.answers[i] == 'x' ? c.bad : Good; };
    BlockMedium medium(100, 512);
    medium.addBadSectors({5, 1, c.kind, c.onWrite, c.failures, c.delayMicroseconds});
    Bytes buffer(4 * 512);
    const MediumAnswer first = medium.read(3, 4, buffer.data());
    EXPECT_EQ(first.outcome, expected(0));
    EXPECT_EQ(first.doneSectors, expected(0) == Good ? 4u : 2u);
    EXPECT_EQ(first.failedLba, expected(0) == Good ? 0u : 5u);
    EXPECT_EQ(first.durationMicroseconds == kNever, c.bad == Hang);
    EXPECT_GE(first.durationMicroseconds, c.delayMicroseconds);
    EXPECT_EQ(medium.read(5, 1, buffer.data()).outcome, expected(1));
    const Bytes data(512, 0x11);
    EXPECT_EQ(medium.write(5, 1, data.data()).outcome, expected(2));
    EXPECT_EQ(medium.read(5, 1, buffer.data()).outcome, expected(3));
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 512) == data, expected(3) == Good);
    EXPECT_EQ(medium.read(4, 1, buffer.data()).outcome, Good);
  }
}

}  // namespace
}  // namespace ostria::virtual_pc::test
