// Partition tables and volumes laid side by side, with what is left over.
#include "inventory/partitions/partition_layout.h"

#include <gtest/gtest.h>

#include "inventory/partitions/partition_types.h"

namespace ostria::storage::test {
namespace {

constexpr std::uint64_t kMiB = 1 << 20;

LayoutEntry mbr(std::uint32_t number, std::uint8_t type, std::uint64_t start,
                std::uint64_t length) {
  return {PartitionStyle::Mbr, number, start * kMiB, length * kMiB, type, {}};
}

std::string listed(const PartitionTable& table) {
  std::string text = table.schema;
  for (const PartitionEntry& entry : table.partitions) {
    text += " " + std::to_string(entry.number) + ":" + entry.typeText;
  }
  return text;
}

TEST(PartitionLayoutTest, ExtendedPartitionIsRewritten) {
  PartitionTable table;
  buildPartitions(
      {PartitionStyle::Mbr,
       {mbr(1, 0x07, 1, 100), mbr(0, 0x0F, 200, 800), mbr(0, 0, 0, 0), mbr(2, 0x07, 201, 300),
        mbr(0, 0x05, 501, 200), mbr(3, 0x83, 502, 150), mbr(4, 0x07, 1000, 10)}},
      table);
  rewriteLogicalPartitions(table.partitions);
  EXPECT_EQ(listed(table), "MBR 1:PRIMARY 0:EXTENDED 2:LOGICAL 3:LOGICAL 4:PRIMARY");
  EXPECT_EQ(table.partitions[3].fileSystem, "_NATIVE_LINUX");
  EXPECT_EQ(unallocatedBytes(2000 * kMiB, table.partitions), (2000 - 100 - 300 - 150 - 10) * kMiB);
}

TEST(PartitionLayoutTest, HostileLayoutsStayInBounds) {
  PartitionTable table;
  buildPartitions({PartitionStyle::Mbr,
                   {mbr(1, 0x05, 10, 0),
                    {PartitionStyle::Mbr, 2, UINT64_MAX - 5, UINT64_MAX, 5, {}},
                    {PartitionStyle::Mbr, 3, UINT64_MAX - 2, UINT64_MAX, 7, {}},
                    {PartitionStyle::Mbr, 4, 7, UINT64_MAX, 0xA5, {}}}},
                  table);
  // The first of two largest ones counts; its end does not wrap.
  rewriteLogicalPartitions(table.partitions);
  EXPECT_EQ(listed(table), "MBR 1:EXTENDED 2:EXTENDED 3:LOGICAL 4:EXTENDED");
  EXPECT_EQ(unallocatedBytes(1000, table.partitions), 0u);
  EXPECT_EQ(unallocatedBytes(1000, {}), 1000u);

  buildPartitions({static_cast<PartitionStyle>(9), {mbr(5, 7, 0, 1)}}, table);
  EXPECT_EQ(listed(table), "UNKNOWN 5:PRIMARY");
  buildPartitions({PartitionStyle::Raw, {{PartitionStyle::Raw, 1, 0, 5, 7, {}}}}, table);
  EXPECT_EQ(listed(table), "RAW");
  for (const auto& [style, schema] :
       {std::pair(PartitionStyle::Gpt, "GPT"), std::pair(PartitionStyle::Raw, "RAW")}) {
    PartitionTable empty;
    buildPartitions({style, {}}, empty);
    EXPECT_EQ(empty.schema, schema);
  }
}

TEST(PartitionLayoutTest, GptTypesAreNamedByTheirGuid) {
  PartitionTable table;
  LayoutEntry efi{PartitionStyle::Gpt, 1, kMiB, kMiB, 0, {}};
  efi.gptType = {0x28, 0x73, 0x2A, 0xC1, 0x1F, 0xF8, 0xD2, 0x11,
                 0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B};
  LayoutEntry unknown = efi;
  unknown.number = 2;
  unknown.gptType[15] ^= 1;
  LayoutEntry unused{PartitionStyle::Gpt, 3, 0, 0, 0, {}};
  buildPartitions({PartitionStyle::Gpt, {efi, unknown, unused}}, table);
  EXPECT_EQ(listed(table), "GPT 1:_E|F|I_SYSTEM_PARTITION 2:");
  EXPECT_EQ(gptTypeKey("ffffffff"), "");
  EXPECT_EQ(gptTypeKey(""), "");
  EXPECT_EQ(mbrTypeName(0xFF), "Xenix");
  EXPECT_EQ(mbrTypeName(0x05), "");
}

TEST(PartitionLayoutTest, VolumeFillsWhatItSays) {
  PartitionEntry entry;
  entry.sizeBytes = 5000;
  joinVolume({"C:\\", {}, {}, {}}, entry);
  EXPECT_EQ(entry.sizeBytes, 5000u);
  joinVolume(
      {"D:\\", VolumeFacts::Identity{"Data", "NTFS", 0xBEEF}, VolumeFacts::Space{4000, 4500}, 4096},
      entry);
  EXPECT_EQ(entry.mountPoints, (std::vector<std::string>{"C:\\", "D:\\"}));
  EXPECT_EQ(entry.label + entry.serial + entry.fileSystem, "Data0000BEEFntfs");
  EXPECT_EQ(entry.sizeBytes, 4000u);
  EXPECT_EQ(entry.usedBytes, 0u);  // more free than there is
  EXPECT_EQ(entry.clusterBytes, 4096u);
}

}  // namespace
}  // namespace ostria::storage::test
