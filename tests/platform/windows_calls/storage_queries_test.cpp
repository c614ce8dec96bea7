// Identity and alignment queries before a scripted system, with short and garbled descriptors.
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "scripted_win32.h"

namespace ostria::storage::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class StorageQueriesTest : public testing::Test {
 protected:
  StorageQueriesTest() { kernel = {}; }

  /// A driver with this many partitions that says it has `claimed`.
  void haveLayout(std::size_t entries, std::uint32_t claimed) {
    kernel.driver = [this, entries, claimed](DWORD code, Bytes& block, DWORD& returned) -> DWORD {
      ++calls;
      EXPECT_EQ(code, 0x70050u);
      if (block.size() < 48 + entries * 144) {
        return ERROR_INSUFFICIENT_BUFFER;
      }
      storeLe32(&block[0], 1);
      storeLe32(&block[4], claimed);
      for (std::size_t i = 0; i < entries; ++i) {
        std::uint8_t* entry = &block[48 + i * 144];
        storeLe32(entry, 1);
        storeLe64(entry + 8, i * 1000);
        storeLe64(entry + 16, 1000);
        storeLe32(entry + 24, static_cast<std::uint32_t>(i + 1));
        entry[32] = 0xC1;
      }
      returned = static_cast<DWORD>(48 + entries * 144);
      return 0;
    };
  }

  ScriptedWin32& kernel = scriptedWin32();
  int calls = 0;
};

TEST_F(StorageQueriesTest, LayoutBlockGrowsUntilItFits) {
  haveLayout(6, 6);
  const auto layout = queryLayout(kScriptedDevice);
  ASSERT_TRUE(layout);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(layout->style, PartitionStyle::Gpt);
  ASSERT_EQ(layout->entries.size(), 6u);
  EXPECT_EQ(layout->entries[5].start, 5000u);
  EXPECT_EQ(layout->entries[5].length, 1000u);
  EXPECT_EQ(layout->entries[5].number, 6u);
  EXPECT_EQ(layout->entries[5].gptType[0], 0xC1);

  haveLayout(3, 0xFFFFFFFF);  // claims more than it returned
  EXPECT_EQ(queryLayout(kScriptedDevice)->entries.size(), 3u);

  kernel.driver = [](DWORD, Bytes&, DWORD&) -> DWORD { return ERROR_INSUFFICIENT_BUFFER; };
  EXPECT_FALSE(queryLayout(kScriptedDevice));  // never content: ends all the same
  kernel.driver = [](DWORD, Bytes&, DWORD& returned) -> DWORD { return returned = 47, 0; };
  EXPECT_FALSE(queryLayout(kScriptedDevice));
}

TEST_F(StorageQueriesTest, ADriverReturnsNoMoreThanTheBufferHolds) {
  kernel.driver = [](DWORD, Bytes&, DWORD& returned) -> DWORD {
    returned += 1000;
    return 0;
  };
  const auto block = queryDescriptor(kScriptedDevice, 64);
  ASSERT_TRUE(block.has_value());
  EXPECT_EQ(block->size(), 64u);
}

TEST_F(StorageQueriesTest, ShortAnswersAreNone) {
  DWORD came = 8;
  kernel.driver = [&](DWORD, Bytes& block, DWORD& returned) -> DWORD {
    storeLe32(&block[4], 0xFFFFFFFF);
    returned = came;
    return 0;
  };
  EXPECT_FALSE(queryDeviceNumber(kScriptedDevice));
  EXPECT_FALSE(querySmartCapabilities(kScriptedDevice));
  EXPECT_FALSE(queryNtfsClusterBytes(kScriptedDevice));
  EXPECT_EQ(queryDescriptorSize(kScriptedDevice), 0xFFFFFFFFu);
  EXPECT_EQ(queryDescriptor(kScriptedDevice, 0xFFFFFFFF)->size(), 8u);
  came = 7;
  EXPECT_FALSE(queryDescriptorSize(kScriptedDevice));
}

}  // namespace
}  // namespace ostria::storage::test
