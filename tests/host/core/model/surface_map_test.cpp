// The map of a surface: cells of equal width that hold the worst of their sectors.
#include "host/core/model/surface_map.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(SurfaceMapTest, BadSectorsLieInTheirCells) {
  EXPECT_EQ(rangesOf("X [8, 15], [1, x] [9,9] [32, 39]."),
            (std::vector<SectorRange>{{8, 15}, {32, 39}}));
  // Behind the end, over a border, and on a disk that is smaller than the map or larger than 2^54.
  EXPECT_EQ(badCells({{99, 130}, {19, 20}}, 100, 10), (std::vector<std::size_t>{1, 2, 9}));
  EXPECT_EQ(badCells({{1, 1}}, 2, 10), (std::vector<std::size_t>{5}));
  const std::uint64_t huge = std::uint64_t{1} << 63;
  EXPECT_EQ(badCells({{huge - 1, huge}}, huge, 768), (std::vector<std::size_t>{767}));
  EXPECT_EQ(badCells({{1, 2}}, 0, 10), (std::vector<std::size_t>{}));
  for (std::size_t cell = 0; cell < 768; ++cell) {
    const std::uint64_t first = firstSectorOf(cell, 1000003, 768);
    EXPECT_EQ(badCells({{first, first}}, 1000003, 768), (std::vector<std::size_t>{cell}));
  }
}

TEST(SurfaceMapTest, EachSectorIsListedOnce) {
  constexpr std::uint64_t kLast = ~std::uint64_t{0};
  const std::vector<SectorRange> ranges = {{kLast, kLast}, {10, 20}, {20, 30}, {31, 31},
                                           {12, 14},       {40, 50}, {0, 0}};
  EXPECT_EQ(withoutOverlap(ranges),
            (std::vector<SectorRange>{{0, 0}, {10, 31}, {40, 50}, {kLast, kLast}}));
}

}  // namespace
}  // namespace ostria::host::test
