// The simulated system calls: handles, files, controls and their error numbers.
#include <cfgmgr32.h>
#include <gtest/gtest.h>
#include <setupapi.h>
#include <sys/stat.h>
#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tests/support/aligned_bytes.h"
#include "tests/support/drive_bench.h"
#include "tests/support/on_virtual_pc.h"
#include "tests/support/system_error.h"
#include "tests/support/temporary_folder.h"
#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class SystemCalls : public storage::test::OnVirtualPc {
 protected:
  void SetUp() override {
    switchOn(R"({"format": 1,
      "drives": [
        {"name": "a", "kind": "sata", "model": "HDD", "serial": "S1", "size_sectors": 100000,
         "bad_sectors": [{"lba": 100, "kind": "hang"}, {"lba": 200}],
         "layout": {"style": "mbr", "partitions": [
           {"start_sector": 2048, "sectors": 40960}, {"number": 2, "start_sector": 50000, "sectors": 8}]}},
        {"name": "b", "kind": "usb_stick", "vendor": "V", "model": "STICK", "removable": true,
         "size_sectors": 1000}],
      "volumes": [
        {"letter": "C", "drive": "a", "label": "System", "serial": 255, "free_bytes": 10485760,
         "files": [{"path": "\\Windows\\win.ini", "text": "hello"}, {"path": "\\Temp", "directory": true}]}]})");
  }
  static HANDLE open(const wchar_t* path, DWORD flags = 0,
                     DWORD access = GENERIC_READ | GENERIC_WRITE) {
    return CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       flags, nullptr);
  }
};

// The file that the environment names is anybody's: its words go to a terminal, and it may be a
// pipe.
TEST_F(SystemCalls, WhatIsWrongWithAMachineFileIsSaidInPlainLetters) {
  const storage::test::TemporaryFolder folder;
  const std::string broken = folder.file("a\x1B[31mb\xC2\x9B");
  const std::string pipe = folder.file("pipe");
  const std::string huge = folder.file("huge");
  std::ofstream(broken) << "{\"\x1B]0;x\x07\": 1}";
  std::ofstream(huge)
      << R"({"format": 1, "drives": [{"kind": "sata", "model": "M", "size_sectors": 9}]})"
      << std::string(std::size_t{16} << 20, ' ');
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {broken, pipe, huge}) {
    ASSERT_EQ(::setenv("OSTRIA_VIRTUAL_PC", path.c_str(), 1), 0);
    resetMachine();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(machine().disks().empty()) << path;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_GT(said.size(), 1u) << path;
    EXPECT_TRUE(std::all_of(said.begin(), said.end() - 1, [](char c) {
      return c >= ' ' && c < 0x7F;
    })) << said;
  }
  ::unsetenv("OSTRIA_VIRTUAL_PC");
}

TEST_F(SystemCalls, RequestsInFlightEndInVirtualTimeOrAreCancelled) {
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0", FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING);
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  OVERLAPPED overlapped{};
  overlapped.hEvent = event;
  AlignedBytes buffer(512, 0xEE);
  DWORD got = 0;
  overlapped.Offset = 300 * 512;
  expectFails(ReadFile(disk, buffer.data(), 512, nullptr, &overlapped), ERROR_IO_PENDING);
  EXPECT_EQ(buffer, AlignedBytes(512, 0xEE)) << "nothing arrives before its time";
  expectFails(GetOverlappedResult(disk, &overlapped, &got, FALSE), ERROR_IO_INCOMPLETE);
  EXPECT_EQ(WaitForSingleObject(event, 30000), WAIT_OBJECT_0);
  EXPECT_TRUE(GetOverlappedResult(disk, &overlapped, &got, FALSE));
  EXPECT_EQ(got, 512u);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.end()), unwritten(300));

  overlapped.Offset = 100 * 512;
  buffer.assign(512, 0xEE);
  ReadFile(disk, buffer.data(), 512, nullptr, &overlapped);
  const std::uint64_t before = machine().clock().now();
  EXPECT_EQ(WaitForSingleObject(event, 30000), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(machine().clock().now() - before, 30 * kMicrosecondsPerSecond);
  EXPECT_TRUE(CancelIo(disk));
  expectFails(GetOverlappedResult(disk, &overlapped, &got, FALSE), ERROR_IO_INCOMPLETE,
              "the driver has it still");
  expectFails(GetOverlappedResult(disk, &overlapped, &got, TRUE), ERROR_OPERATION_ABORTED);
  Sleep(120000);
  EXPECT_EQ(buffer, AlignedBytes(512, 0xEE)) << "a cancelled request never writes";

  overlapped.Offset = 200 * 512;
  ReadFile(disk, buffer.data(), 512, nullptr, &overlapped);
  expectFails(GetOverlappedResult(disk, &overlapped, &got, TRUE), ERROR_CRC);
  overlapped.Offset = 100;
  expectFails(ReadFile(disk, buffer.data(), 512, nullptr, &overlapped), ERROR_INVALID_PARAMETER);
  CloseHandle(event);
  CloseHandle(disk);
}

