// ATA pass-through by SG_IO: the CDB of each command, and registers out of sense data.
#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <functional>

#include "inventory/protocol_factory.h"
#include "platform/linux/discovery/linux_storage_scanner.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/keep_asleep.h"
#include "platform/linux/passthrough/sat_sense_registers.h"
#include "platform/linux/passthrough/sg_ata_pass_through.h"
#include "transport/ata/ata_opcodes.h"

namespace {

/// A descriptor that answers SG_IO by a script: stands in for the kernel's driver of a disk.
int scriptedDescriptor = -1;
std::function<void(sg_io_hdr_t&)> script;

}  // namespace

// Stands before the C library's own in this program; all other calls go on to the kernel.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  va_list rest;
  va_start(rest, request);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  if (descriptor != scriptedDescriptor || request != SG_IO) {
    return static_cast<int>(::syscall(SYS_ioctl, descriptor, request, argument));
  }
  script(*static_cast<sg_io_hdr_t*>(argument));
  return 0;
}

namespace ostria::storage::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Sense data in the fixed format, zeros behind what is given.
Bytes fixed(Bytes head) {
  head.resize(18);
  return head;
}

SgCommand answer(std::uint8_t status, const Bytes& sense = {}, std::uint32_t moved = 0) {
  SgCommand out;
  out.status = status;
  out.senseLength = static_cast<std::uint8_t>(sense.size());
  std::copy(sense.begin(), sense.end(), out.sense.begin());
  out.movedBytes = moved;
  return out;
}

TEST(AtaPassThrough, CommandsAreLaidOutForTheTranslator) {
  std::uint8_t buffer[4096];
  const SgCommand identify = ataPassThrough(IdentifyDevice(buffer));
  EXPECT_EQ(identify.cdb, (std::array<std::uint8_t, 16>{0x85, 4 << 1, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0,
                                                        0, 0, 0, 0xEC, 0}));
  EXPECT_EQ(identify.transferBytes, 512u);

  const SgCommand status = ataPassThrough(SmartReturnStatus());
  EXPECT_EQ(status.cdb, (std::array<std::uint8_t, 16>{0x85, 3 << 1, 0x20, 0, 0xDA, 0, 0, 0, 0, 0,
                                                      0x4F, 0, 0xC2, 0, 0xB0, 0}));

  // 4096-byte sectors: the count is in the drive's own sectors.
  const SgCommand write = ataPassThrough(WriteSectorsExt(0x665544332211, 0x0102, 4096, buffer));
  EXPECT_EQ(write.cdb, (std::array<std::uint8_t, 16>{0x85, 5 << 1 | 1, 0x16, 0, 0, 1, 2, 0x44, 0x11,
                                                     0x55, 0x22, 0x66, 0x33, 0x40, 0x34, 0}));
}

TEST(AtaPassThrough, RegistersComeFromSenseDataOfEachForm) {
  const std::pair<Bytes, Bytes> rows[] = {
      // Wherever the descriptor stands: another one comes first.
      {{0x72, 1, 0x00, 0x1D, 0,    0, 0,    18, 0x00, 2, 0,    0,    0x09,
        12,   0, 0x04, 0,    0x11, 0, 0x22, 0,  0xF4, 0, 0x2C, 0xA0, 0x50},
       {0x04, 0x11, 0x22, 0xF4, 0x2C, 0xA0, 0x50}},
      // The fixed format of the standard, and that of older kernels.
      {fixed({0x70, 0, 0x0B, 0x04, 0x51, 0xE0, 0x01, 10, 0, 0x22, 0x33, 0x44}),
       {0x04, 0x01, 0x22, 0x33, 0x44, 0xE0, 0x51}},
      {{0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0x04, 0x41, 0xE0, 0x01, 0, 0, 0, 0, 0, 0xEE},
       {0x04, 0x01, 0xEE, 0, 0, 0xE0, 0x41}}};
  for (const auto& [sense, registers] : rows) {
    SmartExecuteOffline command(0x7F, 0);
    EXPECT_EQ(takeAtaAnswer(answer(2, sense), command), ProtocolResult::Success);
    EXPECT_EQ((Bytes{command.features, command.sectorCount, command.lbaLow, command.lbaMid,
                     command.lbaHigh, command.device, command.command}),
              registers);
  }
}

