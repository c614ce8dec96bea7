// The ten commands of LSI controllers as frames for the kernel's driver, and what becomes of
// answers that are short, huge, garbled or missing. A scripted driver stands for the kernel.
#include "platform/linux/raid/linux_lsi_sender.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "base/byte_order.h"
#include "inventory/raid_collection.h"
#include "platform/linux/raid/data_mark.h"
#include "raid/lsi/lsi_bridges.h"
#include "raid/lsi/lsi_layout.h"
#include "raid/lsi/lsi_raid_component.h"
#include "raid/raid_component_manager.h"
#include "tests/support/temporary_folder.h"
#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The frame that came, and the memory that the controller may fill.
struct Arrival {
  mfi::Packet& packet;

  std::uint8_t* block(std::size_t i) const {
    return static_cast<std::uint8_t*>(mfi::blockOf(packet, i).iov_base);
  }
  std::size_t blockBytes(std::size_t i) const { return mfi::blockOf(packet, i).iov_len; }
  std::uint32_t opcode() const { return loadLe32(&packet.frame[24]); }
  std::uint8_t* sense() const {
    std::uint8_t* sense = nullptr;
    std::memcpy(&sense, &packet.frame[packet.senseAt], sizeof(sense));
    return sense;
  }
  /// The driver took the frame, and the controller ends it so.
  int finish(std::uint8_t status) const {
    packet.frame[2] = status;
    return 0;
  }
};

using Script = std::function<int(const Arrival&)>;

class ScriptedDriver final : public MegaraidDriver {
 public:
  explicit ScriptedDriver(Script script) : script_(std::move(script)) {}
  std::vector<std::uint32_t> controllers() const override { return {2, 5}; }
  int send(mfi::Packet& packet) override { return script_({packet}); }

 private:
  Script script_;
};

class LinuxLsi : public testing::Test {
 protected:
  void answer(Script script) {
    sender = std::make_unique<LinuxLsiSender>(
        std::make_unique<ScriptedDriver>([this, script](const Arrival& arrival) {
          frames.push_back(Bytes(arrival.packet.frame.begin(), arrival.packet.frame.end()));
          hosts.push_back(arrival.packet.host);
          return script(arrival);
        }));
  }

  std::unique_ptr<LinuxLsiSender> sender;
  std::vector<Bytes> frames;
  std::vector<unsigned> hosts;
};

TEST_F(LinuxLsi, QuestionsBecomeFramesOfTheController) {
  struct Row {
    LsiCode code;
    std::size_t bytes;
    std::uint32_t opcode;
    std::uint16_t mailbox;
    std::size_t asked;
  };
  // Device 0x0103, sub-index 7.
  const Row rows[] = {{LsiCode::GetControllerInfo, 2480, 0x01010000, 0, 2048},
                      {LsiCode::GetControllerProperties, 4104, 0x03010000, 1, 4104},
                      {LsiCode::GetDriveList, 6152, 0x02010000, 0, 6152},
                      {LsiCode::GetConfiguration, 4616, 0x04010000, 0, 4616},
                      {LsiCode::GetDriveInfo, 384, 0x03030000, 0x0103, 384},
                      {LsiCode::GetPdinfo, 512, 0x02020000, 0x0103, 512}};
  for (const Row& row : rows) {
    frames.clear();
    answer([&](const Arrival& arrival) {
      EXPECT_EQ(arrival.packet.blockCount, 1u);
      EXPECT_EQ(arrival.packet.blocksAt, 40u);
      EXPECT_EQ(arrival.blockBytes(0), row.asked);
      arrival.block(0)[1] = 0x5A;
      return arrival.finish(0);
    });
    LsiCmd command(row.code, 5, row.bytes);
    command.record.deviceId = 0x0103;
    command.record.subIndex = 7;
    EXPECT_EQ(sender->execute(command), 0u) << row.opcode;
    ASSERT_EQ(frames.size(), 1u);
    const Bytes& frame = frames[0];
    EXPECT_EQ(frame[0], 5);  // a command to the controller itself
    EXPECT_EQ(frame[2], 0xFF);
    EXPECT_EQ(frame[7], 1);
    EXPECT_EQ(loadLe16(&frame[16]), 0x10) << "reads";
    EXPECT_EQ(loadLe32(&frame[20]), row.asked);
    EXPECT_EQ(loadLe32(&frame[24]), row.opcode);
    EXPECT_EQ(loadLe16(&frame[28]), row.mailbox);
    EXPECT_EQ(hosts.back(), 5u);
    EXPECT_EQ(command.buffer()[1], 0x5A);
  }
}

