// What the virtual system refuses as the real one does: requests that contradict themselves,
// handles and files used in a way that they do not allow, and programs that are careless with the
// process.
#include <devguid.h>
#include <gtest/gtest.h>
#include <ntddscsi.h>
#include <setupapi.h>
#include <windows.h>
#include <winioctl.h>
// Needs the types of the headers above.
#include <wbemidl.h>

#include <cstring>
#include <functional>

#include "base/byte_order.h"
#include "tests/support/aligned_bytes.h"
#include "virtual_pc/system/code_pages.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;

class StrictSystem : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(installMachine(R"({"format": 1, "driver_service": {},
      "controllers": [{"name": "raid", "csmi": {}, "hardware_id": "PCI\\VEN_8086&DEV_2822&CC_0104",
                       "friendly_name": false}],
      "drives": [
        {"name": "a", "kind": "sata", "model": "HDD", "size_sectors": 100000,
         "layout": {"style": "mbr", "partitions": [{"start_sector": 2048, "sectors": 40960}]}},
        {"name": "b", "kind": "usb_stick", "model": "STICK", "size_sectors": 10000,
         "layout": {"style": "mbr", "partitions": [{"start_sector": 2048, "sectors": 4096}]}},
        {"name": "c", "kind": "emmc", "model": "CARD", "size_sectors": 1000},
        {"name": "d", "kind": "nvme", "model": "NVM", "size_sectors": 1000},
        {"name": "e", "kind": "sata", "model": "MEMBER", "size_sectors": 1000,
         "controller": "raid"},
        {"name": "f", "kind": "sd", "model": "CARD", "size_sectors": 1000}],
      "volumes": [
        {"letter": "C", "drive": "a", "free_bytes": 10485760,
         "files": [{"path": "\\Temp", "directory": true}],
         "checker": {"exit_code": 1, "output": [{"text": "Größe"}]}},
        {"letter": "D", "drive": "a", "further_parts": [{"drive": "b"}]}]})",
                               &error))
        << error;
  }
  void TearDown() override {
    EXPECT_EQ(openHandles(), 0u);
    resetMachine();
  }
  static HANDLE open(const wchar_t* path, DWORD flags = 0, DWORD access = kReadWrite,
                     DWORD share = kShared, DWORD disposition = OPEN_EXISTING) {
    return CreateFileW(path, access, share, nullptr, disposition, flags, nullptr);
  }
  /// Error of a request to a disk whose block is as it stands; 0 when it went through.
  static DWORD send(const wchar_t* path, DWORD code, Bytes block) {
    const HANDLE disk = open(path);
    DWORD got = 0;
    const auto bytes = static_cast<DWORD>(block.size());
    const BOOL done =
        DeviceIoControl(disk, code, block.data(), bytes, block.data(), bytes, &got, nullptr);
    const DWORD error = done != FALSE ? 0 : GetLastError();
    CloseHandle(disk);
    return error;
  }
};

template <typename Header>
Bytes blockOf(const Header& header, std::size_t behind) {
  Bytes block(sizeof header + behind);
  std::memcpy(block.data(), &header, sizeof header);
  return block;
}

template <typename Header>
struct Change {
  const char* what;
  std::function<void(Header&)> change;
  DWORD error;
};

/// Sends a right request with one thing of it changed at a time.
template <typename Header>
void expectErrors(const Header& right, const std::function<DWORD(const Bytes&)>& send,
                  std::size_t behind, const std::vector<Change<Header>>& changes) {
  for (const Change<Header>& c : changes) {
    Header header = right;
    c.change(header);
    EXPECT_EQ(send(blockOf(header, behind)), c.error) << c.what;
  }
}

