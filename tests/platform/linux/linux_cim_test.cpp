// Result records in SQLite: order, limits, queries, and writers beside each other.
#include "platform/linux/services/linux_cim.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "platform/linux/services/linux_driver_rows.h"
#include "platform/linux/services/linux_result_store.h"

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSpace = "ROOT\\Ostria\\Ostria_Diagnostics";
const std::wstring kWideSpace = L"ROOT\\Ostria\\Ostria_Diagnostics";

class LinuxCimTest : public ::testing::Test {
 protected:
  LinuxCimTest() {
    // In memory where there is such a place: thousands of writes would wait for a disk.
    std::string pattern = "/dev/shm/ostria_cim_XXXXXX";
    if (access("/dev/shm", W_OK) != 0) {
      pattern = ::testing::TempDir() + "ostria_cim_XXXXXX";
    }
    folder_ = mkdtemp(pattern.data());
    file_ = folder_ / "deep" / "results.sqlite";
    setenv("OSTRIA_RESULTS", file_.c_str(), 1);
  }
  ~LinuxCimTest() override {
    unsetenv("OSTRIA_RESULTS");
    fs::remove_all(folder_);
  }

  std::vector<LinuxResultStore::Record> records() {
    std::vector<LinuxResultStore::Record> found;
    const auto store = LinuxResultStore::open(file_);
    EXPECT_TRUE(store != nullptr && store->read(kSpace, "Results", found));
    return found;
  }

  /// Writes records until `count` are written or something kills it.
  pid_t startWriter(int count) {
    const pid_t child = fork();
    if (child != 0) {
      return child;
    }
    LinuxCim cim;
    bool good = true;
    for (int i = 0; i < count; ++i) {
      good = cim.writeRecord({"TestName"}, {std::to_string(getpid())}, "Results", kWideSpace) ==
                 CimResult::Success &&
             good;
    }
    _exit(good ? 0 : 1);
  }

  /// The rows of the records, under that condition or all.
  static CimTable ask(const std::vector<const char*>& fields, const char* where = nullptr) {
    LinuxCim cim;
    CimTable* table = nullptr;
    const auto count = static_cast<int>(fields.size());
    EXPECT_EQ(where == nullptr
                  ? cim.queryAll(&table, "Results", count, fields.data(), kWideSpace)
                  : cim.query(fields.data(), where, "Results", count, &table, kWideSpace),
              CimResult::Success);
    const CimTable found = table == nullptr ? CimTable() : *table;
    cim.freeTable(table);
    return found;
  }

  fs::path folder_;
  fs::path file_;
};

TEST_F(LinuxCimTest, WritesAndReadsBackRecords) {
  LinuxCim cim;
  bool existed = true;
  EXPECT_EQ(cim.ensureNamespace(L"ROOT", L"Ostria", &existed), CimResult::Success);
  EXPECT_FALSE(existed);
  EXPECT_EQ(cim.ensureNamespace(L"root", L"OSTRIA", &existed), CimResult::Success);
  EXPECT_TRUE(existed);

  EXPECT_EQ(cim.writeRecord({"TestName", "TestStatus"}, {"it's \"a\" test", "passed"}, "Results",
                            kWideSpace),
            CimResult::Success);
  EXPECT_EQ(cim.writeRecord({"TestName"}, {"second"}, "results", kWideSpace), CimResult::Success);
  EXPECT_EQ(cim.writeRecord(LinuxResultStore::textNames(), {"1", "2", "3", "4", "5", "6"},
                            "Results", kWideSpace),
            CimResult::Success);
  EXPECT_EQ(cim.writeRecord({"NoSuchName"}, {"x"}, "Results", kWideSpace),
            CimResult::ConnectFailed);

  EXPECT_EQ(ask({"Id", "testname", "Missing"}),
            (CimTable{{{"0"}, {"it's \"a\" test"}, {}}, {{"1"}, {"second"}, {}}}));
  EXPECT_EQ(ask({"Id"}, "TestName = 'SECOND'"), (CimTable{{{"1"}}}));

  // Names are the same in any case of their letters; what was not given is no text, and a text
  // keeps all its characters.
  EXPECT_EQ(cim.writeRecord({"testname"}, {std::string("a\0b", 3)}, "Results", kWideSpace),
            CimResult::Success);
  EXPECT_EQ(ask({"TestName", "TestStatus"}, "Id = 2"), (CimTable{{{std::string("a\0b", 3)}, {}}}));

  CimTable* table = nullptr;
  const char* const withNull[] = {"Id", nullptr};
  EXPECT_EQ(cim.queryAll(&table, "Results", 0, withNull, kWideSpace), CimResult::NoFields);
  EXPECT_EQ(cim.queryAll(&table, "Results", 2, withNull, kWideSpace), CimResult::NullFieldName);
  EXPECT_EQ(cim.queryAll(&table, nullptr, 1, withNull, kWideSpace), CimResult::QueryIncomplete);
  for (const char* condition : {"x' OR 1", "Id =", "test name = 'x'"}) {
    EXPECT_EQ(cim.query(withNull, condition, "Results", 1, &table, kWideSpace),
              CimResult::ConnectFailed)
        << condition;
  }
}