TEST_F(LinuxLsi, WhatIsNoAnswerIsAFailure) {
  struct Row {
    const char* what;
    Script script;
    std::uint32_t wanted;
  };
  const Row rows[] = {
      {"the driver refuses", [](const Arrival&) { return EACCES; }, 256 + EACCES},
      {"the controller is gone", [](const Arrival&) { return ENODEV; }, 256 + ENODEV},
      {"no status comes back", [](const Arrival&) { return 0; }, 0xFF},
      {"the controller refuses", [](const Arrival& arrival) { return arrival.finish(0x0C); }, 0x0C},
      {"good without a byte", [](const Arrival& arrival) { return arrival.finish(0); }, 256 + EIO}};
  for (const Row& row : rows) {
    answer(row.script);
    LsiCmd command(LsiCode::GetPdinfo, 5, 512);
    EXPECT_EQ(sender->execute(command), row.wanted) << row.what;
  }
  frames.clear();
  LsiCmd unknown(static_cast<LsiCode>(0x0707), 5, 64);
  EXPECT_EQ(sender->execute(unknown), 256u + EOPNOTSUPP);
  LsiCmd farAway(LsiCode::GetPdinfo, 0x10002, 512);
  EXPECT_EQ(sender->execute(farAway), 256u + ENODEV);
  EXPECT_TRUE(frames.empty());
}

TEST_F(LinuxLsi, OldFirmwareIsAskedForLess) {
  answer([](const Arrival& arrival) {
    const bool news = arrival.packet.frame[28] == 1 || arrival.blockBytes(0) == 4616;
    return arrival.finish(news ? 0x03 : 0);
  });
  for (const LsiCode code : {LsiCode::GetControllerProperties, LsiCode::GetConfiguration}) {
    frames.clear();
    LsiCmd command(code, 5, code == LsiCode::GetConfiguration ? 4616 : 4104);
    EXPECT_EQ(sender->execute(command), 0u);
    EXPECT_EQ(frames.size(), 2u);
  }
}

TEST_F(LinuxLsi, MembersOfAnArrayStandInTheConfiguration) {
  std::uint16_t arrayBytes = 288;
  std::uint8_t members = 2, first = 1;
  answer([&](const Arrival& arrival) {
    std::uint8_t* data = arrival.block(0);
    storeLe16(data + 4, 2);
    storeLe16(data + 6, arrayBytes);
    std::uint8_t* second = data + 32 + 288;
    data[32 + 10] = first;
    second[8] = members;
    second[10] = 7;
    storeLe16(second + 32, 4);
    storeLe16(second + 40, 9);
    return arrival.finish(0);
  });
  const auto list = [&](std::uint8_t array) {
    LsiCmd command(LsiCode::GetArrayInfo, 5, 516);
    command.record.subIndex = array;
    const std::uint32_t result = sender->execute(command);
    return std::pair(result, command.buffer());
  };
  const auto [result, found] = list(7);
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(loadLe32(found.data()), 2u);
  EXPECT_EQ(loadLe16(&found[4]), 4);
  EXPECT_EQ(loadLe16(&found[6]), 9);
  EXPECT_NE(list(8).first, 0u) << "an array that is not there";
  members = 255;
  EXPECT_EQ(loadLe32(list(7).second.data()), 32u) << "no more than a record has room for";
  first = 7;
  for (const int bytes : {0, 31, 0xFFFF}) {
    arrayBytes = static_cast<std::uint16_t>(bytes);
    EXPECT_NE(list(7).first, 0u) << bytes;
  }
}

TEST_F(LinuxLsi, ControllersAreTheHosts) {
  answer([](const Arrival&) { return EIO; });
  LsiCmd command(LsiCode::GetControllerList, 0, 260);
  EXPECT_EQ(sender->execute(command), 0u);
  EXPECT_EQ(loadLe32(command.buffer().data()), 2u);
  EXPECT_EQ(loadLe32(&command.buffer()[4]), 2u);
  EXPECT_EQ(loadLe32(&command.buffer()[8]), 5u);
  LsiCmd small(LsiCode::GetControllerList, 0, 8);
  EXPECT_EQ(sender->execute(small), 0u);
  EXPECT_EQ(loadLe32(small.buffer().data()), 1u);
}

/// A READ (10) of four sectors through bridge and sender.
struct ScsiRead {
  explicit ScsiRead(std::uint16_t device = 3) : deviceId(device) {}

  ProtocolResult send(LsiSender* sender) {
    command.cdb = {0x28, 0, 0, 0, 0, 9, 0, 0, 4, 0};
    command.cdbLength = 10;
    command.direction = DataDirection::FromDevice;
    command.data = data.data();
    command.transferBytes = data.size();
    return LsiSspBridge(5, deviceId, sender).Send(command);
  }

  std::uint16_t deviceId;
  ScsiCmd command;
  Bytes data = Bytes(2048, 0xEE);
};

