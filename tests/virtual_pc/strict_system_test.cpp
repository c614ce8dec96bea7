// What the virtual system refuses as the real one does: requests that contradict themselves. What
// else it is strict about shows in the planted changes of mutations.txt, each of which would pass
// on a system that puts up with it.
#include <gtest/gtest.h>
#include <ntddscsi.h>
#include <windows.h>
#include <winioctl.h>

#include <cstring>
#include <functional>

#include "base/byte_order.h"
#include "tests/support/on_virtual_pc.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class StrictSystem : public storage::test::OnVirtualPc {
 protected:
  void SetUp() override {
    switchOn(R"({"format": 1, "drives": [
        {"name": "a", "kind": "sata", "model": "HDD", "size_sectors": 100000},
        {"name": "b", "kind": "usb_stick", "model": "STICK", "size_sectors": 10000},
        {"name": "c", "kind": "emmc", "model": "CARD", "size_sectors": 1000},
        {"name": "d", "kind": "nvme", "model": "NVM", "size_sectors": 1000}]})");
  }
  /// Error of a request to a disk whose block is as it stands; 0 when it went through.
  static DWORD send(const wchar_t* path, DWORD code, Bytes block) {
    const HANDLE disk =
        CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
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
  EXPECT_EQ(send(L"\\\\.\\PhysicalDrive2", IOCTL_SCSI_PASS_THROUGH, blockOf(scsi, 32 + 512)),
            DWORD{ERROR_INVALID_FUNCTION})
      << "no SCSI on the bus of a card";
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

}  // namespace
}  // namespace ostria::virtual_pc::test