TEST_F(StrictSystem, PassThroughRequestsThatContradictThemselves) {
  SCSI_PASS_THROUGH scsi{};
  scsi.Length = sizeof scsi;
  scsi.CdbLength = 10;
  scsi.SenseInfoLength = 32;
  scsi.DataIn = SCSI_IOCTL_DATA_IN;
  scsi.DataTransferLength = 512;
  scsi.TimeOutValue = 5;
  scsi.SenseInfoOffset = sizeof scsi;
  scsi.DataBufferOffset = sizeof scsi + 32;
  scsi.Cdb[0] = 0x28;
  scsi.Cdb[8] = 1;
  const auto disk = L"\\\\.\\PhysicalDrive0";
  expectErrors(
      scsi, [&](const Bytes& block) { return send(disk, IOCTL_SCSI_PASS_THROUGH, block); },
      32 + 512,
      {{"right", [](auto&) {}, 0},
       {"no time", [](auto& h) { h.TimeOutValue = 0; }, ERROR_INVALID_PARAMETER},
       {"sense over the header", [](auto& h) { h.SenseInfoOffset = 8; }, ERROR_INVALID_PARAMETER},
       {"sense over the data", [](auto& h) { h.SenseInfoOffset += 16; }, ERROR_INVALID_PARAMETER},
       {"data over the header", [](auto& h) { h.DataBufferOffset = 8; }, ERROR_INVALID_PARAMETER},
       {"direction", [](auto& h) { h.DataIn = SCSI_IOCTL_DATA_OUT; }, ERROR_IO_DEVICE}});
  for (const wchar_t* card : {L"\\\\.\\PhysicalDrive2", L"\\\\.\\PhysicalDrive4"}) {
    EXPECT_EQ(send(card, IOCTL_SCSI_PASS_THROUGH, blockOf(scsi, 32 + 512)),
              DWORD{ERROR_INVALID_FUNCTION})
        << "no SCSI on the bus of a card";
  }
  scsi.DataTransferLength = (1 << 20) + 512;
  EXPECT_EQ(send(L"\\\\.\\PhysicalDrive0", IOCTL_SCSI_PASS_THROUGH,
                 blockOf(scsi, 32 + scsi.DataTransferLength)),
            DWORD{ERROR_INVALID_PARAMETER})
      << "above the limit of the adapter";

  ATA_PASS_THROUGH_EX ata{};
  ata.Length = sizeof ata;
  ata.AtaFlags = ATA_FLAGS_DATA_IN | ATA_FLAGS_48BIT_COMMAND;
  ata.DataTransferLength = 512;
  ata.TimeOutValue = 5;
  ata.DataBufferOffset = sizeof ata;
  const UCHAR read[8] = {0, 1, 5, 0, 0, 0x40, 0x24, 0};
  std::memcpy(ata.CurrentTaskFile, read, 8);
  expectErrors(
      ata, [&](const Bytes& block) { return send(disk, IOCTL_ATA_PASS_THROUGH, block); }, 512,
      {{"right", [](auto&) {}, 0},
       {"no time", [](auto& h) { h.TimeOutValue = 0; }, ERROR_INVALID_PARAMETER},
       {"48 bits unsaid", [](auto& h) { h.AtaFlags = ATA_FLAGS_DATA_IN; }, ERROR_INVALID_PARAMETER},
       {"DMA unsaid", [](auto& h) { h.CurrentTaskFile[6] = 0x25; }, ERROR_INVALID_PARAMETER},
       {"data over the header", [](auto& h) { h.DataBufferOffset = 0; }, ERROR_INVALID_PARAMETER},
       {"a write as a read", [](auto& h) { h.CurrentTaskFile[6] = 0x34; }, ERROR_IO_DEVICE}});
}

TEST_F(StrictSystem, StorageQueriesOfTheWrongKindOrLength) {
  const auto query = [](std::uint32_t property, std::uint32_t type, std::size_t bytes) {
    Bytes block(48 + bytes);
    const std::uint32_t fields[] = {
        property, 0, 3, type, type == 1 ? 1u : 2u, 0, 40, static_cast<std::uint32_t>(bytes)};
    for (std::size_t i = 0; i < std::size(fields); ++i) {
      storage::storeLe32(&block[4 * i], fields[i]);
    }
    return block;
  };
  const wchar_t* nvme = L"\\\\.\\PhysicalDrive3";
  EXPECT_EQ(send(nvme, IOCTL_STORAGE_QUERY_PROPERTY, query(49, 1, 4096)), 0u);
  EXPECT_EQ(send(nvme, IOCTL_STORAGE_QUERY_PROPERTY, query(50, 2, 512)), 0u);
  for (const Bytes& block : {query(50, 1, 4096), query(49, 2, 512)}) {
    EXPECT_EQ(send(nvme, IOCTL_STORAGE_QUERY_PROPERTY, block), DWORD{ERROR_INVALID_PARAMETER});
  }
  EXPECT_NE(send(nvme, IOCTL_STORAGE_QUERY_PROPERTY, query(49, 1, 512)), 0u) << "half a page";
  EXPECT_EQ(send(nvme, IOCTL_STORAGE_QUERY_PROPERTY, Bytes(8)), DWORD{ERROR_BAD_LENGTH});

  Bytes command(144 + 64);
  storage::storeLe32(&command[0], 1);
  storage::storeLe32(&command[4], 84);
  storage::storeLe32(&command[8], 3);
  storage::storeLe32(&command[24], 64);
  storage::storeLe32(&command[40], 30);
  storage::storeLe32(&command[56], 1);
  command[80] = 0x14;
  command[80 + 40] = 1;
  EXPECT_EQ(send(nvme, IOCTL_STORAGE_PROTOCOL_COMMAND, command), DWORD{ERROR_INVALID_PARAMETER})
      << "an admin command is a request to the adapter";
  storage::storeLe32(&command[12], 0x80000000);
  EXPECT_EQ(send(nvme, IOCTL_STORAGE_PROTOCOL_COMMAND, command), 0u);
}