TEST_F(LinuxLsi, ScsiCommandsReachTheDrive) {
  answer([](const Arrival& arrival) {
    EXPECT_EQ(arrival.packet.blocksAt, 48u);
    EXPECT_EQ(arrival.blockBytes(0), 2048u);
    std::memset(arrival.block(0), 0x11, 2048);
    return arrival.finish(0);
  });
  ScsiRead read;
  EXPECT_EQ(read.send(sender.get()), ProtocolResult::Success);
  EXPECT_EQ(read.data, Bytes(2048, 0x11));
  EXPECT_EQ(read.command.transferBytes, 2048u);
  const Bytes& frame = frames.at(0);
  EXPECT_EQ(frame[0], 4);
  EXPECT_EQ(frame[1], 32);
  EXPECT_EQ(frame[4], 3);
  EXPECT_EQ(frame[6], 10);
  EXPECT_EQ(loadLe16(&frame[16]), 0x10);
  EXPECT_EQ(loadLe16(&frame[18]), 30);
  EXPECT_EQ(loadLe32(&frame[20]), 2048u);
  EXPECT_EQ(Bytes(&frame[32], &frame[42]), Bytes({0x28, 0, 0, 0, 0, 9, 0, 0, 4, 0}));

  ScsiRead beyond(0x0103);
  EXPECT_EQ(beyond.send(sender.get()), ProtocolResult::TransportFailure);
  EXPECT_EQ(frames.size(), 1u) << "drive 0x103 is not drive 3";
}

TEST_F(LinuxLsi, AReadOnlyProcessSendsNoWrite) {
  answer([](const Arrival& arrival) {
    arrival.finish(0);
    std::memset(arrival.block(0), 0x34, arrival.blockBytes(0));
    return 0;
  });
  const auto framesSent = [this](bool write) {
    ::setenv("OSTRIA_READ_ONLY", "1", 1);
    Bytes data(512);
    ScsiCmd scsi;
    scsi.cdb[0] = write ? 0x2A : 0x28;
    scsi.cdbLength = 10;
    AtaCmd ata;
    ata.command = write ? 0x35 : 0x25;
    scsi.direction = ata.dataDirection =
        write ? DataDirection::ToDevice : DataDirection::FromDevice;
    scsi.data = ata.data = data.data();
    scsi.transferBytes = ata.transferBytes = data.size();
    (void)LsiSspBridge(5, 3, sender.get()).Send(scsi);
    (void)LsiStpBridge(5, 3, sender.get()).Send(ata);
    std::exit(static_cast<int>(frames.size()));
  };
  // Whether a process is one is looked at once, and other tests have done so in this one.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(framesSent(true), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(framesSent(false), testing::ExitedWithCode(2), "");
}

TEST_F(LinuxLsi, ScsiAnswersAreNoBetterThanTheyAre) {
  struct Row {
    const char* what;
    std::uint8_t status;
    bool sense;
    std::size_t filled;
    ProtocolResult result;
    std::uint8_t scsiStatus;
    std::uint64_t moved;
  };
  const Row rows[] = {
      {"all", 0, false, 2048, ProtocolResult::Success, 0, 2048},
      {"a part", 0, false, 512, ProtocolResult::Success, 0, 512},
      {"nothing", 0, false, 0, ProtocolResult::Success, 0, 0},
      {"a medium error", 0x2D, true, 1024, ProtocolResult::Success, 2, 0},
      {"an error that is not explained", 0x2D, false, 2048, ProtocolResult::TransportFailure, 0, 0},
      {"a drive that is gone", 0x0C, false, 0, ProtocolResult::TransportFailure, 0, 0}};
  for (const Row& row : rows) {
    answer([&](const Arrival& arrival) {
      std::memset(arrival.block(0), 0x11, row.filled);
      if (row.sense) {
        const std::uint8_t sense[18] = {0x70, 0, 3, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x11};
        std::memcpy(arrival.sense(), sense, sizeof(sense));
      }
      return arrival.finish(row.status);
    });
    ScsiRead read;
    EXPECT_EQ(read.send(sender.get()), row.result) << row.what;
    EXPECT_EQ(read.command.scsiStatus, row.scsiStatus) << row.what;
    EXPECT_EQ(read.command.transferBytes, row.moved) << row.what;
    EXPECT_EQ(read.command.sense[2], row.sense ? 3 : 0) << row.what;
  }
}