TEST(AtaPassThrough, WhatIsNotTheDrivesAnswerIsATransportFailureAndChangesNothing) {
  const Bytes senses[] = {
      // A SCSI disk that knows no such command.
      fixed({0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x20}),
      // Lost on the way: aborted, and registers without an error in them.
      {0x72, 0x0B, 0, 0, 0, 0, 0, 14, 0x09, 12, 0, 0, 0, 0, 0, 0, 0, 0x4F, 0, 0xC2, 0, 0x50},
      // The same with a drive that never came back, all bits set.
      {0x72, 0x0B, 0x47, 0, 0, 0, 0, 14, 0x09, 12, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0xFF},
      fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0, 0x58, 0, 1}),
      // Cut short in the descriptor, with a length that claims more.
      {0x72, 1, 0, 0x1D, 0, 0, 0, 0xFF, 0x09, 12, 0, 0, 0},
      {0x72, 1, 0, 0x1D, 0, 0, 0, 14, 0x09},
      // A device fault: no register but the status means anything.
      {0x70, 0, 4, 0, 0, 0, 0, 10, 0, 0x60, 0, 0, 0x44, 0, 0, 0, 0, 0},
      {0x72, 4, 0x44, 0, 0, 0, 0, 14, 0x09, 12, 0, 0, 0, 0, 0, 0, 0, 0x4F, 0, 0xC2, 0, 0x70},
      {},
  };
  for (const auto& sense : senses) {
    SmartReturnStatus command;
    EXPECT_EQ(takeAtaAnswer(answer(2, sense), command), ProtocolResult::TransportFailure);
    EXPECT_EQ(command.command, 0xB0);
    EXPECT_EQ(command.features, 0xDA);
    std::uint8_t sector[512] = {};
    WriteSectorsExt write(7, 1, 512, sector);
    EXPECT_EQ(takeAtaAnswer(answer(2, sense, 512), write), ProtocolResult::TransportFailure);
  }
  SmartReturnStatus busy;
  EXPECT_EQ(takeAtaAnswer(answer(8), busy), ProtocolResult::TransportFailure);
  SmartReturnStatus withheld;
  EXPECT_EQ(takeAtaAnswer(answer(0), withheld), ProtocolResult::TransportFailure)
      << "without its registers this command has said nothing";
}

TEST(AtaPassThrough, SenseOfALostCommandIsNoAdaptersRefusal) {
  struct Case {
    const char* name;
    bool lost;
    Bytes sense;
  };
  const Case cases[] = {
      {"time-out, fixed format", true, fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0, 0x40})},
      {"time-out, as the standard has it", true, fixed({0x70, 0, 0x0B, 0, 0x40, 0, 0, 10})},
      {"time-out, descriptor", true, {0x72, 0x0B, 0, 0, 0, 0, 0, 14, 9, 12, 0,
                                      0,    0,    0, 0, 0, 0, 0, 0,  0, 0,  0x50}},
      {"device fault", true, fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0, 0x60})},
      {"dead link", true, fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0xFF, 0xFF, 0, 0, 0x47})},
      {"ABRT of the drive", false, fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 4, 0x41})},
      {"an adapter's refusal", false, fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10})},
      {"another descriptor alone", false, {0x72, 0x0B, 0, 0, 0, 0, 0, 8, 2, 6, 0, 0, 0, 0, 0, 0}},
      {"bad sector", false, fixed({0xF0, 0, 3, 0, 0x40, 0, 1, 10, 0, 0, 0, 0, 0x11})},
      {"unknown command", false, fixed({0x70, 0, 5, 0, 0x40, 0, 0, 10, 0, 0, 0, 0, 0x20})},
      {"cut", false, {0x70, 0, 0x0B, 0, 0x40}},
      {"none", false, {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(isLostAtaCommand(c.sense), c.lost) << c.name;
  }
}

