// What passes where nothing may be written: every command that the module reads, identifies and
// tests with, by each way to a drive, and none that changes a medium.
#include "platform/linux/passthrough/read_only.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "platform/linux/passthrough/sg_ata_pass_through.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/tunnels/sat_pass_through.h"
#include "transport/tunnels/usb_pass_through.h"

namespace ostria::storage::test {
namespace {

bool changes(const ScsiCmd& command) {
  SgCommand packed;
  packed.cdb = command.cdb;
  packed.direction = command.direction;
  return changesMedium(packed);
}

/// By each way that it may be wrapped; -1 when they do not agree.
int changesByAnyWay(const AtaCmd& command) {
  const std::array<bool, 4> answers = {
      changesMedium(ataPassThrough(command)), changes(SatAtaPassThrough12(command, true)),
      changes(SatAtaPassThrough16(command, false)), changes(SunplusAtaPassthroughPreset(command))};
  EXPECT_FALSE(answers[3]);
  const bool tunnels =
      command.dataDirection == DataDirection::FromDevice
          ? changes(JMicronAtaPassThrough12(command)) && changes(SunplusAtaPassThrough(command))
          : answers[0];
  if (answers[0] != answers[1] || answers[1] != answers[2] || answers[2] != tunnels) {
    return -1;
  }
  return answers[0] ? 1 : 0;
}

TEST(ReadOnlyTest, ReadsIdentityAndTestsPassAndWritesDoNot) {
  struct Row {
    std::uint8_t command;
    std::uint8_t features;
    DataDirection direction;
    int changes;
  };
  constexpr auto kIn = DataDirection::FromDevice;
  constexpr auto kOut = DataDirection::ToDevice;
  constexpr auto kNone = DataDirection::None;
  constexpr Row kAta[] = {
      {ata::IdentifyDevice, 0, kIn, 0},
      {ata::ReadDmaExt, 0, kIn, 0},
      {ata::ReadSectors, 0, kIn, 0},
      {ata::ReadLogExt, 0, kIn, 0},
      {ata::Smart, ata::SmartReadData, kIn, 0},
      {ata::Smart, ata::SmartExecuteOffline, kNone, 0},
      {ata::Smart, ata::SmartReturnStatus, kNone, 0},
      {ata::CheckPowerMode, 0, kNone, 0},
      {ata::WriteDmaExt, 0, kOut, 1},
      {ata::WriteSectors, 0, kOut, 1},
      {ata::WriteUncorrectableExt, 0x55, kNone, 1},
      {ata::Smart, 0xD6, kOut, 1},    // SMART WRITE LOG
      {0x06, 1, kOut, 1},             // DATA SET MANAGEMENT: TRIM
      {0xB4, 0x14, kNone, 1},         // SANITIZE
      {0xF4, 0, kOut, 1},             // SECURITY ERASE UNIT
      {ata::ReadDmaExt, 0, kOut, 1},  // a read that would send
  };
  for (const Row& row : kAta) {
    AtaCmd command;
    command.command = row.command;
    command.features = row.features;
    command.dataDirection = row.direction;
    command.transferBytes = row.direction == kNone ? 0 : 512;
    command.sectorCount = 1;
    EXPECT_EQ(changesByAnyWay(command), row.changes) << int{row.command};
  }
  struct ScsiRow {
    std::uint8_t opcode;
    DataDirection direction;
    bool changes;
  };
  constexpr ScsiRow kScsi[] = {{0x12, kIn, false},  {0x28, kIn, false},   {0x88, kIn, false},
                               {0x4D, kIn, false},  {0x9E, kIn, false},   {0x1D, kNone, false},
                               {0x15, kOut, false}, {0x00, kNone, false}, {0x2A, kOut, true},
                               {0x8A, kOut, true},  {0x0A, kOut, true},   {0x42, kOut, true},
                               {0x04, kNone, true}, {0x48, kNone, true},  {0x93, kNone, true},
                               {0x28, kOut, true},  {0x9D, kIn, true},    {0xC1, kIn, true}};
  for (const ScsiRow& row : kScsi) {
    ScsiCmd command;
    command.cdb[0] = row.opcode;
    command.direction = row.direction;
    EXPECT_EQ(changes(command), row.changes) << int{row.opcode};
  }
  constexpr std::array<std::uint32_t, 4> kAdminReads = {0x02, 0x06, 0x0A, 0x14};
  for (std::uint32_t opcode = 0; opcode < 256; ++opcode) {
    const bool reads =
        std::find(kAdminReads.begin(), kAdminReads.end(), opcode) != kAdminReads.end();
    EXPECT_EQ(changesMedium(opcode, false), !reads) << opcode;
    EXPECT_EQ(changesMedium(opcode, true), opcode != 0x02) << opcode;
  }
}

}  // namespace
}  // namespace ostria::storage::test