TEST_F(SystemCalls, PlannedFaultsEndAReadWhenTheirTimeHasPassed) {
  constexpr DWORD kLater = ERROR_IO_PENDING;
  const struct {
    const char* kind;
    const char* fault;
    DWORD call;
    DWORD request;
    DWORD bytes;
  } rows[] = {
      {"sas", R"({"action": "device_error", "codes": [3, 17]})", kLater, ERROR_CRC, 0},
      {"sas", R"({"action": "device_error", "codes": [3, 17], "milliseconds": 0})", ERROR_CRC, 0,
       0},
      {"sas", R"({"action": "scsi_status", "status": 24})", kLater, ERROR_BUSY, 0},
      {"sas", R"({"action": "scsi_status", "status": 2})", kLater, ERROR_IO_DEVICE, 0},
      {"sas", R"({"action": "device_error", "codes": [6, 41]})", kLater, 0, 512},
      {"sas", R"({"action": "device_error", "codes": [6, 41], "times": 2})", kLater,
       ERROR_IO_DEVICE, 0},
      {"sas", R"({"action": "short", "bytes": 0})", kLater, 0, 0},
      {"sata", R"({"action": "transport", "error": 31})", kLater, 31, 0},
      {"sata", R"({"action": "transport", "error": 31, "milliseconds": 0})", 31, 0, 0},
      {"sata", R"({"action": "device_error", "codes": [0, 112]})", kLater, ERROR_IO_DEVICE, 0},
      {"nvme", R"({"action": "device_error", "codes": [2, 129]})", kLater, ERROR_CRC, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.kind) + row.fault);
    switchOn(
        std::string(R"({"format": 1, "drives": [{"model": "M", "size_sectors": 1000, "kind": ")") +
        row.kind + R"(", "faults": [)" + row.fault + "]}]}");
    const HANDLE disk = open(L"\\\\.\\PhysicalDrive0", FILE_FLAG_OVERLAPPED);
    OVERLAPPED overlapped{};
    std::uint8_t sector[512];
    DWORD bytes = 0;
    expectFails(ReadFile(disk, sector, sizeof sector, nullptr, &overlapped), row.call);
    if (row.call == kLater) {
      const BOOL read = GetOverlappedResult(disk, &overlapped, &bytes, TRUE);
      EXPECT_EQ(read != FALSE ? 0 : GetLastError(), row.request);
    }
    EXPECT_EQ(bytes, row.bytes);
    CloseHandle(disk);
  }
}

TEST_F(SystemCalls, SweepFaultsHitTheirCallAndDevicesGoAway) {
  PlatformFaults& faults = machine().faults();
  faults.reset();
  faults.failCall(2, ERROR_GEN_FAILURE);
  faults.goneFrom(4);
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0");
  STORAGE_DEVICE_NUMBER number;
  DWORD got = 0;
  const auto ask = [&] {
    return DeviceIoControl(disk, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number,
                           sizeof number, &got, nullptr);
  };
  expectFails(ask(), ERROR_GEN_FAILURE);
  EXPECT_TRUE(ask());
  expectFails(ask(), ERROR_DEVICE_NOT_CONNECTED);
  CloseHandle(disk);
  EXPECT_EQ(open(L"\\\\.\\PhysicalDrive0"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(faults.calls(), 5u);
}

TEST(VirtualText, ConvertsBothWaysAndRefusesWhatIsNone) {
  std::wstring wideText;
  EXPECT_TRUE(toWide("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", &wideText, true));
  EXPECT_EQ(wideText, L"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(utf8(wideText), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  for (const char* bad : {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xFF", "\xF4\x90\x80\x80", "\x80"}) {
    EXPECT_FALSE(toWide(bad, &wideText, true)) << bad;
  }
  EXPECT_TRUE(matchesPattern("File.TXT", "f*.t?t"));
  EXPECT_FALSE(matchesPattern("file", "f*.t"));
}

}  // namespace
}  // namespace ostria::virtual_pc::test
