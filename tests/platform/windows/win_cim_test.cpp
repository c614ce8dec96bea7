// Result records and driver rows over the WMI of the virtual PC.
#include "platform/windows/services/win_cim.h"

#include <gtest/gtest.h>

#include <set>

#include "inventory/driver_version.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {
namespace {

const std::wstring kRecordSpace = L"ROOT\\Ostria\\Ostria_Diagnostics";

class WinCimTest : public ::testing::Test {
 protected:
  WinCimTest() { install(""); }
  ~WinCimTest() override { virtual_pc::resetMachine(); }

  void install(const std::string& rest) {
    std::string error;
    ASSERT_TRUE(virtual_pc::installMachine(
        R"({"format": 1, "drives": [
          {"name": "a", "kind": "sata", "model": "Disk A", "serial": "1", "size_sectors": 1000},
          {"name": "b", "kind": "usb_stick", "model": "Disk B", "serial": "2",
           "size_sectors": 1000}])" +
            rest + "}",
        &error))
        << error;
  }
  CimTable ask(const std::vector<const char*>& fields, const char* where, const char* className,
               const std::wstring& space) {
    CimTable* table = nullptr;
    EXPECT_EQ(where == nullptr ? cim_.queryAll(&table, className, static_cast<int>(fields.size()),
                                               fields.data(), space)
                               : cim_.query(fields.data(), where, className,
                                            static_cast<int>(fields.size()), &table, space),
              CimResult::Success);
    CimTable copy = table == nullptr ? CimTable() : *table;
    cim_.freeTable(table);
    return copy;
  }
  CimResult write(const std::string& test) {
    return cim_.writeRecord({"ModuleName", "TestName"}, {"storage", test}, "Results", kRecordSpace);
  }

  WinCim cim_;
};

TEST_F(WinCimTest, AnswersQueries) {
  EXPECT_EQ(ask({"FriendlyName", "CompatID", "Missing"}, "DeviceClass = 'DiskDrive'",
                "Win32_PnPSignedDriver", L"ROOT\\CIMV2"),
            (CimTable{{{"Disk A"}, {"GenDisk"}, {}}, {{"Disk B"}, {"USBSTOR\\Disk"}, {}}}));
  const char* const fields[] = {"Id", nullptr};
  CimTable* table = nullptr;
  for (const int none : {0, -1}) {
    EXPECT_EQ(cim_.query(fields, "a = 1", "C", none, &table, L"ROOT"), CimResult::NoFields);
    EXPECT_EQ(cim_.query(fields, nullptr, "C", none, &table, L"ROOT"), CimResult::NoFields);
    EXPECT_EQ(cim_.query(nullptr, nullptr, nullptr, none, &table, L"ROOT"), CimResult::NoFields);
  }
  EXPECT_EQ(cim_.query(fields, "a = 1", "C", 2, &table, L"ROOT"), CimResult::NullFieldName);
  EXPECT_EQ(cim_.query(fields, nullptr, "C", 1, &table, L"ROOT"), CimResult::QueryIncomplete);
  EXPECT_EQ(cim_.queryAll(&table, "C", 1, fields, L"ROOT\\No"), CimResult::ConnectFailed);
  EXPECT_EQ(cim_.queryAll(&table, "NoClass", 1, fields, L"ROOT"), CimResult::ConnectFailed);
  EXPECT_EQ(table, nullptr);
}

TEST_F(WinCimTest, FirstRecordMakesNamespaceAndClass) {
  const std::vector<std::string> names = {"ModuleName",  "DeviceUdi",  "DeviceDisplayName",
                                          "TestName",    "TestStatus", "TestStartTimestamp",
                                          "TestDuration"};
  EXPECT_EQ(cim_.writeRecord(names, {"1", "2", "3", "4", "5", "6"}, "Results", kRecordSpace),
            CimResult::Success);
  EXPECT_TRUE(ask({"Id"}, nullptr, "Results", kRecordSpace).empty());
  EXPECT_EQ(write("first"), CimResult::Success);
  EXPECT_EQ(write("second"), CimResult::Success);
  EXPECT_EQ(ask({"Id", "TestName", "TestStatus"}, nullptr, "Results", kRecordSpace),
            (CimTable{{{"0"}, {"first"}, {}}, {{"1"}, {"second"}, {}}}));
  EXPECT_EQ(cim_.writeRecord({"NoSuchName"}, {"x"}, "Results", kRecordSpace),
            CimResult::ConnectFailed);
  bool existed = false;
  EXPECT_EQ(cim_.ensureNamespace(L"ROOT\\Ostria", L"Ostria_Diagnostics", &existed),
            CimResult::Success);
  EXPECT_TRUE(existed);
}