TEST_F(StrictSystem, ReadsAcrossTheEndAreRefused) {
  const HANDLE disk = open(L"\\\\.\\PhysicalDrive0");
  LARGE_INTEGER at{};
  at.QuadPart = 99999 * 512;
  Bytes two(1024);
  DWORD got = 0;
  SetFilePointerEx(disk, at, nullptr, FILE_BEGIN);
  EXPECT_FALSE(ReadFile(disk, two.data(), 1024, &got, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SECTOR_NOT_FOUND});
  EXPECT_TRUE(ReadFile(disk, two.data(), 512, &got, nullptr));
  CloseHandle(disk);
}

TEST_F(StrictSystem, OpeningsShareOnlyWhatTheyAllow) {
  const struct {
    DWORD heldAccess, heldShare, access, share;
    bool opens;
  } cases[] = {
      {kReadWrite, 0, GENERIC_READ, kShared, false},
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, true},
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShared, false},
      {GENERIC_WRITE, kShared, GENERIC_READ, FILE_SHARE_READ, false},
      {kReadWrite, 0, 0, 0, true},
  };
  for (const auto& c : cases) {
    const HANDLE held = open(L"C:\\Temp\\f", 0, c.heldAccess, c.heldShare, OPEN_ALWAYS);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const HANDLE second = open(L"C:\\Temp\\f", 0, c.access, c.share);
    EXPECT_EQ(second != INVALID_HANDLE_VALUE, c.opens) << c.heldAccess << " " << c.heldShare;
    if (second != INVALID_HANDLE_VALUE) {
      CloseHandle(second);
    } else {
      EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    }
    CloseHandle(held);
  }
  EXPECT_EQ(open(L"\\\\.\\PhysicalDrive0", 0, kReadWrite, FILE_SHARE_READ), INVALID_HANDLE_VALUE)
      << "a file system is mounted on it";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(StrictSystem, UnbufferedFilesWantAlignmentAndPrivilegesWantToBeHeld) {
  const HANDLE file = open(L"C:\\Temp\\u", FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE,
                           kReadWrite, 0, CREATE_ALWAYS);
  AlignedBytes memory(1024);
  DWORD got = 0;
  EXPECT_FALSE(WriteFile(file, memory.data() + 8, 512, &got, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  LARGE_INTEGER at{};
  at.QuadPart = 7;
  EXPECT_FALSE(SetFilePointerEx(file, at, nullptr, FILE_BEGIN));
  at.QuadPart = 1 << 20;
  EXPECT_TRUE(SetFilePointerEx(file, at, nullptr, FILE_BEGIN));
  ULARGE_INTEGER before, after;
  GetDiskFreeSpaceExW(L"C:\\Temp", nullptr, nullptr, &before);
  EXPECT_TRUE(SetEndOfFile(file));
  GetDiskFreeSpaceExW(L"C:\\Temp", nullptr, nullptr, &after);
  EXPECT_EQ(before.QuadPart - after.QuadPart, 1u << 20) << "a plain file takes its whole size";

  // The valid data of a file may grow for who has the privilege, and not on a sparse file.
  EXPECT_FALSE(SetFileValidData(file, 4096));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_PRIVILEGE_NOT_HELD});
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  EXPECT_TRUE(
      LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &wanted.Privileges[0].Luid));
  TOKEN_PRIVILEGES previous{};
  DWORD returned = 0;
  HANDLE token = nullptr;
  for (const DWORD access : {DWORD{0}, DWORD{TOKEN_ADJUST_PRIVILEGES}}) {
    OpenProcessToken(GetCurrentProcess(), access, &token);
    EXPECT_FALSE(AdjustTokenPrivileges(token, FALSE, &wanted, sizeof wanted, &previous, &returned));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    CloseHandle(token);
  }
  OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token);
  EXPECT_TRUE(AdjustTokenPrivileges(token, FALSE, &wanted, sizeof wanted, &previous, &returned));
  EXPECT_EQ(previous.PrivilegeCount, 1u);
  EXPECT_EQ(previous.Privileges[0].Attributes, 0u) << "it was off before";
  EXPECT_TRUE(SetFileValidData(file, 4096));
  const HANDLE reader = open(L"C:\\Temp\\r", 0, GENERIC_READ, kShared, CREATE_ALWAYS);
  EXPECT_FALSE(SetFileValidData(reader, 0));
  EXPECT_FALSE(DeviceIoControl(reader, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr));
  CloseHandle(reader);
  EXPECT_TRUE(DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr));
  EXPECT_FALSE(SetFileValidData(file, 4096)) << "sparse";
  GetDiskFreeSpaceExW(L"C:\\Temp", nullptr, nullptr, &after);
  EXPECT_EQ(before.QuadPart, after.QuadPart);
  EXPECT_TRUE(machine().complaints().empty());
  EXPECT_TRUE(WriteFile(file, memory.data(), 512, &got, nullptr));
  EXPECT_EQ(machine().complaints().size(), 1u) << "unbuffered, but not written through";
  machine().complaints().clear();
  EXPECT_TRUE(AdjustTokenPrivileges(token, FALSE, &previous, 0, nullptr, nullptr));
  EXPECT_FALSE(machine().process().manageVolume);
  CloseHandle(token);
  CloseHandle(file);
}

