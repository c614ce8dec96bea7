// CDBs of SPC and SBC, big-endian. Reads set DPO and FUA and writes FUA, so that the medium answers
// and not a cache.

#include "transport/scsi/scsi_cmd.h"

#include "base/byte_order.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kDpoFua = 0x18;
constexpr std::uint8_t kFua = 0x08;
constexpr std::uint8_t kDisableBlockDescriptors = 0x08;
constexpr std::uint8_t kPageFormat = 0x10;
constexpr std::uint8_t kIecPage = 0x1C;
constexpr std::uint8_t kControlPage = 0x0A;

void begin(ScsiCmd& cmd, std::uint8_t opcode, std::uint8_t cdbLength) {
  cmd.cdb[0] = opcode;
  cmd.cdbLength = cdbLength;
}

void setDataIn(ScsiCmd& cmd, std::uint64_t bytes, void* buffer) {
  cmd.transferBytes = bytes;
  cmd.data = bytes == 0 ? nullptr : buffer;
  cmd.direction = bytes == 0 ? DataDirection::None : DataDirection::FromDevice;
}

void setDataOut(ScsiCmd& cmd, std::uint64_t bytes, void* buffer) {
  cmd.transferBytes = bytes;
  cmd.data = buffer;
  cmd.direction = DataDirection::ToDevice;
}

// READ and WRITE of one length have one CDB layout.
void setBlocks10(ScsiCmd& cmd, std::uint8_t opcode, std::uint8_t flags, std::uint64_t lba,
                 std::uint16_t sectors) {
  begin(cmd, opcode, 10);
  cmd.cdb[1] = flags;
  storeBe32(&cmd.cdb[2], static_cast<std::uint32_t>(lba));
  storeBe16(&cmd.cdb[7], sectors);
}

void setBlocks12(ScsiCmd& cmd, std::uint8_t opcode, std::uint8_t flags, std::uint64_t lba,
                 std::uint32_t sectors) {
  begin(cmd, opcode, 12);
  cmd.cdb[1] = flags;
  storeBe32(&cmd.cdb[2], static_cast<std::uint32_t>(lba));
  storeBe32(&cmd.cdb[6], sectors);
}

void setBlocks16(ScsiCmd& cmd, std::uint8_t opcode, std::uint8_t flags, std::uint64_t lba,
                 std::uint32_t sectors) {
  begin(cmd, opcode, 16);
  cmd.cdb[1] = flags;
  storeBe64(&cmd.cdb[2], lba);
  storeBe32(&cmd.cdb[10], sectors);
}

void beginModeSense6(ScsiCmd& cmd, std::uint8_t page, void* buffer, std::uint8_t length) {
  begin(cmd, scsi::ModeSense6, 6);
  cmd.cdb[1] = kDisableBlockDescriptors;
  cmd.cdb[2] = page;
  cmd.cdb[4] = length;
  setDataIn(cmd, length, buffer);
}

void beginModeSense10(ScsiCmd& cmd, std::uint8_t page, void* buffer, std::uint16_t length) {
  begin(cmd, scsi::ModeSense10, 10);
  cmd.cdb[1] = kDisableBlockDescriptors;
  cmd.cdb[2] = page;
  storeBe16(&cmd.cdb[7], length);
  setDataIn(cmd, length, buffer);
}

void setLogSense(ScsiCmd& cmd, std::uint8_t page, void* buffer, std::uint16_t length) {
  constexpr std::uint8_t kCumulative = 0x40;
  begin(cmd, scsi::LogSense, 10);
  cmd.cdb[2] = static_cast<std::uint8_t>(kCumulative | page);
  storeBe16(&cmd.cdb[7], length);
  setDataIn(cmd, length, buffer);
}

// The page goes back as saveable as the drive declared it: the PS bit of the page is the SP bit.
std::uint8_t modeSelectFlags(std::uint8_t pageByte) {
  return static_cast<std::uint8_t>(kPageFormat | (pageByte >> 7));
}

void makeBlank(ScsiCmd& cmd) { cmd = ScsiCmd(); }

}  // namespace

Inquiry::Inquiry(void* buffer, std::uint16_t length, bool vitalData, std::uint8_t page) {
  begin(*this, scsi::Inquiry, 6);
  if (vitalData) {
    cdb[1] = 1;
    cdb[2] = page;
  }
  storeBe16(&cdb[3], length);
  setDataIn(*this, length, buffer);
}

ReadCapacity10::ReadCapacity10(void* buffer) {
  begin(*this, scsi::ReadCapacity10, 10);
  setDataIn(*this, 8, buffer);
}

