// The simulated system calls: handles, files, controls and their error numbers.
#include <cfgmgr32.h>
#include <gtest/gtest.h>
#include <ntddscsi.h>
#include <setupapi.h>
#include <windows.h>
#include <winioctl.h>

#include <cstring>

#include "tests/support/aligned_bytes.h"
#include "tests/support/drive_bench.h"
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

TEST_F(SystemCalls, DisksAnswerStorageQueries) {
  const HANDLE disk = open(L"\\\\.\\physicaldrive1");
  ASSERT_NE(disk, INVALID_HANDLE_VALUE);
  STORAGE_PROPERTY_QUERY query{};
  Bytes block(200);
  DWORD got = 0;
  ASSERT_TRUE(DeviceIoControl(disk, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query,
                              block.data(), 200, &got, nullptr));
  STORAGE_DEVICE_DESCRIPTOR descriptor;
  std::memcpy(&descriptor, block.data(), sizeof descriptor);
  EXPECT_EQ(descriptor.Size, got);
  EXPECT_EQ(descriptor.BusType, BusTypeUsb);
  EXPECT_EQ(descriptor.RemovableMedia, 1);
  EXPECT_STREQ(reinterpret_cast<char*>(&block[descriptor.ProductIdOffset]), "STICK");
  EXPECT_EQ(descriptor.SerialNumberOffset, 0u);
  STORAGE_DEVICE_NUMBER number{};
  ASSERT_TRUE(DeviceIoControl(disk, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number,
                              sizeof number, &got, nullptr));
  EXPECT_EQ(number.DeviceNumber, 1u);
  EXPECT_FALSE(
      DeviceIoControl(disk, SMART_GET_VERSION, nullptr, 0, block.data(), 24, &got, nullptr));
  EXPECT_TRUE(CloseHandle(disk));
  EXPECT_FALSE(CloseHandle(disk));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(SystemCalls, DriveLayoutAsksForRoom) {
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0");
  Bytes block(192);
  DWORD got = 0;
  EXPECT_FALSE(DeviceIoControl(disk, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, block.data(), 192,
                               &got, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  block.resize(48 + 2 * 144);
  ASSERT_TRUE(DeviceIoControl(disk, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, block.data(),
                              static_cast<DWORD>(block.size()), &got, nullptr));
  PARTITION_INFORMATION_EX second;
  std::memcpy(&second, &block[48 + 144], sizeof second);
  EXPECT_EQ(second.StartingOffset.QuadPart, 50000 * 512);
  EXPECT_EQ(second.PartitionNumber, 2u);
  CloseHandle(disk);
}

TEST_F(SystemCalls, PassThroughMovesRegistersSenseAndData) {
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0");
  Bytes block(sizeof(ATA_PASS_THROUGH_EX) + 512);
  ATA_PASS_THROUGH_EX ata{};
  ata.Length = sizeof ata;
  ata.AtaFlags = ATA_FLAGS_DATA_IN | ATA_FLAGS_48BIT_COMMAND;
  ata.DataTransferLength = 512;
  ata.TimeOutValue = 5;
  ata.DataBufferOffset = sizeof ata;
  const UCHAR read200[8] = {0, 1, 200, 0, 0, 0x40, 0x24, 0};
  std::memcpy(ata.CurrentTaskFile, read200, 8);
  const auto send = [&](DWORD* got) {
    std::memcpy(block.data(), &ata, sizeof ata);
    return DeviceIoControl(disk, IOCTL_ATA_PASS_THROUGH, block.data(),
                           static_cast<DWORD>(block.size()), block.data(),
                           static_cast<DWORD>(block.size()), got, nullptr);
  };
  DWORD got = 0;
  ASSERT_TRUE(send(&got));
  ATA_PASS_THROUGH_EX back;
  std::memcpy(&back, block.data(), sizeof back);
  EXPECT_EQ(back.CurrentTaskFile[0], 0x40) << "uncorrectable";
  EXPECT_EQ(back.CurrentTaskFile[6], 0x51);
  EXPECT_EQ(back.DataTransferLength, 0u);
  ata.CurrentTaskFile[2] = 201;
  ASSERT_TRUE(send(&got));
  EXPECT_EQ(Bytes(block.begin() + sizeof ata, block.end()), unwritten(201));
  // The sector that hangs ends with the time-out of the request, in virtual time.
  ata.CurrentTaskFile[2] = 100;
  const std::uint64_t before = machine().clock().now();
  EXPECT_FALSE(send(&got));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SEM_TIMEOUT});
  EXPECT_EQ(machine().clock().now() - before, 5 * kMicrosecondsPerSecond);
  // What does not fit the block is refused.
  ata.DataBufferOffset = 100;
  EXPECT_FALSE(send(&got));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});

  struct {
    SCSI_PASS_THROUGH header;
    UCHAR sense[32];
    UCHAR data[512];
  } scsi{};
  scsi.header.Length = sizeof scsi.header;
  scsi.header.CdbLength = 10;
  scsi.header.SenseInfoLength = 32;
  scsi.header.DataIn = SCSI_IOCTL_DATA_IN;
  scsi.header.DataTransferLength = 512;
  scsi.header.TimeOutValue = 5;
  scsi.header.SenseInfoOffset = 56;
  scsi.header.DataBufferOffset = 88;
  scsi.header.Cdb[0] = 0x28;
  scsi.header.Cdb[5] = 200;
  scsi.header.Cdb[8] = 1;
  ASSERT_TRUE(DeviceIoControl(disk, IOCTL_SCSI_PASS_THROUGH, &scsi, sizeof scsi, &scsi, sizeof scsi,
                              &got, nullptr));
  EXPECT_EQ(scsi.header.ScsiStatus, 2);
  EXPECT_EQ(scsi.header.SenseInfoLength, 18);
  EXPECT_EQ(scsi.sense[2], 3);
  CloseHandle(disk);
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
  wchar_t name[MAX_PATH];
  ASSERT_EQ(GetWindowsDirectoryW(name, MAX_PATH), 10u);
  HANDLE file = open(L"C:\\Windows\\WIN.INI", 0, GENERIC_READ);
  char text[16] = {};
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(file, text, sizeof text, &got, nullptr));
  EXPECT_STREQ(text, "hello");
  EXPECT_EQ(got, 5u);
  EXPECT_FALSE(WriteFile(file, text, 1, &got, nullptr)) << "opened for reading";
  CloseHandle(file);

  ULARGE_INTEGER before, after;
  GetDiskFreeSpaceExW(L"C:\\", nullptr, nullptr, &before);
  file = CreateFileW(L"C:\\Temp\\scratch.bin", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                     CREATE_ALWAYS, FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
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

  EXPECT_FALSE(RemoveDirectoryW(L"C:\\Windows"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DIR_NOT_EMPTY});
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(L"C:\\Windows\\*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  std::wstring names = found.cFileName;
  while (FindNextFileW(search, &found)) {
    names += std::wstring(L" ") + found.cFileName;
  }
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
  EXPECT_EQ(names, L". .. win.ini");
  FindClose(search);
}

TEST_F(SystemCalls, EnumeratesDisksWithTheirPorts) {
  const HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVINTERFACE_DISK, nullptr, nullptr,
                                            DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  SP_DEVICE_INTERFACE_DATA item{};
  item.cbSize = sizeof item;
  DWORD count = 0;
  for (; SetupDiEnumDeviceInterfaces(set, nullptr, &GUID_DEVINTERFACE_DISK, count, &item);
       ++count) {
    DWORD needed = 0;
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set, &item, nullptr, 0, &needed, &device));
    Bytes block(needed);
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(block.data());
    detail->cbSize = sizeof *detail;
    ASSERT_TRUE(SetupDiGetDeviceInterfaceDetailW(set, &item, detail, needed, nullptr, nullptr));
    const HANDLE disk = open(detail->DevicePath);
    EXPECT_NE(disk, INVALID_HANDLE_VALUE);
    CloseHandle(disk);
    DEVINST port = 0;
    ASSERT_EQ(CM_Get_Parent(&port, device.DevInst, 0), CR_SUCCESS);
    device.DevInst = port;
    wchar_t text[64];
    ASSERT_TRUE(SetupDiGetDeviceRegistryPropertyW(set, &device, SPDRP_LOCATION_INFORMATION, nullptr,
                                                  reinterpret_cast<PBYTE>(text), sizeof text,
                                                  nullptr));
    EXPECT_EQ(std::wstring(text).substr(0, 7), L"PCI bus");
  }
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  SetupDiDestroyDeviceInfoList(set);
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