TEST_F(StrictSystem, WhatABufferedFileWroteComesFromTheCache) {
  const Bytes data(4096, 0x5A);
  Bytes back(4096);
  DWORD got = 0;
  machine().drive("a")->ata->faults().add({.times = 0, .action = GarbageFault{}});
  const HANDLE file = open(L"C:\\Temp\\c", 0, kReadWrite, kShared, CREATE_ALWAYS);
  EXPECT_TRUE(WriteFile(file, data.data(), 4096, &got, nullptr));
  EXPECT_TRUE(SetFilePointerEx(file, {}, nullptr, FILE_BEGIN));
  EXPECT_TRUE(ReadFile(file, back.data(), 4096, &got, nullptr));
  EXPECT_EQ(back, data);
  const HANDLE direct = open(L"C:\\Temp\\c", FILE_FLAG_NO_BUFFERING);
  AlignedBytes raw(4096);
  EXPECT_TRUE(ReadFile(direct, raw.data(), 4096, &got, nullptr));
  EXPECT_NE(Bytes(raw.begin(), raw.end()), data) << "the drive returns something else";
  CloseHandle(direct);
  CloseHandle(file);
}

TEST_F(StrictSystem, HandlesVolumeNamesAndLibrariesOfTheRightForm) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(L"C:\\*", &found);
  EXPECT_FALSE(CloseHandle(search));
  FindClose(search);
  const HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVINTERFACE_DISK, nullptr, nullptr,
                                            DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  EXPECT_FALSE(CloseHandle(set));
  SetupDiDestroyDeviceInfoList(set);

  for (const wchar_t* name : {L"C:", L"C:xyz", L"C:\\Temp"}) {
    EXPECT_FALSE(GetVolumeInformationW(name, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_NAME});
  }
  EXPECT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_EQ(GetDriveTypeA("C:"), DWORD{DRIVE_NO_ROOT_DIR});
  EXPECT_FALSE(GetDiskFreeSpaceExW(L"C:\\Gone", nullptr, nullptr, nullptr));

  constexpr DWORD kOwn = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
  const struct {
    const wchar_t* path;
    DWORD flags;
    bool loads;
  } libraries[] = {
      {L"C:\\Diagnostics\\OstriaDiagnosticsDriverService.dll", kOwn, true},
      {L"C:\\Diagnostics\\OstriaDiagnosticsDriverService.dll", 0, false},
      {L"C:\\Diagnostics\\OstriaDiagnosticsDriverService.dll", LOAD_LIBRARY_SEARCH_SYSTEM32, false},
      {L"C:\\Elsewhere\\OstriaDiagnosticsDriverService.dll", kOwn, false},
      {L"OstriaDiagnosticsDriverService.dll", kOwn, false},
      {L"OstriaDiagnosticsDriverService.dll", LOAD_LIBRARY_SEARCH_DEFAULT_DIRS, true},
  };
  for (const auto& c : libraries) {
    const HMODULE library = LoadLibraryExW(c.path, nullptr, c.flags);
    EXPECT_EQ(library != nullptr, c.loads) << c.flags;
    EXPECT_FALSE(CloseHandle(library));
    FreeLibrary(library);
  }
}