TEST_F(WinCimTest, TheOldestOf5000GoesAlsoWithHighNumbers) {
  ASSERT_EQ(write("x"), CimResult::Success);
  virtual_pc::WmiClass& records = *virtual_pc::machine().wmi().find(kRecordSpace)->find(L"Results");
  records.instances.clear();
  for (std::int32_t id = 0; id < 4999; ++id) {
    records.addRow({{L"Id", id}});
  }
  EXPECT_EQ(write("the 5000th"), CimResult::Success);
  EXPECT_EQ(virtual_pc::wmiText(records.instances.front().find(L"Id")->value), L"0");
  // What cannot be written costs no record.
  EXPECT_EQ(cim_.writeRecord({"TestName"}, {}, "Results", kRecordSpace), CimResult::Success);
  EXPECT_EQ(cim_.writeRecord({"NoSuchName"}, {"x"}, "Results", kRecordSpace),
            CimResult::ConnectFailed);
  EXPECT_EQ(records.instances.size(), 5000u);
  EXPECT_EQ(write("the 5001st"), CimResult::Success);
  ASSERT_EQ(records.instances.size(), 5000u);
  EXPECT_EQ(virtual_pc::wmiText(records.instances.front().find(L"Id")->value), L"1");

  records.instances.clear();
  for (std::int32_t id = 7000; id < 12000; ++id) {
    records.addRow({{L"Id", id}});
  }
  EXPECT_EQ(write("newest"), CimResult::Success);
  ASSERT_EQ(records.instances.size(), 5000u);
  EXPECT_EQ(virtual_pc::wmiText(records.instances.front().find(L"Id")->value), L"7001");
  EXPECT_EQ(ask({"TestName"}, "Id = 12000", "Results", kRecordSpace), (CimTable{{{"newest"}}}));
}

TEST_F(WinCimTest, WritingFailsWithTheCodeOfReadingAndLosesNothing) {
  ASSERT_EQ(write("kept"), CimResult::Success);
  virtual_pc::PlatformFaults& faults = virtual_pc::machine().faults();
  faults.reset();
  ASSERT_EQ(write("x"), CimResult::Success);
  const std::uint64_t calls = faults.calls();
  ASSERT_GT(calls, 5u);
  std::set<CimResult> seen;
  for (std::uint64_t call = 1; call <= calls; ++call) {
    faults.reset();
    faults.failCall(call, 31);
    const CimResult result = write("y");
    // A failing connection is tried again.
    EXPECT_TRUE(result == CimResult::Success ||
                (result >= CimResult::ComStartFailed && result <= CimResult::ProxyFailed))
        << call << " " << static_cast<std::uint32_t>(result);
    CimTable* table = nullptr;
    const char* const field = "Id";
    faults.reset();
    faults.failCall(call, 31);
    const CimResult reading = cim_.queryAll(&table, "Results", 1, &field, kRecordSpace);
    cim_.freeTable(table);
    // Up to the connection both make the same calls; only its failure is tried again, behind the
    // making of the namespace.
    seen.insert(reading);
    if (call <= 5 && reading != CimResult::ConnectFailed) {
      EXPECT_EQ(result, reading) << call;
    }
  }
  for (const CimResult failed : {CimResult::ComStartFailed, CimResult::ComSecurityFailed,
                                 CimResult::LocatorFailed, CimResult::ProxyFailed}) {
    EXPECT_TRUE(seen.contains(failed)) << static_cast<std::uint32_t>(failed);
  }
  faults.reset();
  EXPECT_EQ(ask({"TestName"}, "Id = 0", "Results", kRecordSpace), (CimTable{{{"kept"}}}));
}

TEST_F(WinCimTest, EveryStartOfComponentObjectsIsEnded) {
  const auto isRunning = [] {
    const HRESULT started = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CoUninitialize();
    return started == S_FALSE;
  };
  ASSERT_FALSE(isRunning());
  EXPECT_EQ(write("first"), CimResult::Success);  // which makes namespace and class
  EXPECT_FALSE(isRunning());
  EXPECT_EQ(cim_.writeRecord({"TestName"}, {"x"}, "Results", L"ROOT\\No"),
            CimResult::ConnectFailed);
  EXPECT_FALSE(isRunning());
}

TEST_F(WinCimTest, DriverVersionIsFoundByModelThenByBus) {
  EXPECT_EQ(DriverVersions().of("Disk A"), "10.0.19041.3636");
  DriverVersions scan;
  EXPECT_EQ(scan.of("Unknown"), "10.0.19041.3636");
  const std::uint64_t calls = virtual_pc::machine().faults().calls();
  EXPECT_EQ(scan.of("Disk B"), "10.0.19041.3636");
  EXPECT_EQ(virtual_pc::machine().faults().calls(), calls) << "one query serves a whole scan";
  install(R"(, "disk_driver_version": "1", "management_rows": [
    {"class": "Win32_PnPSignedDriver", "values": [
      {"name": "DeviceClass", "text": "DiskDrive"}, {"name": "DriverVersion", "text": "2"}]}])");
  // With several versions about, the first stands for all.
  EXPECT_EQ(DriverVersions().of("Unknown"), "1");
  std::string error;
  ASSERT_TRUE(virtual_pc::installMachine(R"({"format": 1})", &error));
  EXPECT_EQ(DriverVersions().of("Disk A"), "error");
}

}  // namespace
}  // namespace ostria::storage::test