TEST(AtaPassThrough, ALostCommandGoesToItsDescriptorOnce) {
  LinuxStorageScanner scanner(SysfsTree("/nowhere"));
  DeviceRecord record;
  record.busKind = StorageBusKind::Ata;
  record.connection = DeviceConnection::Internal;
  record.handle = openScanned(*scanner.deviceScanner(), "/dev/null");
  scriptedDescriptor = descriptorOf(record.handle.get());
  unsigned starts = 0;
  script = [&](sg_io_hdr_t& header) {
    if (header.cmdp[0] == 0x85 && header.cmdp[14] == ata::IdentifyDevice) {
      static_cast<std::uint8_t*>(header.dxferp)[99] = 3;  // capabilities: DMA, LBA
      return;
    }
    ++starts;
    const Bytes lost = fixed({0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0, 0x40});
    std::copy(lost.begin(), lost.end(), header.sbp);
    header.sb_len_wr = static_cast<unsigned char>(lost.size());
    header.status = 2;
  };
  const FoundProtocol found = createProtocol(scanner, record);
  ASSERT_NE(found.protocol, nullptr);
  EXPECT_EQ(found.protocol->StartSelfTest(1, 0), ProtocolResult::TransportFailure);
  EXPECT_EQ(starts, 1u);
  scriptedDescriptor = -1;
}

TEST(AtaPassThrough, DataInCountsWhatCame) {
  std::uint8_t buffer[512];
  SmartReadData full(buffer);
  EXPECT_EQ(takeAtaAnswer(answer(0, {}, 512), full), ProtocolResult::Success);
  EXPECT_EQ(full.transferBytes, 512u);
  EXPECT_EQ(full.command & 1, 0);

  SmartReadData nothing(buffer);
  EXPECT_EQ(takeAtaAnswer(answer(0, {}, 0), nothing), ProtocolResult::NoDataReturned);
  EXPECT_EQ(nothing.transferBytes, 512u);
  EXPECT_EQ(nothing.command, 0x50) << "the registers are written all the same";

  // The kernel counts all bytes of a command that the drive refused.
  SmartReadData refused(buffer);
  const Bytes abort = {0x72, 0x0B, 0, 0, 0, 0, 0, 14, 0x09, 12, 0,
                       0x04, 0,    0, 0, 0, 0, 0, 0,  0,    0,  0x41};
  EXPECT_EQ(takeAtaAnswer(answer(2, abort, 512), refused), ProtocolResult::NoDataReturned);
  EXPECT_EQ(refused.transferBytes, 512u);
  EXPECT_EQ(refused.features, 0x04);
  EXPECT_EQ(refused.command, 0x41);

  WriteSectors out(0, 1, 512, buffer);
  EXPECT_EQ(takeAtaAnswer(answer(0, {}, 0), out), ProtocolResult::Success);
}

TEST(AtaPassThrough, ASleepingDiskIsAnsweredForOrLeftAlone) {
  const SleepingDisk known{1, true, Bytes(512, 0x5A)};
  AtaCheckPowerMode power;
  power.sectorCount = 0xFF;
  SgCommand packed = ataPassThrough(power);
  EXPECT_EQ(answerAsleep(known, packed), 0);
  EXPECT_EQ(takeAtaAnswer(packed, power), ProtocolResult::Success);
  EXPECT_EQ(power.sectorCount, 0);
  EXPECT_EQ(power.command & ata::StatusError, 0);

  std::uint8_t page[512] = {};
  IdentifyDevice identify(page);
  packed = ataPassThrough(identify);
  EXPECT_EQ(answerAsleep(known, packed), 0);
  EXPECT_EQ(takeAtaAnswer(packed, identify), ProtocolResult::Success);
  EXPECT_EQ(page[0], 0x5A);
  EXPECT_EQ(page[511], 0x5A);

  // In standby IDENTIFY may go to the drive; for one that is not even open nobody can answer it.
  packed = ataPassThrough(IdentifyDevice(page));
  EXPECT_EQ(answerAsleep({1, false, {}}, packed), std::nullopt);
  EXPECT_EQ(answerAsleep({1, true, {}}, packed), EBUSY);
  for (const bool suspended : {false, true}) {
    packed = ataPassThrough(SmartReturnStatus());
    EXPECT_EQ(answerAsleep({1, suspended, {}}, packed), EBUSY);
    SgCommand read;
    read.cdb = {0x28};
    EXPECT_EQ(answerAsleep({1, suspended, {}}, read), EBUSY);
  }
}

}  // namespace
}  // namespace ostria::storage::test