TEST_F(StrictSystem, DevicesAreFoundByTheRightClassAndFlags) {
  const auto count = [](const GUID& guid, DWORD flags) {
    const HDEVINFO set = SetupDiGetClassDevsW(&guid, nullptr, nullptr, flags);
    SP_DEVINFO_DATA device{};
    EXPECT_FALSE(SetupDiEnumDeviceInfo(set, 0, &device));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_USER_BUFFER}) << "cbSize";
    device.cbSize = sizeof device;
    DWORD index = 0;
    while (SetupDiEnumDeviceInfo(set, index, &device) != FALSE) {
      ++index;
    }
    SetupDiDestroyDeviceInfoList(set);
    return index;
  };
  constexpr DWORD kInterfaces = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;
  EXPECT_EQ(count(GUID_DEVINTERFACE_DISK, kInterfaces), 5u);
  EXPECT_EQ(count(GUID_DEVINTERFACE_DISK, DIGCF_PRESENT), 0u) << "that is no set-up class";
  EXPECT_EQ(count(GUID_DEVCLASS_DISKDRIVE, DIGCF_PRESENT), 5u);
  EXPECT_EQ(count(GUID_DEVCLASS_SCSIADAPTER, DIGCF_PRESENT), 2u) << "RAID and NVMe alone";
  EXPECT_EQ(count(GUID_DEVCLASS_SCSIADAPTER, 0), 3u) << "and one that was there before";
  EXPECT_EQ(count(GUID_DEVINTERFACE_STORAGEPORT, kInterfaces), 3u) << "AHCI has a port, too";
}

TEST_F(StrictSystem, AVolumeOnSeveralDisksHasNoDeviceNumber) {
  const HANDLE volume = open(L"\\\\.\\D:");
  Bytes block(sizeof(VOLUME_DISK_EXTENTS));
  DWORD got = 0;
  EXPECT_FALSE(DeviceIoControl(volume, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, block.data(),
                               12, &got, nullptr));
  EXPECT_FALSE(DeviceIoControl(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0,
                               block.data(), static_cast<DWORD>(block.size()), &got, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MORE_DATA});
  EXPECT_EQ(storage::loadLe32(block.data()), 2u);
  block.resize(8 + 2 * sizeof(DISK_EXTENT));
  EXPECT_TRUE(DeviceIoControl(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0,
                              block.data(), static_cast<DWORD>(block.size()), &got, nullptr));
  EXPECT_EQ(storage::loadLe32(&block[8 + sizeof(DISK_EXTENT)]), 1u) << "the second disk";
  CloseHandle(volume);
}

/// How the checker of C: comes out for a program that starts it in its own way.
struct CheckerRun {
  std::string output;
  DWORD exitCode = 0;
  std::size_t complaints = 0;
};

struct CheckerStart {
  bool inheritablePipe = true;
  bool inherits = true;
  bool closesWriteEnd = true;
  const wchar_t* command = L"C:\\Windows\\system32\\chkdsk.exe C: /F";
};

CheckerRun runChecker(const CheckerStart& how) {
  SECURITY_ATTRIBUTES security{};
  security.nLength = sizeof security;
  security.bInheritHandle = how.inheritablePipe ? TRUE : FALSE;
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  EXPECT_TRUE(CreatePipe(&readEnd, &writeEnd, &security, 0));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  PROCESS_INFORMATION process{};
  std::wstring command = how.command;
  EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, how.inherits ? TRUE : FALSE,
                             0, nullptr, nullptr, &startup, &process));
  if (how.closesWriteEnd) {
    CloseHandle(writeEnd);
  }
  CheckerRun run;
  char byte = 0;
  DWORD got = 0;
  while (ReadFile(readEnd, &byte, 1, &got, nullptr) != FALSE && got == 1) {
    run.output += byte;
  }
  GetExitCodeProcess(process.hProcess, &run.exitCode);
  if (!how.closesWriteEnd) {
    CloseHandle(writeEnd);
  }
  for (const HANDLE handle : {readEnd, process.hThread, process.hProcess}) {
    CloseHandle(handle);
  }
  run.complaints = machine().complaints().size();
  machine().complaints().clear();
  return run;
}

