// The reports of a device: properties, SMART rows and vendor log, letter for letter.
#include "inventory/device_reports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

#include "base/byte_order.h"
#include "inventory/component_builder.h"
#include "inventory/device_properties.h"
#include "inventory/html_table.h"
#include "inventory/report_rows.h"
#include "raid/drive_identity.h"
#include "tests/support/bench.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/scripted_nvme_bridge.h"
#include "tests/support/temporary_folder.h"
#include "transport/nvme/nvme_protocol.h"

namespace ostria::storage::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// "KEY=VALUE;" of each entry.
std::string written(const std::vector<PropertyEntry>& entries) {
  std::string all;
  for (const PropertyEntry& entry : entries) {
    all += entry.key + "=" + entry.value + ";";
  }
  return all;
}

void put(LogPage& page, std::size_t offset, const std::string& text) {
  std::copy(text.begin(), text.end(), page.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// "NAME=VALUE;" of each row of a report.
std::string written(const std::string& report) {
  std::string all;
  const std::regex row("\"description\":\"([^\"]*)\",\"data\":\"([^\"]*)\"");
  for (std::sregex_iterator it(report.begin(), report.end(), row), end; it != end; ++it) {
    all += (*it)[1].str() + "=" + (*it)[2].str() + ";";
  }
  return all;
}

TEST(DevicePropertiesTest, ListsWhatTheDeviceSaysInOrder) {
  FakeDevice device;
  StorageProtocolProperties& record = device.protocol->record();
  record.vendor = "  Maker\x01 ";
  record.modelNumber = " Model 1 ";
  record.serialNumber = "SN 12\xFF ";
  record.firmwareRevision = "FW1";
  record.protocolName = "ATA";
  record.standardVersion = "ACS-4";
  record.totalSectors = 1000;
  record.physicalSectorSize = 4096;
  record.rotationRate = 7200;
  record.cacheSize = 2;
  device.protocol->results["GetTemperature"] = ProtocolResult::Failure;
  device.component->setConnection(DeviceConnection::RaidMember);

  ASSERT_EQ(fillProperties(*device.component, nullptr, "Array", nullptr), ProtocolResult::Success);
  const ComponentDescription description = device.component->description();
  EXPECT_EQ(description.displayName, "Model 1 - 500.00 KBs");
  EXPECT_EQ(description.model, "Model 1");
  EXPECT_EQ(written(description.properties),
            "UDI=Maker-Model1-SN12;MANUFACTURER=Maker;MODEL=Model 1;SERIAL=SN 12;FIRMWARE=FW1;"
            "SIZE=500.00 KBs;ROTATION_RATE=7200 RPM;CACHE=1.00 KB;TEMPERATURE=NOT_AVAILABLE;"
            "PHYSICAL_SECTOR_SIZE=4096;LOGICAL_SECTOR_SIZE=512;LOGICAL_SECTORS=1000;PROTOCOL=ATA;"
            "SPEC_VERSION=ACS-4;");
  EXPECT_EQ(description.attributes,
            (std::map<std::string, std::string>{{"NonRotatingMedia", "F"},
                                                {"parent", "RAID_ATTACHED_DRIVES\\Array"}}));
}

TEST(DevicePropertiesTest, FailureChangesNothingAndHugeDisksDoNotWrap) {
  FakeDevice device;
  device.component->setConnection(DeviceConnection::RaidMember);
  device.protocol->results["GetProperties"] = ProtocolResult::DeviceError;
  EXPECT_EQ(fillProperties(*device.component, nullptr, "", nullptr), ProtocolResult::DeviceError);
  EXPECT_TRUE(device.component->propertyList().empty());
  EXPECT_TRUE(device.component->attributeMap().empty());

  device.protocol->results.clear();
  device.protocol->record().modelNumber = "M";
  device.protocol->record().totalSectors = std::uint64_t{1} << 60;
  device.protocol->record().logicalSectorSize = 4096;
  device.protocol->record().solidState = true;
  ASSERT_EQ(fillProperties(*device.component, nullptr, "", nullptr), ProtocolResult::Success);
  EXPECT_EQ(device.component->description().displayName, "M - 16.00 EBs");
  EXPECT_EQ(*device.component->findProperty("SIZE"), "16.00 EBs");
  RaidPhysicalDrive drive;
  EXPECT_TRUE(identifyDrive(*device.protocol, &drive));
  EXPECT_EQ(drive.size, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(*device.component->findProperty("UDI"), "M-");
  EXPECT_EQ(device.component->attributeMap()["NonRotatingMedia"], "T");
}

TEST(DevicePropertiesTest, PartitionsBecomeSections) {
  auto table = std::make_unique<PartitionTable>();
  PartitionEntry extended;
  extended.typeText = "EXTENDED";
  extended.number = 2;
  extended.sizeBytes = 2048;
  extended.label = "hidden";
  PartitionEntry data;
  data.number = 1;
  data.fileSystem = "ntfs";
  data.label = "Data";
  data.mountPoints = {"C:\\", "D:\\"};
  data.serial = "0000BEEF";
  data.sizeBytes = 4096;
  data.usedBytes = 4096;
  table->partitions = {data, extended};
  StorageComponent component(std::make_unique<FakeProtocol<>>(ProtocolKind::Ata, 100),
                             std::move(table));
  fillPartitionSections(component);
  const auto sections = component.sections();
  ASSERT_EQ(sections.size(), 2u);
  EXPECT_EQ(sections[0].title, "PARTITION");
  EXPECT_EQ(written(sections[0].entries),
            "INDEX=1;FILE_SYSTEM=ntfs;LABEL=Data;MOUNT_POINT=C:\\;SERIAL=0000BEEF;SIZE=4.00 KBs;"
            "USED=4.00 KBs;FREE=0.00 byte;");
  EXPECT_EQ(written(sections[1].entries), "INDEX=2;PARTITION_TYPE=EXTENDED;SIZE=2.00 KBs;");
}

TEST(SmartReportTest, AtaAttributesAlsoBehindUsb) {
  auto ata = std::make_unique<FakeAtaProtocol>(ProtocolKind::Unset, 1000);
  ata->attributes = {{194, 67, 45, 0xFFFFFFFF, 1}, {255, 1, 2, 3, 4}};
  auto* const attributes = ata.get();
  FakeDevice usb(ProtocolKind::Scsi);
  std::string text = "as it was";
  EXPECT_FALSE(makeSmartReport(*usb.component, text));
  EXPECT_TRUE(makeVendorLogReport(*usb.component, text));
  EXPECT_EQ(text, "") << "a device without the log has an empty report";
  text = "as it was";
  usb.component->setSecondaryProtocol(std::move(ata));
  EXPECT_FALSE(makeSmartReport(*usb.component, text));
  EXPECT_EQ(text, "as it was");
  usb.component->setConnection(DeviceConnection::External);
  ASSERT_TRUE(makeSmartReport(*usb.component, text));
  EXPECT_EQ(text,
            R"([{"id":"194","description":"Temperature Celsius","threshold":"1","value":"67",)"
            R"("worst":"45","data":"4294967295"},{"id":"255","description":"vendor_specific",)"
            R"("threshold":"4","value":"1","worst":"2","data":"3"}])");
  attributes->results["GetSmartAttributes"] = ProtocolResult::DeviceError;
  EXPECT_FALSE(makeSmartReport(*usb.component, text));
}

TEST(SmartReportTest, NvmeRowsFollowTheHealthLog) {
  LogPage page{};
  page[0] = 4;
  page[3] = 100;
  page[5] = 255;
  storeLe64(&page[32], 1234567);
  storeLe64(&page[48 + 8], 1);
  storeLe32(&page[192], 90);
  storeLe16(&page[202], 300);
  const std::string rows = nvmeSmartRows(page);
  EXPECT_EQ(rows.find(R"({"id":"0","description":"Critical Warning","data":"4"},)"), 0u);
  EXPECT_EQ(rows.find(R"("id":"200")"), std::string::npos);
  for (const char* row :
       {"Temperature=- ºC;", "Percentage Used=255 %;", "Data Units Read=1,234,567 [588 GB];",
        "Data Units Written=~18446744073709551616;", "Controller Busy Time=0 min;",
        "Warning composite Temperature Time=90 min;", "Temperature Sensor 2=27 ºC;"}) {
    EXPECT_THAT(written(rows), HasSubstr(row));
  }
  EXPECT_NE(rows.find(R"({"id":"202","description":"Temperature Sensor 2")"), std::string::npos);
}

TEST(VendorReportTest, NvmeFieldsByRevision) {
  LogPage page{};
  put(page, 0, "OST");
  put(page, 50, std::string(40, 'M'));
  put(page, 80, "OLDSERIAL0SERIALNUMBER");
  const auto rowsOf = [&page](std::uint8_t revision) {
    page[3] = revision;
    return written(nvmeVendorRows(page));
  };
  EXPECT_EQ(rowsOf(5), "");
  EXPECT_EQ(rowsOf(1), "");
  EXPECT_THAT(rowsOf(32),
              AllOf(HasSubstr("Revision=32;"), HasSubstr("=" + std::string(30, 'M') + ";"),
                    HasSubstr("=OLDSERIAL0SERIALNUMBER;"), Not(HasSubstr("FRU Number"))));
  EXPECT_THAT(rowsOf(3), Not(HasSubstr("Relocated")));
  EXPECT_THAT(rowsOf(4), HasSubstr("Manufacturing Supplier Serial Number=SERIALNUMBER;"));
}

TEST(VendorReportTest, AnNvmeDriveGivesItsLogsWhole) {
  auto bridge = std::make_shared<ScriptedNvmeBridge>();
  auto protocol = std::make_unique<NvmeProtocol>(DeviceHandle(7), "");
  protocol->AddBridge(bridge);
  protocol->SetProtocolKind(ProtocolKind::Nvme);
  StorageComponent component(std::move(protocol));
  LogPage page{};
  put(page, 0, "OST\x04");
  put(page, 20, "8SBAR");
  put(page, 50, "MODEL");
  put(page, 90, "SERIAL");
  put(page, 110, "LABEL");
  put(page, 261, "FRU0123456");
  constexpr std::size_t kNumbers[] = {224, 240, 244, 271, 279, 281, 283, 285, 287};
  for (std::size_t i = 0; i < std::size(kNumbers); ++i) {
    page[kNumbers[i]] = static_cast<std::uint8_t>(i + 1);
  }
  const Bytes health(512, 1);
  bridge->log(0x02, 512, health);
  bridge->log(0xDF, 512, Bytes(page.begin(), page.end()));
  std::string text;
  EXPECT_TRUE(component.getReport("OSTRIA_LOG_PAGE", text));
  EXPECT_EQ(written(text),
            "Signature=OST;Revision=4;Manufacturing 8S bar-code=8SBAR;"
            "Manufacturing Supplier Model Number=MODEL;Manufacturing Supplier Serial Number=SERIAL;"
            "Current 8S label=LABEL;Sectors Written=1;CRC Errors=2;Sectors Written SLC=3;"
            "FRU Number=FRU0123456;Relocated Blocks=4;Average PE Cycles=5;Maximum PE Cycles=6;"
            "Bad Blocks=7;DRAM Parity Errors=8;SRAM Parity Errors=9;");
  // A log that cannot be read leaves an empty report, and no failure.
  bridge->expect({2, 0xFFFFFFFF, 0x007F0002, {}, ProtocolResult::Failure});
  EXPECT_TRUE(component.getReport("SMART", text));
  EXPECT_EQ(text, "");
}

TEST(VendorReportTest, AtaPageNeedsItsMarksAndLeavesOutEmptyRows) {
  LogPage page{};
  put(page, 0, "OST");
  put(page, 20, " 8SBAR");
  EXPECT_FALSE(isAtaVendorPage(page));
  put(page, 20, "8SBAR ");
  EXPECT_TRUE(isAtaVendorPage(page));
  EXPECT_EQ(ataVendorRows(page), R"({"description":"Signature","data":"OST"},)"
                                 R"({"description":"Manufacturing 8S bar-code","data":"8SBAR"})");
  // A field that would end its row and begin another stays a field.
  put(page, 50, R"("},{"data":"x\)");
  EXPECT_NE(ataVendorRows(page).find(R"("data":"\"},{\"data\":\"x\\"})"), std::string::npos)
      << ataVendorRows(page);
}

TEST(ReportsOnPc, TheAtaVendorReportHasASwitch) {
  ModuleBench bench(R"({"format": 1, "drives": [
    {"name": "d", "kind": "sata", "model": "DISK", "serial": "1", "size_sectors": 100000,
     "part_number": "PN1"}]})");
  StorageComponent& device = *bench.device("DISK");
  const std::string* const driver = device.findProperty("DRIVER_VERSION");
  const std::string* const label = device.findProperty("CURRENT_8S_LABEL");
  ASSERT_TRUE(driver != nullptr && label != nullptr);
  EXPECT_EQ(*driver, "10.0.19041.3636");
  EXPECT_EQ(label->substr(0, 3), "PN1");
  const auto report = [&device] {
    std::string text = "?";
    EXPECT_TRUE(device.getReport("OSTRIA_LOG_PAGE", text));
    return text;
  };
  EXPECT_EQ(report(), "");
  const TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  for (const auto& [line, on] : std::vector<std::pair<std::string, bool>>{
           {"[storage]\nenable_ostria_drive_info=1\n", true},
           {"[STORAGE]\nENABLE_OSTRIA_DRIVE_INFO = 1;on\n", true},
           {"[STORAGE]\nENABLE_OSTRIA_DRIVE_INFO=1 \n", false},
           {"[STORAGE]\nENABLE_OSTRIA_DRIVE_INFO=true\n", false},
           {"[OTHER]\nENABLE_OSTRIA_DRIVE_INFO=1\n", false},
           {"[STORAGE]\nENABLE_OSTRIA_DRIVE_INFO=1\nOTHER=\n", false}}) {
    std::ofstream("config.ini") << line;
    EXPECT_EQ(report().find("\"Current 8S label\",\"data\":\"PN1\"") != std::string::npos, on)
        << line;
  }
  std::filesystem::current_path(before);
}

/// Knows one disk, of which it has read one partition.
struct OneDiskScanner final : StorageScanner {
  int listDevices(DevicePathMap&) override { return 1; }
  int getConnection(std::uint32_t, DeviceConnection*) override { return 1; }
  int readPartitionTable(std::uint32_t, PartitionTable* table, std::uint64_t) override {
    table->partitions.resize(1);
    return result;
  }
  int getDeviceId(std::uint32_t, std::string*) override { return 0; }
  int isRemovableMedia(std::uint32_t, bool*) override { return 1; }
  int getBusKind(std::uint32_t, StorageBusKind*, bool*) override { return 1; }
  int dismountVolume(const std::string&, DeviceHandle*) override { return 1; }
  int releaseVolume(std::string&, std::vector<std::string>&, DeviceHandle, std::string&) override {
    return 1;
  }
  int getMiniportPath(std::uint32_t, std::string*) override { return 1; }
  int getPciLocation(std::uint32_t, std::array<std::uint8_t, 3>*) override { return 1; }

  int result = 0;
};

// It answers IDENTIFY all the same; no command more is spent on it.
TEST(HealthReportTest, ADiskThatLeavesReadsWithoutAnAnswerDoesNotAnswer) {
  OneDriveBench bench(driveOf("sata", "ONE"));
  OneDiskScanner scanner;
  DriverVersions drivers;
  for (const int result : {0, StorageScanner::kReadsDoNotEnd}) {
    scanner.result = result;
    auto protocol = std::make_unique<FakeProtocol<>>(ProtocolKind::Ata, 1000);
    FakeProtocol<>& asked = *protocol;
    const auto component = buildComponent(scanner, {}, std::move(protocol), nullptr, &drivers);
    ASSERT_NE(component, nullptr);
    asked.calls.clear();
    std::string report;
    EXPECT_TRUE(component->getReport("HEALTH", report));
    EXPECT_EQ(written(report) == "Access=no;", result != 0) << report;
    EXPECT_EQ(asked.calls.empty(), result != 0);
    EXPECT_NE(component->partitionTable(), nullptr) << "what is known of it stays";
  }
}

TEST(HtmlTableTest, WritesRowsAndLeavesAnIncompleteOneOpen) {
  EXPECT_EQ(makeHtmlTable({"A", "B"}, "left", {"1", "2", "3"}, "middle", 60, false),
            "<table width=\"60%\"><tr><th align=\"left\"> A </th><th align=\"left\"> B </th></tr>"
            "<tr><td> 1 </td><td> 2 </td></tr><tr><td> 3 </td></table>");
  EXPECT_EQ(makeHtmlTable({"A"}, "", {}, "right", 0, true), "<table><tr><th> A </th></tr></table>");
  EXPECT_EQ(makeHtmlTable({}, "", {}, "", 5, true), "<table width=\"5\"><tr></tr></table>");
}

}  // namespace
}  // namespace ostria::storage::test