ReadCapacity16::ReadCapacity16(void* buffer) {
  begin(*this, scsi::ServiceActionIn16, 16);
  cdb[1] = 0x10;
  cdb[13] = 32;
  setDataIn(*this, 32, buffer);
}

SendDiagnostic::SendDiagnostic(std::uint8_t code, std::uint8_t /*ignored*/) {
  constexpr std::uint8_t kSelfTest = 0x04;
  begin(*this, scsi::SendDiagnostic, 6);
  cdb[1] = code == 0 ? kSelfTest : static_cast<std::uint8_t>(code << 5);
}

ModeSense6IECPage::ModeSense6IECPage(void* buffer, std::uint8_t length) {
  beginModeSense6(*this, kIecPage, buffer, length);
}

ModeSense10IECPage::ModeSense10IECPage(void* buffer, std::uint16_t length) {
  beginModeSense10(*this, kIecPage, buffer, length);
}

ModeSense6ControlPage::ModeSense6ControlPage(void* buffer, std::uint8_t length) {
  beginModeSense6(*this, kControlPage, buffer, length);
}

ModeSense10ControlPage::ModeSense10ControlPage(void* buffer, std::uint16_t length) {
  beginModeSense10(*this, kControlPage, buffer, length);
}

ModeSelect6IecPage::ModeSelect6IecPage(std::uint8_t* modeData) {
  begin(*this, scsi::ModeSelect6, 6);
  cdb[1] = modeSelectFlags(modeData[4]);
  cdb[4] = 16;
  setDataOut(*this, 16, modeData);
}

ModeSelect10IecPage::ModeSelect10IecPage(std::uint8_t* modeData) {
  begin(*this, scsi::ModeSelect10, 10);
  cdb[1] = modeSelectFlags(modeData[8]);
  storeBe16(&cdb[7], 20);
  setDataOut(*this, 20, modeData);
}

LogSenseIECPage::LogSenseIECPage(void* buffer, std::uint16_t length) {
  setLogSense(*this, 0x2F, buffer, length);
}

LogSenseSelfTestPage::LogSenseSelfTestPage(void* buffer, std::uint16_t length) {
  setLogSense(*this, 0x10, buffer, length);
}

LogSenseTemperaturePage::LogSenseTemperaturePage(void* buffer, std::uint16_t length) {
  setLogSense(*this, 0x0D, buffer, length);
}

RequestSense::RequestSense(void* buffer, std::uint8_t length) {
  begin(*this, scsi::RequestSense, 6);
  cdb[4] = length;
  setDataIn(*this, length, buffer);
}

Read10::Read10(void* buffer, std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize) {
  Read10::Fill(buffer, lba, sectors, sectorSize);
}

void Read10::Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
                  std::uint32_t sectorSize) {
  const auto count = static_cast<std::uint16_t>(sectors);
  makeBlank(*this);
  setBlocks10(*this, scsi::Read10, kDpoFua, lba, count);
  setDataIn(*this, std::uint64_t{count} * sectorSize, buffer);
}

Read12::Read12(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize) {
  Read12::Fill(buffer, lba, sectors, sectorSize);
}

void Read12::Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
                  std::uint32_t sectorSize) {
  makeBlank(*this);
  setBlocks12(*this, scsi::Read12, kDpoFua, lba, sectors);
  setDataIn(*this, std::uint64_t{sectors} * sectorSize, buffer);
}

Read16::Read16(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize) {
  Read16::Fill(buffer, lba, sectors, sectorSize);
}

void Read16::Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
                  std::uint32_t sectorSize) {
  makeBlank(*this);
  setBlocks16(*this, scsi::Read16, kDpoFua, lba, sectors);
  setDataIn(*this, std::uint64_t{sectors} * sectorSize, buffer);
}

Write10::Write10(void* buffer, std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize) {
  setBlocks10(*this, scsi::Write10, kFua, lba, sectors);
  setDataOut(*this, std::uint64_t{sectors} * sectorSize, buffer);
  timeoutSeconds = 180;
}

Write12::Write12(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize) {
  setBlocks12(*this, scsi::Write12, kFua, lba, sectors);
  setDataOut(*this, std::uint64_t{sectors} * sectorSize, buffer);
}

Write16::Write16(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize) {
  setBlocks16(*this, scsi::Write16, kFua, lba, sectors);
  setDataOut(*this, std::uint64_t{sectors} * sectorSize, buffer);
}

}  // namespace ostria::storage
