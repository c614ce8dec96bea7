// The texts of the inventory: sizes, locations, versions.
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "inventory/device_descriptor.h"
#include "inventory/format_texts.h"

namespace ostria::storage::test {
namespace {

constexpr std::uint64_t kAll = ~std::uint64_t{0};

std::string counter(std::uint64_t low, std::uint32_t unit, std::uint64_t high = 0) {
  std::uint8_t bytes[16];
  storeLe64(bytes, low);
  storeLe64(bytes + 8, high);
  return FormatCounter(bytes, unit);
}

TEST(ScannerTextsTest, CountersAreGroupedAndSized) {
  EXPECT_EQ(counter(1234567, 512000), "1,234,567 [588 GB]");
  EXPECT_EQ(counter(1234567, 0), "1,234,567");
  EXPECT_EQ(counter(0, 512000), "0");
  EXPECT_EQ(counter(999, 1), "999 [999 B]");
  EXPECT_EQ(counter(1000, 1000), "1,000 [976 KB]");
  EXPECT_EQ(counter(3, 512000), "3 [1.46 MB]");
  EXPECT_EQ(counter(30, 512000), "30 [14.6 MB]");
  EXPECT_EQ(counter(2047, 1), "2,047 [2.00 KB]");             // 1.999 rounds up
  EXPECT_EQ(counter(10235, 1), "10,235 [10.0 KB]");           // 9.995
  EXPECT_EQ(counter(102390, 1), "102,390 [100 KB]");          // 99.99
  EXPECT_EQ(counter(kAll, 2), "18,446,744,073,709,551,615");  // the product does not fit
  EXPECT_EQ(counter(kAll, 1), "18,446,744,073,709,551,615 [16383 PB]");
  EXPECT_EQ(counter(0, 512000, 1), "~18446744073709551616");
  EXPECT_EQ(FormatKelvin(0), "-");
  EXPECT_EQ(FormatKelvin(300), "27");
  EXPECT_EQ(FormatKelvin(263), "-10");
}

TEST(ScannerTextsTest, PciLocationNeedsThreeSmallNumbers) {
  std::array<std::uint8_t, 3> location = {9, 9, 9};
  EXPECT_FALSE(ParsePciLocation("PCI bus 1, device 2", &location));
  EXPECT_FALSE(ParsePciLocation("PCI bus 1, device 256, function 0", &location));
  EXPECT_FALSE(ParsePciLocation("1 2 99999999999999999999", &location));
  EXPECT_EQ(location[0], 9);
  EXPECT_TRUE(ParsePciLocation("PCI bus 12, device 23, function 1", &location));
  EXPECT_EQ(location, (std::array<std::uint8_t, 3>{12, 23, 1}));
}

/// A descriptor block with its texts behind the fixed part.
std::vector<std::uint8_t> block(std::uint32_t bus, const std::string& vendor,
                                const std::string& product, bool removable = false) {
  std::vector<std::uint8_t> bytes(40);
  bytes[10] = static_cast<std::uint8_t>(removable);
  storeLe32(&bytes[12], 40);
  storeLe32(&bytes[16], static_cast<std::uint32_t>(41 + vendor.size()));
  storeLe32(&bytes[28], bus);
  for (const auto& text : {vendor, product}) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
  }
  return bytes;
}

TEST(DeviceDescriptorTest, BusDecidesKindAndConnection) {
  using Kind = StorageBusKind;
  constexpr auto kOutside = DeviceConnection::External;
  const struct {
    std::uint32_t bus;
    const char* vendor = "x";
    const char* product = "disk";
    Kind kind = Kind::Unknown;
    DeviceConnection way = DeviceConnection::Internal;
    bool optane = false;
  } rows[] = {
      {.bus = 7, .vendor = "", .product = "Stick", .kind = Kind::Usb, .way = kOutside},
      {.bus = 8, .vendor = "Intel", .product = "Volume", .kind = Kind::Raid, .optane = true},
      {.bus = 10, .vendor = "INTEL", .product = "x", .kind = Kind::Raid, .optane = true},
      {.bus = 10, .product = "Optane", .kind = Kind::Raid, .optane = true},
      {.bus = 8, .product = "Raid 1", .kind = Kind::Raid},
      {.bus = 8},
      {.bus = 10, .kind = Kind::Scsi},
      {.bus = 11, .vendor = "Intel", .kind = Kind::Ata},
      {.bus = 13, .product = "card", .kind = Kind::Emmc},
      {.bus = 17, .kind = Kind::Nvme},
      {.bus = 99, .way = DeviceConnection::Other},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bus);
    const auto descriptor = DeviceDescriptor::parse(block(row.bus, row.vendor, row.product));
    ASSERT_TRUE(descriptor);
    bool optane = false;
    EXPECT_EQ(busKindOf(*descriptor, false, &optane), row.kind);
    EXPECT_EQ(connectionOf(descriptor->bus, false), row.way);
    EXPECT_EQ(optane, row.optane);
  }
  const auto card = DeviceDescriptor::parse(block(12, "x", "card", true));
  bool optane = false;
  EXPECT_EQ(busKindOf(*card, true, &optane), StorageBusKind::Unknown);
  EXPECT_EQ(busKindOf(*card, std::nullopt, &optane), StorageBusKind::Unknown);
  EXPECT_EQ(connectionOf(card->bus, std::nullopt), DeviceConnection::External);
}

TEST(DeviceDescriptorTest, TextsStayInsideTheBlock) {
  auto bytes = block(8, "Intel", "Volume");
  EXPECT_FALSE(DeviceDescriptor::parse(std::span(bytes).first(39)));
  bytes.resize(bytes.size() - 3);  // no terminator left
  EXPECT_EQ(DeviceDescriptor::parse(bytes)->product, "Volu");
  for (const std::uint32_t offset : {0u, 0xFFFFFFFFu, static_cast<std::uint32_t>(bytes.size())}) {
    storeLe32(&bytes[12], offset);
    const auto descriptor = DeviceDescriptor::parse(bytes);
    EXPECT_FALSE(descriptor->vendor);
    bool optane = false;
    EXPECT_FALSE(IsVendorRaid(*descriptor, &optane));
    EXPECT_FALSE(optane);
  }
}

}  // namespace
}  // namespace ostria::storage::test