TEST_F(StrictSystem, ChildProcessesGetWhatIsInheritedAndPipesEndWithTheirLastWriter) {
  const std::string size = toCodePage(L"Gr\u00F6\u00DFe", kConsoleCodePage);
  const CheckerRun right = runChecker({});
  EXPECT_EQ(right.output, size) << "in the code page of the console";
  EXPECT_EQ(right.exitCode, 1u);
  EXPECT_EQ(right.complaints, 0u);
  EXPECT_EQ(runChecker({.inheritablePipe = false}).output, "");
  EXPECT_EQ(runChecker({.inherits = false}).output, "");
  EXPECT_EQ(runChecker({.closesWriteEnd = false}).complaints, 1u) << "a real reader waits for ever";
  EXPECT_EQ(runChecker({.command = L"C:\\Windows\\system32\\chkdsk.exe C:"}).exitCode, 3u)
      << "without /F nothing is repaired";
  STARTUPINFOW unsized{};
  PROCESS_INFORMATION process{};
  std::wstring command = CheckerStart().command;
  EXPECT_FALSE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &unsized, &process));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  wchar_t wide[8];
  EXPECT_EQ(MultiByteToWideChar(CP_OEMCP, 0, size.data(), 5, wide, 8), 5);
  EXPECT_EQ(std::wstring(wide, 5), L"Gr\u00F6\u00DFe");
  MultiByteToWideChar(CP_ACP, 0, size.data(), 5, wide, 8);
  EXPECT_NE(std::wstring(wide, 5), L"Gr\u00F6\u00DFe") << "programs have another code page";
}

TEST_F(StrictSystem, TheWmiServiceWantsAnIdentityQuotesAndTypes) {
  ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  IWbemLocator* locator = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                             reinterpret_cast<void**>(&locator)),
            S_OK);
  IWbemServices* services = nullptr;
  const BSTR space = SysAllocString(L"ROOT\\CIMV2");
  const BSTR language = SysAllocString(L"WQL");
  ASSERT_EQ(
      locator->ConnectServer(space, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services),
      S_OK);
  const auto query = [&](const wchar_t* condition, LONG flags = 0x30) {
    const BSTR text = SysAllocString(
        (std::wstring(L"SELECT DeviceID FROM Win32_LogicalDisk") + condition).c_str());
    IEnumWbemClassObject* rows = nullptr;
    const HRESULT result = services->ExecQuery(language, text, flags, nullptr, &rows);
    if (rows != nullptr) {
      rows->Release();
    }
    SysFreeString(text);
    return static_cast<std::uint32_t>(result);
  };
  EXPECT_EQ(query(L""), WBEM_E_ACCESS_DENIED);
  CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, 0, 0, nullptr,
                    EOAC_NONE);
  EXPECT_EQ(query(L""), WBEM_E_ACCESS_DENIED);
  CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                    RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
  EXPECT_EQ(query(L""), 0u);
  EXPECT_EQ(query(L" WHERE DeviceID = 'C:'"), 0u);
  EXPECT_EQ(query(L" WHERE DeviceID = C:"), WBEM_E_INVALID_QUERY);
  EXPECT_EQ(query(L" WHERE DeviceID = 5"), WBEM_E_INVALID_QUERY) << "a text without quotes";
  EXPECT_TRUE(machine().complaints().empty());
  EXPECT_EQ(query(L"", 0), 0u);
  EXPECT_EQ(machine().complaints().size(), 1u);

  IWbemClassObject* object = nullptr;
  ASSERT_EQ(services->GetObject(nullptr, 0, nullptr, &object, nullptr), S_OK);
  VARIANT number;
  VariantInit(&number);
  number.vt = VT_I4;
  EXPECT_EQ(object->Put(L"Id", 0, nullptr, CIM_STRING), S_OK);
  EXPECT_EQ(static_cast<std::uint32_t>(object->Put(L"Id", 0, &number, 0)), WBEM_E_TYPE_MISMATCH);
  object->Release();
  services->Release();
  locator->Release();
  SysFreeString(space);
  SysFreeString(language);
  CoUninitialize();
}

}  // namespace
}  // namespace ostria::virtual_pc::test