TEST_F(LinuxCimTest, WhatIsNotThereIsNotAnswered) {
  LinuxCim cim;
  const char* const field = "Id";
  CimTable* table = nullptr;
  EXPECT_EQ(cim.queryAll(&table, "Results", 1, &field, kWideSpace), CimResult::ConnectFailed);
  EXPECT_FALSE(fs::exists(file_)) << "reading makes no file";
  EXPECT_EQ(cim.writeRecord({"TestName"}, {"x"}, "Results", L"ROOT\\Other"),
            CimResult::ConnectFailed);
  EXPECT_EQ(cim.writeRecord({"TestName"}, {"x"}, "Results", kWideSpace), CimResult::Success);
  EXPECT_EQ(cim.queryAll(&table, "Others", 1, &field, kWideSpace), CimResult::ConnectFailed);
  EXPECT_EQ(cim.queryAll(&table, "Win32_PnPSignedDriver", 1, &field, kWideSpace),
            CimResult::ConnectFailed);
  bool existed = false;
  EXPECT_EQ(cim.ensureNamespace(L"ROOT\\No", L"Below", &existed), CimResult::ConnectFailed);
  EXPECT_EQ(cim.ensureNamespace(L"ROOT\\Ostria", L"Ostria_Diagnostics", &existed),
            CimResult::Success);
  EXPECT_TRUE(existed);
  EXPECT_EQ(table, nullptr);
}

TEST_F(LinuxCimTest, OldestRecordsMakeRoom) {
  const auto store = LinuxResultStore::open(file_, 3);
  ASSERT_NE(store, nullptr);
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(store->add(kSpace, "Results", {}));
  }
  EXPECT_TRUE(store->add(kSpace, "Other", {}));
  std::vector<std::string> numbers;
  for (const auto& record : records()) {
    numbers.push_back(record.at("Id"));
  }
  EXPECT_EQ(numbers, (std::vector<std::string>{"2", "3", "4"}));
}

TEST_F(LinuxCimTest, The5001stWriteRemovesTheSmallestNumber) {
  const auto store = LinuxResultStore::open(file_);
  ASSERT_NE(store, nullptr);
  for (int i = 0; i < 4999; ++i) {
    ASSERT_TRUE(store->add(kSpace, "Results", {}));
  }
  const pid_t child = startWriter(2);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  const auto all = records();
  ASSERT_EQ(all.size(), 5000u);
  EXPECT_EQ(all.front().at("Id"), "1");
  EXPECT_EQ(all.back().at("Id"), "5000");
}

