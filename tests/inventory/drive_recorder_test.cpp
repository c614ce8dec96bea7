// What is recorded of a drive's answers, and what never is.
#include "inventory/recording/drive_recorder.h"

#include <gtest/gtest.h>

#include "transport/ata/ata_cmd.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage::test {
namespace {

TEST(DriveRecorder, KeepsNothingOfTheMedium) {
  DriveRecorder recorder;
  std::array<std::uint8_t, 512> sector{};
  const ReadSectors ata28(0, 1, 512, sector.data(), 30);
  const ReadSectorsExt ata48(0, 1, 512, sector.data(), 30);
  const SmartExecuteOffline selfTest(1, 0);
  for (const AtaCmd* command :
       {static_cast<const AtaCmd*>(&ata28), static_cast<const AtaCmd*>(&ata48),
        static_cast<const AtaCmd*>(&selfTest)}) {
    recorder.noteAta(*command, *command, ProtocolResult::Success);
  }
  const Read10 read10(sector.data(), 0, 1, 512);
  const Read16 read16(sector.data(), 0, 1, 512);
  recorder.noteScsi(read10, 512, ProtocolResult::Success);
  recorder.noteScsi(read16, 512, ProtocolResult::Success);
  // Its opcode is that of Get Log Page, in the other queue.
  NvmeRead nvme(sector.data(), 0, 1, 1, false);
  nvme.transferBytes = sector.size();
  recorder.noteNvme(nvme, ProtocolResult::Success);
  EXPECT_TRUE(recorder.ata.empty());
  EXPECT_TRUE(recorder.scsi.empty());
  EXPECT_TRUE(recorder.nvme.empty());
}

TEST(DriveRecorder, KeepsTheLastAnswerToAQuestionAndNoMoreThanItsRoom) {
  DriveRecorder recorder;
  std::array<std::uint8_t, 96> page{1, 2, 3};
  Inquiry inquiry(page.data(), 64);
  inquiry.transferBytes = 1u << 20;  // what a driver may claim
  inquiry.senseLength = 255;
  recorder.noteScsi(inquiry, 64, ProtocolResult::Success);
  ASSERT_EQ(recorder.scsi.size(), 1u);
  EXPECT_EQ(recorder.scsi[0].data, Bytes(page.begin(), page.begin() + 64));
  EXPECT_EQ(recorder.scsi[0].sense.size(), 32u);

  const Inquiry longer(page.data(), 96);
  const Inquiry other(page.data(), 96, true, 0x80);
  recorder.noteScsi(longer, 96, ProtocolResult::Success);
  recorder.noteScsi(other, 96, ProtocolResult::TransportFailure);
  recorder.noteScsi(other, 96, ProtocolResult::AccessDenied);
  ASSERT_EQ(recorder.scsi.size(), 2u);
  EXPECT_EQ(recorder.scsi[0].data.size(), 96u);
  EXPECT_EQ(recorder.scsi[1].ending, Ending::Lost) << "a missing right is not the drive's";
}

}  // namespace
}  // namespace ostria::storage::test
