// The layout of the scratch file: chunks aligned, in order and inside of the free space.
#include "diagnostics/device_io/scratch_file_layout.h"

#include <gtest/gtest.h>

#include "services/number_handler.h"

namespace ostria::storage::test {
namespace {

constexpr std::uint64_t kGib = 1'073'741'824;

TEST(ScratchFileLayout, ChunksStayInTheFileApartFromEachOtherWhateverItsSize) {
  struct Case {
    std::uint64_t freeBytes, totalBytes, testBytes;
    std::uint32_t sectorBytes;
  };
  const std::vector<Case> cases{{1, 1, 1, 512},
                                {512, 512, 512, 512},
                                {1023, 1023, 1023, 512},
                                {4096 + 511, 4096 + 511, 4096 + 511, 512},
                                {300'000, 300'000, 300'000, 512},
                                {5 * kGib + 12'345, 5 * kGib + 12'345, 5 * kGib, 4096},
                                {900 * kGib, 1000 * kGib, 5 * kGib, 512},
                                {600, 1000 * kGib, 5 * kGib, 512}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.freeBytes);
    const ScratchFileLayout layout =
        layOutScratchFile(c.freeBytes, c.totalBytes, c.testBytes, c.sectorBytes);
    EXPECT_LE(layout.fileBytes, c.freeBytes);
    EXPECT_EQ(layout.fileBytes % c.sectorBytes, 0u);
    if (layout.fileBytes == 0) {
      continue;
    }
    ASSERT_GE(layout.chunkBytes, c.sectorBytes);
    EXPECT_EQ(layout.chunkBytes % c.sectorBytes, 0u);
    std::uint64_t end = 0;
    std::uint64_t written = 0;
    for (const std::uint64_t place : placeChunks(layout, c.sectorBytes, getLocalNumberHandler())) {
      EXPECT_GE(place, end);
      EXPECT_EQ(place % c.sectorBytes, 0u);
      end = place + layout.chunkBytes;
      written += layout.chunkBytes;
    }
    EXPECT_GT(written, 0u);
    EXPECT_LE(end, layout.fileBytes);
    EXPECT_LE(written, std::max<std::uint64_t>(layout.shareBytes, c.sectorBytes));
  }
}

TEST(ScratchFileLayout, SharesAreInProportionToTheFreeSpace) {
  const ScratchFileLayout small = layOutScratchFile(10 * kGib, 40 * kGib, 5 * kGib, 512);
  const ScratchFileLayout large = layOutScratchFile(30 * kGib, 40 * kGib, 5 * kGib, 512);
  EXPECT_EQ(small.shareBytes, 5 * kGib / 4);
  EXPECT_EQ(large.shareBytes, 15 * kGib / 4);
  EXPECT_EQ(large.chunkBytes, 256u * 512u);
}

}  // namespace
}  // namespace ostria::storage::test