TEST_F(LinuxCimTest, TenProcessesWriteWithoutLossWhileOthersAreKilled) {
  constexpr int kWriters = 10;
  constexpr std::size_t kEach = 20;
  std::vector<pid_t> children;
  std::vector<pid_t> victims;
  for (int i = 0; i < kWriters; ++i) {
    children.push_back(startWriter(kEach));
    if (i % 3 == 0) {
      victims.push_back(startWriter(100000));
    }
  }
  for (const pid_t victim : victims) {
    usleep(30000);
    kill(victim, SIGKILL);
    waitpid(victim, nullptr, 0);
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  LinuxCim cim;
  EXPECT_EQ(cim.writeRecord({"TestName"}, {"after"}, "Results", kWideSpace), CimResult::Success);
  const auto all = records();
  std::map<std::string, std::size_t> written;
  for (const auto& record : all) {
    ++written[record.at("TestName")];
  }
  for (const pid_t child : children) {
    EXPECT_EQ(written[std::to_string(child)], kEach);
  }
  // Nothing is lost and nothing is there twice, so the numbers are without a gap.
  EXPECT_EQ(all.front().at("Id"), "0");
  EXPECT_EQ(std::stoul(all.back().at("Id")) + 1, all.size());
  EXPECT_EQ(all.back().at("TestName"), "after");
}

TEST_F(LinuxCimTest, UnusableFileIsAFailureAndStaysAsItIs) {
  fs::create_directories(file_.parent_path());
  std::ofstream(file_) << std::string(5000, 'x');
  LinuxCim cim;
  EXPECT_EQ(cim.writeRecord({}, {}, "Results", L"ROOT"), CimResult::ConnectFailed);
  EXPECT_EQ(fs::file_size(file_), 5000u);
}

TEST_F(LinuxCimTest, DriverRowsComeFromTheKernelsTree) {
  const fs::path device = folder_ / "sys/devices/pci0/usb1/host0/target";
  fs::create_directories(device);
  fs::create_directories(folder_ / "sys/block/sda");
  fs::create_directories(folder_ / "sys/block/loop0");
  fs::create_directories(folder_ / "sys/bus/scsi/drivers/sd/module");
  fs::create_directories(folder_ / "proc/sys/kernel");
  fs::create_directory_symlink(device, folder_ / "sys/block/sda/device");
  fs::create_directory_symlink(folder_ / "sys/bus/scsi/drivers/sd", device / "driver");
  std::ofstream(device / "model") << "A model cut at 16\n";
  std::ofstream(folder_ / "proc/sys/kernel/osrelease") << "6.1.0\n";
  auto rows = diskDriverRows(folder_);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]["FriendlyName"], "A model cut at 16");
  EXPECT_EQ(rows[0]["DriverVersion"], "6.1.0");
  EXPECT_EQ(rows[0]["CompatID"], "USBSTOR\\Disk");

  std::string page(572, '\0');
  const std::string swapped = " Aolgnm dolee                            ";
  page.replace(60 + 54, 40, swapped.substr(0, 40));
  std::ofstream(device / "vpd_pg89", std::ios::binary) << page;
  std::ofstream(folder_ / "sys/bus/scsi/drivers/sd/module/version") << "2.5\n";
  rows = diskDriverRows(folder_);
  EXPECT_EQ(rows[0]["FriendlyName"], "A long model e");
  EXPECT_EQ(rows[0]["DriverVersion"], "6.1.0") << "a module that came with the kernel";
  std::ofstream(folder_ / "sys/bus/scsi/drivers/sd/module/taint") << "E\n";
  EXPECT_EQ(diskDriverRows(folder_)[0]["DriverVersion"], "6.1.0") << "one that is not signed";
  std::ofstream(folder_ / "sys/bus/scsi/drivers/sd/module/taint") << "OE\n";
  EXPECT_EQ(diskDriverRows(folder_)[0]["DriverVersion"], "2.5");
}

}  // namespace
}  // namespace ostria::storage::test
