// The simulated system calls: handles, files, controls and their error numbers.
#include <cfgmgr32.h>
#include <gtest/gtest.h>
#include <ntddscsi.h>
#include <setupapi.h>
#include <sys/stat.h>
#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tests/support/aligned_bytes.h"
#include "tests/support/drive_bench.h"
#include "tests/support/temporary_folder.h"
#include "virtual_pc/system/kernel.h"
#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class SystemCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    install(R"({"format": 1,
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
  void TearDown() override {
    EXPECT_EQ(openHandles(), 0u);
    resetMachine();
  }
  static void install(const char* text) {
    std::string error;
    ASSERT_TRUE(installMachine(text, &error)) << error;
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
  EXPECT_FALSE(ReadFile(disk, buffer.data(), 512, nullptr, &overlapped));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_PENDING});
  EXPECT_EQ(buffer, AlignedBytes(512, 0xEE)) << "nothing arrives before its time";
  EXPECT_FALSE(GetOverlappedResult(disk, &overlapped, &got, FALSE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_INCOMPLETE});
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
  EXPECT_FALSE(GetOverlappedResult(disk, &overlapped, &got, FALSE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_INCOMPLETE}) << "the driver has it still";
  EXPECT_FALSE(GetOverlappedResult(disk, &overlapped, &got, TRUE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_OPERATION_ABORTED});
  Sleep(120000);
  EXPECT_EQ(buffer, AlignedBytes(512, 0xEE)) << "a cancelled request never writes";

  overlapped.Offset = 200 * 512;
  ReadFile(disk, buffer.data(), 512, nullptr, &overlapped);
  EXPECT_FALSE(GetOverlappedResult(disk, &overlapped, &got, TRUE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_CRC});
  overlapped.Offset = 100;
  EXPECT_FALSE(ReadFile(disk, buffer.data(), 512, nullptr, &overlapped));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  CloseHandle(event);
  CloseHandle(disk);
}

TEST_F(SystemCalls, MountedVolumeGuardsItsSectors) {
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0");
  const HANDLE volume = open(L"\\\\.\\C:");
  const Bytes data(512, 1);
  DWORD got = 0;
  LARGE_INTEGER at{};
  at.QuadPart = 2050 * 512;
  const auto writes = [&] {
    SetFilePointerEx(disk, at, nullptr, FILE_BEGIN);
    return WriteFile(disk, data.data(), 512, &got, nullptr);
  };
  EXPECT_FALSE(writes());
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  const HANDLE file = open(L"C:\\Windows\\win.ini");
  EXPECT_FALSE(DeviceIoControl(volume, FSCTL_LOCK_VOLUME, nullptr, 0, nullptr, 0, &got, nullptr))
      << "a file is open";
  CloseHandle(file);
  ASSERT_TRUE(DeviceIoControl(volume, FSCTL_LOCK_VOLUME, nullptr, 0, nullptr, 0, &got, nullptr));
  EXPECT_TRUE(
      DeviceIoControl(volume, FSCTL_DISMOUNT_VOLUME, nullptr, 0, nullptr, 0, &got, nullptr));
  EXPECT_EQ(open(L"C:\\Windows\\win.ini"), INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writes());
  CloseHandle(volume);
  EXPECT_FALSE(writes()) << "closing gives the lock back";
  CloseHandle(disk);
}

TEST_F(SystemCalls, FilesLieInTheSectorsOfTheDrive) {
  DWORD got = 0;
  ULARGE_INTEGER before, after;
  GetDiskFreeSpaceExW(L"C:\\", nullptr, nullptr, &before);
  const HANDLE file =
      CreateFileW(L"C:\\Temp\\scratch.bin", GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                  FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(open(L"C:\\Temp\\scratch.bin"), INVALID_HANDLE_VALUE) << "not shared";
  LARGE_INTEGER place{};
  place.QuadPart = 3 << 20;
  EXPECT_TRUE(SetFilePointerEx(file, place, nullptr, FILE_BEGIN));
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_TRUE(DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr));
  place.QuadPart = 1 << 20;
  const AlignedBytes data(1 << 20, 0x77);
  SetFilePointerEx(file, place, nullptr, FILE_BEGIN);
  EXPECT_TRUE(WriteFile(file, data.data(), 1 << 20, &got, nullptr));
  EXPECT_GE(machine().drive("a")->medium->store().storedSectors(), 2048u);
  GetDiskFreeSpaceExW(L"C:\\", nullptr, nullptr, &after);
  EXPECT_EQ(before.QuadPart - after.QuadPart, 1u << 20) << "a sparse file takes what is written";
  place.QuadPart = (1 << 20) - 4096;
  SetFilePointerEx(file, place, nullptr, FILE_BEGIN);
  AlignedBytes back(8192);
  EXPECT_TRUE(ReadFile(file, back.data(), 8192, &got, nullptr));
  EXPECT_EQ(Bytes(back.begin(), back.begin() + 4096), Bytes(4096, 0));
  EXPECT_EQ(Bytes(back.begin() + 4096, back.end()), Bytes(4096, 0x77));
  place.QuadPart = 20 << 20;
  SetFilePointerEx(file, place, nullptr, FILE_BEGIN);
  EXPECT_FALSE(SetEndOfFile(file));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
  CloseHandle(file);
  EXPECT_EQ(GetFileAttributesW(L"C:\\Temp\\scratch.bin"), INVALID_FILE_ATTRIBUTES);
  GetDiskFreeSpaceExW(L"C:\\", nullptr, nullptr, &after);
  EXPECT_EQ(before.QuadPart, after.QuadPart);
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
  EXPECT_FALSE(ask());
  EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
  EXPECT_TRUE(ask());
  EXPECT_FALSE(ask());
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DEVICE_NOT_CONNECTED});
  CloseHandle(disk);
  EXPECT_EQ(open(L"\\\\.\\PhysicalDrive0"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(faults.calls(), 5u);
}

TEST_F(SystemCalls, WithoutRightsDevicesStayShut) {
  install(R"({"format": 1, "administrator": false, "drives": [
      {"kind": "sata", "model": "HDD", "size_sectors": 1000}]})");
  EXPECT_EQ(open(L"\\\\.\\PhysicalDrive0"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0", 0, 0);
  ASSERT_NE(disk, INVALID_HANDLE_VALUE);
  SCSI_PASS_THROUGH header{};
  DWORD got = 0;
  EXPECT_FALSE(DeviceIoControl(disk, IOCTL_SCSI_PASS_THROUGH, &header, sizeof header, &header,
                               sizeof header, &got, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  CloseHandle(disk);
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