TEST_F(LinuxLsi, AtaAnswersAreTheRegistersOfTheDrive) {
  struct Row {
    const char* what;
    std::uint8_t status;
    Bytes fis;
    std::size_t filled;
    bool taken;
  };
  const Row rows[] = {{"done", 0, {0x34, 0, 0x50, 0}, 512, true},
                      {"aborted", 0x2D, {0x34, 0, 0x51, 4}, 0, true},
                      {"failed without registers", 0x2D, {}, 0, false},
                      {"failed with good registers", 0x33, {0x34, 0, 0x50, 0}, 512, false},
                      {"good without registers", 0, {}, 512, false},
                      {"good, and a part is missing", 0, {0x34, 0, 0x50, 0}, 256, false},
                      {"not there", 0x0C, {}, 0, false}};
  for (const Row& row : rows) {
    frames.clear();
    answer([&](const Arrival& arrival) {
      EXPECT_EQ(arrival.packet.blockCount, 2u);
      EXPECT_EQ(arrival.blockBytes(0), 20u);
      std::copy(row.fis.begin(), row.fis.end(), arrival.block(0));
      std::memset(arrival.block(1), 0x22, row.filled);
      return arrival.finish(row.status);
    });
    AtaCmd command;
    Bytes data(512);
    command.command = 0xEC;
    command.dataDirection = DataDirection::FromDevice;
    command.data = data.data();
    command.transferBytes = data.size();
    const bool taken = LsiStpBridge(5, 3, sender.get()).Send(command) == ProtocolResult::Success;
    EXPECT_EQ(taken, row.taken) << row.what;
    if (taken) {
      EXPECT_EQ(command.command, row.fis[2]) << row.what;
    }
    const Bytes& frame = frames.at(0);
    EXPECT_EQ(frame[0], 7);
    EXPECT_EQ(Bytes(&frame[24], &frame[27]), Bytes({0x27, 0x80, 0xEC}));
    EXPECT_EQ(loadLe32(&frame[44]), 17u) << "read, identify";
  }
}

TEST_F(LinuxLsi, GarbledBlocksGiveADocumentedResult) {
  // Every question is answered with the same bytes, whatever was asked: counts and offsets of
  // nothing but ones, of small numbers, and of what the heap might hold.
  for (const int filler : {0x00, 0x01, 0x7F, 0xFF}) {
    answer([filler](const Arrival& arrival) {
      for (std::uint32_t i = 0; i < arrival.packet.blockCount; ++i) {
        std::memset(arrival.block(i), filler, arrival.blockBytes(i));
      }
      return arrival.finish(0);
    });
    LsiRaidComponent controller(5, sender.get());
    (void)controller.buildProperties();
    std::vector<RaidDevice> devices;
    (void)controller.getDevices(&devices);
    EXPECT_LE(devices.size(), 1u) << filler;  // one number, again and again
  }
}

TEST(DataMarks, WhatDidNotComeIsSeen) {
  for (const std::size_t filled : {0u, 1u, 36u, 500u, 504u, 505u, 512u}) {
    Bytes data(512);
    DataMark mark(data);
    std::fill_n(data.begin(), filled, std::uint8_t{0x20});
    EXPECT_EQ(mark.movedBytes(), filled > 504 ? 512u : filled);
    EXPECT_EQ(filled < 500 ? data[511] : 0, 0);
  }
}

TEST(LinuxRaid, WithoutAControllerSaysNothing) {
  if (!MegaraidNode().controllers().empty()) {
    GTEST_SKIP() << "this computer has such a controller";
  }
  EXPECT_EQ(getLsiSender(), nullptr);
  RaidComponentManager manager(Identifier(0, 0, 0));
  EXPECT_FALSE(manager.hasDevices());
  manager.scan();
  EXPECT_EQ(manager.componentCount(), 0u);
  EXPECT_FALSE(hasRaidDrives());
}

TEST(MegaraidNodes, AreFoundBySysfsAndProc) {
  const TemporaryFolder root;
  MegaraidNode node(root.path());
  mfi::Packet packet;
  EXPECT_TRUE(node.controllers().empty());
  EXPECT_EQ(node.send(packet), ENODEV);

  root.write("sys/class/scsi_host/host11/proc_name", "megaraid_sas\n");
  root.write("sys/class/scsi_host/host2/proc_name", "megaraid_sas\n");
  root.write("sys/class/scsi_host/host3/proc_name", "ahci\n");
  root.write("sys/class/scsi_host/host70000/proc_name", "megaraid_sas\n");
  root.write("sys/module/megaraid_sas/version", "07.719.03.00-rc1\n");
  root.write("proc/devices",
             "Character devices:\n  1 mem\n240 megaraid_sas_ioctl\n\nBlock devices:\n  8 sd\n");
  EXPECT_EQ(node.controllers(), (std::vector<std::uint32_t>{2, 11}));
  EXPECT_EQ(node.majorNumber(), 240u);
  EXPECT_EQ(node.version(), "07.719.03.00-rc1");
  // A plain file in the node's stead is not opened.
  root.write("dev/megaraid_sas_ioctl_node", "no node");
  EXPECT_EQ(node.send(packet), ENODEV);
}

}  // namespace
}  // namespace ostria::storage::test
