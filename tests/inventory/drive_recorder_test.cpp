// What is recorded of a drive's answers, and what never is.
#include "inventory/recording/drive_recorder.h"

#include <gtest/gtest.h>

#include <numeric>

#include "inventory/recording/masked_pages.h"
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
  recorder.noteAta(ata28, ata28, ProtocolResult::Success);
  recorder.noteAta(ata48, ata48, ProtocolResult::Success);
  recorder.noteAta(selfTest, selfTest, ProtocolResult::Success);
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

/// A page with the text in it.
Bytes pageWith(const std::string& text, std::size_t at, std::size_t bytes) {
  Bytes page(bytes);
  std::copy(text.begin(), text.end(), page.begin() + static_cast<std::ptrdiff_t>(at));
  return page;
}

TEST(MaskedPages, HoldNothingThatNamesTheDrive) {
  // What is masked by its place says SECRET; the serial number is looked for everywhere.
  DriveRecorder recorder;
  const auto ata = [&](std::uint8_t command, std::uint8_t log, const Bytes& data) {
    recorder.ata.push_back({.command = command, .lbaLow = log, .data = data});
  };
  ata(0xEC, 0, pageWith("ESRCTE", 20, 512));
  ata(0xEC, 1, pageWith("SECRET", 216, 512));
  ata(0xEC, 2, pageWith("SECRET", 258, 512));
  ata(0x2F, 0xDF, pageWith("SECRET", 80, 512));
  ata(0x2F, 3, pageWith("VISI BLE1", 300, 512));
  ata(0xB0, 6, pageWith("IVISB EL 1", 301, 512));
  ata(0xB0, 7, pageWith("VISIBLE1", 17, 512));
  recorder.scsi.push_back({.cdb = {0x12}, .data = pageWith("SECRET", 36, 96)});
  recorder.scsi.push_back({.cdb = {0x12, 1, 0x80}, .data = pageWith("SECRET", 4, 10)});
  recorder.nvme.push_back({.opcode = 6, .select = 1, .data = pageWith("SECRET", 4, 4096)});
  recorder.nvme.push_back({.opcode = 6, .select = 1, .data = pageWith("SECRET", 768, 4096)});
  recorder.nvme.push_back({.opcode = 6, .select = 0, .data = pageWith("SECRET", 120, 4096)});
  recorder.nvme.push_back({.opcode = 2, .select = 0xDF, .data = pageWith("SECRET", 112, 512)});
  recorder.ata.back().data[511] = static_cast<std::uint8_t>(
      0u - std::accumulate(recorder.ata.back().data.begin(), recorder.ata.back().data.end(), 0u));
  StorageProtocolProperties device;
  device.serialNumber = "  VISI BLE1 ";

  maskPages(recorder, device);
  EXPECT_EQ(device.serialNumber, "  XXXX XXXX ");
  const auto expectMasked = [](const auto& answers) {
    for (const auto& answer : answers) {
      const std::string text(answer.data.begin(), answer.data.end());
      for (const char* secret : {"SECRET", "ESRCTE", "VISI BLE1", "IVISB EL 1", "VISIBLE1"}) {
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;
      }
    }
  };
  expectMasked(recorder.ata);
  expectMasked(recorder.scsi);
  expectMasked(recorder.nvme);
  EXPECT_TRUE(ByteSum(recorder.ata.back().data.data(), 512));
  EXPECT_FALSE(ByteSum(recorder.ata[4].data.data(), 512)) << "which did not hold before";
}

}  // namespace
}  // namespace ostria::storage::test
