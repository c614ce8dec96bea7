// The SCSI protocol before a scripted bridge: exact CDBs, pages and sense data.
#include "transport/scsi/scsi_protocol.h"

#include <gtest/gtest.h>

#include <functional>

#include "base/byte_order.h"
#include "tests/support/scripted_scsi_bridge.h"
#include "transport/nvme/nvme_scsi_protocol.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage::test {
namespace {

constexpr std::uint64_t kFourG = 1ull << 32;

Bytes capacity16(std::uint64_t sectors, std::uint32_t size, std::uint8_t exponent = 0) {
  Bytes data(32);
  storeBe64(&data[0], sectors - 1);
  storeBe32(&data[8], size);
  data[13] = static_cast<std::uint8_t>(0xF0 | exponent);
  return data;
}
Bytes inquiry() {
  Bytes data(64);
  data[1] = 0x7F;  // all but the removable medium
  data[2] = 6;
  const std::string identity =
      std::string("ACME    ") + std::string("Disk 9\0garbage..", 16) + "R1.0";
  std::copy(identity.begin(), identity.end(), data.begin() + 8);
  storeBe16(&data[58], 0x0460);
  storeBe16(&data[60], 0xFFFE);
  storeBe16(&data[62], 0x0BF5);
  return data;
}

class ScsiProtocolTest : public testing::Test {
 protected:
  ScsiProtocolTest() { protocol.AddBridge(bridge); }

  /// A device of which only the capacity is known, by the long command or, with 8 bytes, the short.
  void identify(const Bytes& capacity, const Bytes& characteristics = {}) {
    bridge->expect(Inquiry(nullptr, 64)).in(64).status(8);
    if (capacity.size() == 8) {
      bridge->expect(ReadCapacity16(nullptr)).senses(fixedSense(5, 0x20));
      bridge->expect(ReadCapacity10(nullptr)).returns(capacity);
    } else {
      bridge->expect(ReadCapacity16(nullptr)).in(32).returns(capacity);
    }
    bridge->expect(Inquiry(nullptr, 64, true, 0xB1)).in(64).returns(characteristics);
    properties.busKind = StorageBusKind::Usb;
    ASSERT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  }
  ProtocolResult read(std::uint64_t lba) { return protocol.Read(lba, 1, 5, buffer.data(), 512); }

  std::shared_ptr<ScriptedScsiBridge> bridge = std::make_shared<ScriptedScsiBridge>();
  ScsiProtocol protocol;
  StorageProtocolProperties properties;
  Bytes buffer = Bytes(4096);
};

TEST(ScsiSense, IsDecodedWithinTheBytesThatAreThere) {
  struct Case {
    Bytes raw;
    ProtocolResult result;
    std::uint8_t key, asc, ascq;
    Bytes specific;
  };
  Bytes fixed = fixedSense(0xE3, 0x11, 4);
  fixed[0] = 0xF1;
  fixed[15] = 0x80, fixed[16] = 2, fixed[17] = 3;
  const auto ok = ProtocolResult::Success;
  const auto bad = ProtocolResult::CommandUnusable;
  const Case cases[] = {
      {fixed, ok, 3, 0x11, 4, {0x80, 2, 3}},
      {Bytes(fixed.begin(), fixed.begin() + 14), ok, 3, 0x11, 4, {}},
      {Bytes(fixed.begin(), fixed.begin() + 13), bad, 0, 0, 0, {}},
      {{0x72, 0xF5, 0x24, 1}, ok, 5, 0x24, 1, {}},
      {{0x72, 0, 4, 9, 0, 0, 0, 8, 2, 6, 0, 0, 0x80, 0x40, 0, 0}, ok, 0, 4, 9, {0x80, 0x40, 0}},
      {{0x73, 0, 4, 9, 0, 0, 0, 12, 3, 2, 0, 0, 2, 6, 0, 0, 7, 8, 9, 0}, ok, 0, 4, 9, {7, 8, 9}},
      {{0x73, 0, 4, 9, 0, 0, 0, 4, 3, 2, 0, 0, 2, 6, 0, 0, 7, 8, 9, 0}, ok, 0, 4, 9, {}},
      {{0x72, 0, 4, 9, 0, 0, 0, 0, 2, 6, 0, 0, 1, 2, 3}, ok, 0, 4, 9, {}},
      {{0x72, 0, 4, 9, 0, 0, 0, 255, 2, 6, 0, 0, 1, 2}, ok, 0, 4, 9, {}},
      {{0x72, 0, 4, 9, 0, 0, 0, 255, 0, 255, 0, 0}, ok, 0, 4, 9, {}},
      {{0x7F, 0, 5}, bad, 0, 0, 0, {}},
      {{}, bad, 0, 0, 0, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.raw));
    ScsiSense sense;
    ASSERT_EQ(sense.Decode(c.raw), c.result);
    if (!succeeded(c.result)) {
      continue;
    }
    EXPECT_EQ(static_cast<std::uint8_t>(sense.GetSenseKey()), c.key);
    EXPECT_EQ(sense.GetAsc(), c.asc);
    EXPECT_EQ(sense.GetAscq(), c.ascq);
    ScsiSense::DescriptorBytes bytes{};
    const bool has = succeeded(sense.GetDescriptor(ScsiSense::kSenseKeySpecific, bytes));
    EXPECT_EQ(has ? Bytes(bytes.begin(), bytes.end()) : Bytes(), c.specific);
  }
}

TEST_F(ScsiProtocolTest, AProbeWantsDataOrSenseOtherThanARefusal) {
  const auto probe = [&](auto change) {
    change(bridge->expect({0x12, 0, 0, 0, 64, 0}).in(64));
    return ScsiProtocol::ProbeBridge(*bridge);
  };
  using Step = ScriptedScsiBridge::Step;
  EXPECT_TRUE(probe([](Step& s) { s.returns(Bytes(5)); }));
  EXPECT_FALSE(probe([](Step& s) { s.returns(Bytes(4)); }));
  EXPECT_TRUE(probe([](Step& s) { s.senses(fixedSense(2)); }));
  EXPECT_FALSE(probe([](Step& s) { s.senses(fixedSense(5)); }));
  EXPECT_FALSE(probe([](Step& s) { s.senses({0x7F}); }));
  EXPECT_FALSE(probe([](Step& s) { s.fails(ProtocolResult::TransportFailure); }));
}

TEST_F(ScsiProtocolTest, PropertiesAreGatheredFromInquiryCapacityAndModePage) {
  bridge->expect({0x12, 0, 0, 0, 64, 0}).in(64).returns(inquiry());
  Bytes serial(4 + 100, 'S');
  serial[1] = 0x80;
  serial[3] = 100;
  bridge->expect({0x12, 1, 0x80, 0, 64, 0}).in(64).returns(serial);
  bridge->expect({0x12, 1, 0x80, 0, 104, 0}).in(104).returns(serial);
  bridge->expect({0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0})
      .in(32)
      .returns(capacity16(kFourG + 5, 512, 3));
  bridge->expect({0x12, 1, 0xB1, 0, 64, 0}).in(64).returns({0, 0xB1, 0, 60, 0x1C, 0x20});
  bridge->expect({0x1A, 8, 0x1C, 0, 32, 0}).in(32).senses(fixedSense(5, 0x20));
  Bytes mode(20);
  mode[8] = 0x9C;
  mode[11] = 4;
  bridge->expect({0x5A, 8, 0x1C, 0, 0, 0, 0, 0, 32, 0}).in(32).returns(mode);
  ASSERT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  EXPECT_EQ(properties.vendor, "ACME    ");
  EXPECT_EQ(properties.modelNumber, "Disk 9");
  EXPECT_EQ(properties.firmwareRevision, "R1.0");
  EXPECT_EQ(properties.serialNumber, std::string(100, 'S'));
  EXPECT_EQ(properties.standardVersion, "SCSI Primary Commands 4 - SPC-4");
  EXPECT_EQ(properties.standards, (std::vector<std::string>{"SPC-4", "SAS T10/1562-D rev4"}));
  EXPECT_EQ(properties.totalSectors, kFourG + 5);
  EXPECT_EQ(properties.physicalSectorSize, 4096u);
  EXPECT_EQ(properties.rotationRate, 7200);
  EXPECT_TRUE(properties.smartSupported && properties.smartEnabled);
  EXPECT_EQ(protocol.GetProperties(nullptr), ProtocolResult::Failure);
  EXPECT_FALSE(properties.removable);
}

TEST_F(ScsiProtocolTest, CapacityStepsDownAndItsFailureIsTheResult) {
  const Bytes cdb10 = {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const std::pair<Bytes, ProtocolResult> cases[] = {
      {{0, 0, 0, 9, 0, 0, 2, 0}, ProtocolResult::Success},
      {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 2, 0}, ProtocolResult::Failure},
      {{0, 0, 0, 9}, ProtocolResult::InvalidDeviceData}};
  for (const auto& [answer, result] : cases) {
    bridge->expect(Inquiry(nullptr, 64)).returns(Bytes(35));  // too short to believe
    bridge->expect(ReadCapacity16(nullptr)).senses(fixedSense(5, 0x20));
    bridge->expect(cdb10).in(8).returns(answer);
    // Sense data and too short a page: the rotation rate stays unknown.
    if (succeeded(result)) {
      bridge->expect(Inquiry(nullptr, 64, true, 0xB1)).returns({0, 0xB1, 0, 60, 0});
    }
    StorageProtocolProperties usb;
    usb.busKind = StorageBusKind::Usb;
    EXPECT_EQ(protocol.GetProperties(&usb), result);
    EXPECT_EQ(usb.totalSectors, 10u);
    EXPECT_FALSE(usb.smartSupported);
  }
}

TEST_F(ScsiProtocolTest, ASectorSizeThatNoDriveHasIsUnknown) {
  for (const std::uint32_t size :
       {0u, 256u, 512u, 513u, 520u, 4096u, 65536u, 66048u, 0xFFFFFE00u}) {
    const bool known = size == 512 || size == 520 || size == 4096 || size == 65536;
    identify(capacity16(1000, size, 3));
    EXPECT_EQ(properties.logicalSectorSize, known ? size : 0);
    EXPECT_EQ(properties.physicalSectorSize, known ? size * 8 : 0);
    if (!known) {
      EXPECT_EQ(read(0), ProtocolResult::InvalidArgument);
    }
    Bytes shortForm{0, 0, 0, 9, 0, 0, 0, 0};
    storeBe32(&shortForm[4], size);
    identify(shortForm);
    EXPECT_EQ(properties.logicalSectorSize, known ? size : 0);
  }
}

TEST_F(ScsiProtocolTest, ATransferCountsOnlyIfTheDeviceSaysSoAndAllOfItMoved) {
  identify(capacity16(1000, 512));
  const auto ok = ProtocolResult::Success;
  const auto bad = ProtocolResult::ScsiStatusNotGood;
  struct Case {
    std::uint8_t status;
    Bytes sense;
    std::uint64_t moved;
    ProtocolResult result;
  };
  const Case cases[] = {{0, {}, 512, ok},
                        {0, {}, 511, bad},
                        {0, {}, 0, bad},
                        {2, {}, 512, bad},     // CHECK CONDITION without sense
                        {8, {}, 512, bad},     // BUSY
                        {0x18, {}, 512, bad},  // RESERVATION CONFLICT
                        {0x28, {}, 512, bad},  // TASK SET FULL
                        {2, fixedSense(0), 512, ok},
                        {2, fixedSense(1, 0x17), 512, ok},  // recovered
                        {2, fixedSense(1, 0x17), 511, bad},
                        {8, fixedSense(1), 512, bad},
                        {2, fixedSense(2, 4), 512, bad},  // not ready
                        {2, fixedSense(3), 0, ProtocolResult::MediumError},
                        {0, fixedSense(3), 512, ProtocolResult::MediumError},
                        {2, fixedSense(4), 0, ProtocolResult::MediumError},
                        {2, fixedSense(0x0E), 0, ProtocolResult::MediumError},
                        {2, fixedSense(0, 0x11), 512, ProtocolResult::MediumError},
                        {2, fixedSense(8), 512, bad},
                        {2, fixedSense(0x0B, 0x47, 5), 0, ProtocolResult::InterfaceCrcError},
                        {2, fixedSense(0x0B, 0x47, 6), 0, bad},
                        {2, {0x72, 0x0B, 0x47, 3}, 0, ProtocolResult::InterfaceCrcError}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.sense) + std::to_string(c.status));
    // None of them makes the next command a shorter one.
    bridge->expect(Read16(nullptr, 3, 1, 512))
        .returns(Bytes(512))
        .senses(c.sense)
        .status(c.status)
        .moves(c.moved)
        .claimsSense(c.sense.empty() ? 0 : ~0ull);
    EXPECT_EQ(read(3), c.result);
    bridge->expect(Write16(nullptr, 3, 1, 512)).senses(c.sense).status(c.status).moves(c.moved);
    EXPECT_EQ(protocol.Write(3, 1, 0, buffer.data()), c.result);
  }
}

TEST_F(ScsiProtocolTest, EveryCommandThatMetAUnitAttentionIsSentOnceMore) {
  const Bytes attention = fixedSense(6, 0x29);
  bridge->expect(Inquiry(nullptr, 64)).senses(attention);
  Bytes standard = inquiry();
  standard[1] = 0x80;
  bridge->expect(Inquiry(nullptr, 64)).returns(standard);
  bridge->expect(Inquiry(nullptr, 64, true, 0x80)).returns({0, 0, 0, 2, 'N', 'O'});  // another page
  bridge->expect(ReadCapacity16(nullptr)).senses(attention);
  bridge->expect(ReadCapacity16(nullptr)).returns(capacity16(kFourG + 5, 512));
  bridge->expect(Inquiry(nullptr, 64, true, 0xB1)).status(8);
  properties.busKind = StorageBusKind::Usb;
  ASSERT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  EXPECT_EQ(properties.totalSectors, kFourG + 5);
  EXPECT_EQ(properties.serialNumber, "");
  EXPECT_TRUE(properties.removable);

  const Read16 reading(nullptr, 3, 1, 512);
  const std::pair<ScsiCmd, std::function<ProtocolResult()>> commands[] = {
      {reading, [&] { return read(3); }},
      {Write16(nullptr, 3, 1, 512), [&] { return protocol.Write(3, 1, 0, buffer.data()); }},
      {SendDiagnostic(1), [&] { return protocol.StartSelfTest(1, 0); }}};
  for (const auto& [command, send] : commands) {
    bridge->expect(command).senses({0x72, 6, 0x29, 0}).moves(0);
    bridge->expect(command).returns(Bytes(512, 5));
    EXPECT_EQ(send(), ProtocolResult::Success);
  }
  bridge->expect(reading).senses(attention).moves(0);
  bridge->expect(reading).senses(attention).moves(0);
  EXPECT_EQ(read(3), ProtocolResult::ScsiStatusNotGood) << "once, not twice";
  // REQUEST SENSE succeeds and has the attention as its data.
  Bytes running = fixedSense(2, 4, 9);
  running[15] = 0x80, running[16] = 0x40;
  bridge->expect(RequestSense(nullptr, 252)).returns(attention);
  bridge->expect(RequestSense(nullptr, 252)).returns(running);
  std::uint8_t percent = 0;
  EXPECT_EQ(protocol.GetSelfTestProgress(&percent), ProtocolResult::Success);
  EXPECT_EQ(percent, 25);
}

TEST_F(ScsiProtocolTest, WritesTryAllLengthsEachTime) {
  identify(capacity16(kFourG, 512));
  buffer.assign(512, 0x77);
  for (int i = 0; i < 2; ++i) {
    bridge->expect({0x8A, 8, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 0, 1, 0, 0})
        .carries(buffer)
        .fails(ProtocolResult::TransportFailure);
    bridge->expect({0xAA, 8, 0, 0, 1, 2, 0, 0, 0, 1, 0, 0}).carries(buffer).senses(fixedSense(5));
    bridge->expect({0x2A, 8, 0, 0, 1, 2, 0, 0, 1, 0}).carries(buffer).within(180);
    EXPECT_EQ(protocol.Write(0x102, 1, 0, buffer.data()), ProtocolResult::Success);
  }
  bridge->expect(Write16(nullptr, kFourG + 2, 1, 512)).senses(fixedSense(5, 0x21));
  EXPECT_EQ(protocol.Write(kFourG + 2, 1, 0, buffer.data()), ProtocolResult::CommandUnusable);
}

// Mode data of the exceptions page in one of its forms, as MODE SENSE gives them and, with what is
// reserved there cleared, as MODE SELECT takes them.
struct ModeData {
  Bytes sensed, selected;

  ModeData(bool ten, std::uint8_t flags, std::uint8_t mrie) {
    const std::size_t page = ten ? 8 : 4;
    sensed = Bytes(page + 12);
    sensed[ten ? 1 : 0] = static_cast<std::uint8_t>(page + 12 - (ten ? 2 : 1));
    sensed[ten ? 3 : 2] = 0x90;  // WP, DPOFUA
    sensed[page] = 0x9C;         // PS
    sensed[page + 1] = 0x0A;
    sensed[page + 2] = flags;
    sensed[page + 3] = mrie;
    sensed[page + 11] = 0x07;
    selected = sensed;
    std::fill_n(selected.begin(), page, std::uint8_t{0});
    selected[page] = 0x1C;
  }
};

TEST_F(ScsiProtocolTest, DisablingSmartRestoresWhatTheDriveHad) {
  const std::pair<Bytes, Bytes> commands[] = {
      {{0x1A, 8, 0x1C, 0, 32, 0}, {0x15, 0x11, 0, 0, 16, 0}},
      {{0x5A, 8, 0x1C, 0, 0, 0, 0, 0, 32, 0}, {0x55, 0x11, 0, 0, 0, 0, 0, 0, 20, 0}}};
  struct Case {
    bool ten, refused;
  };
  // What was saved before a change that the drive refused is what it had.
  for (const auto& [ten, refused] : {Case{false, false}, Case{true, false}, Case{true, true}}) {
    ScsiProtocol fresh;
    fresh.AddBridge(bridge);
    const auto& [sense, select] = commands[ten ? 1 : 0];
    const ModeData had(ten, 0x18, 0x01);
    const ModeData enabled(ten, 0x10, 0x07);
    const ModeData other(ten, 0x00, 0x06);
    for (const bool enable : {true, false}) {
      if (ten) {
        bridge->expect(commands[0].first).in(32).senses(fixedSense(5, 0x20));
      }
      bridge->expect(sense).in(32).returns((enable ? had : refused ? other : enabled).sensed);
      bridge->expect(select)
          .carries((enable ? enabled : had).selected)
          .status(enable && refused ? 8 : 0);
      EXPECT_EQ(fresh.SetSmartEnabled(enable ? 1 : 0),
                enable && refused ? ProtocolResult::Failure : ProtocolResult::Success);
    }
  }
}

TEST_F(ScsiProtocolTest, TheRotationRateIsOneThatADiskMayHave) {
  const std::pair<std::uint16_t, int> rates[] = {{1024, 0},      {1025, 1025}, {65534, 65534},
                                                 {65535, 65534}, {1, 0},       {1024, 0}};
  for (const auto& [claimed, rate] : rates) {
    Bytes page{0, 0xB1, 0, 60, 0, 0};
    storeBe16(&page[4], claimed);
    identify(capacity16(1000, 512), page);
    EXPECT_EQ(properties.rotationRate, rate) << claimed;
  }
  EXPECT_TRUE(properties.solidState);
}

TEST_F(ScsiProtocolTest, ADriveThatReportsByAnotherMethodKeepsIt) {
  for (const std::uint8_t method : Bytes{0, 2, 4, 6}) {
    bridge->expect(ModeSense6IECPage(nullptr, 32)).returns(ModeData(false, 0, method).sensed);
    EXPECT_EQ(protocol.SetSmartEnabled(1), ProtocolResult::Success);
  }
}

TEST_F(ScsiProtocolTest, NothingUnknownIsWrittenBackAsSmartState) {
  const Bytes sense6 = {0x1A, 8, 0x1C, 0, 32, 0};
  const Bytes sense10 = {0x5A, 8, 0x1C, 0, 0, 0, 0, 0, 32, 0};
  Bytes otherPage(16);
  otherPage[4] = 0x08;
  Bytes withDescriptor(28);
  withDescriptor[7] = 8;
  withDescriptor[8] = 0x1C;
  bridge->expect(sense6).in(32).returns(otherPage);
  bridge->expect(sense10).in(32).returns(withDescriptor);
  EXPECT_EQ(protocol.SetSmartEnabled(1), ProtocolResult::InvalidDeviceData);

  // The failed try saved nothing, so that disabling leaves the drive as it is.
  Bytes mode(20);
  mode[8] = 0x1C;
  mode[10] = 0x08;
  mode[11] = 0x03;
  bridge->expect(sense6).in(32).status(2);
  bridge->expect(sense10).in(32).returns(mode);
  bridge->expect({0x55, 0x10, 0, 0, 0, 0, 0, 0, 20, 0}).carries(mode);
  EXPECT_EQ(protocol.SetSmartEnabled(0), ProtocolResult::Success);
}

TEST_F(ScsiProtocolTest, HealthComesFromTheLogPageThenFromRequestSense) {
  const Bytes log = {0x4D, 0, 0x6F, 0, 0, 0, 0, 0, 252, 0};
  const Bytes request = {3, 0, 0, 0, 252, 0};
  Bytes failing = {0x2F, 0, 0, 7, 0, 0, 0, 4, 0x5D, 0, 30};
  Bytes healthyPage = failing;
  healthyPage[8] = 0;
  std::uint8_t healthy = 9;
  const auto verdict = [&] {
    EXPECT_EQ(protocol.GetSmartStatus(&healthy), ProtocolResult::Success);
    return healthy;
  };
  bridge->expect(log).in(252).returns(failing);
  EXPECT_EQ(verdict(), 0);
  bridge->expect(log).in(252).returns(healthyPage);
  bridge->expect(request).in(252).returns(fixedSense(0));
  EXPECT_EQ(verdict(), 1);
  bridge->expect(log).in(252).senses(fixedSense(5));
  bridge->expect(request).in(252).returns(fixedSense(0, 0x5D));
  EXPECT_EQ(verdict(), 0);

  // A drive that is lost has no verdict, whatever its controller answers in its place.
  bridge->expect(log).in(252).fails(ProtocolResult::TransportFailure);
  EXPECT_EQ(protocol.GetSmartStatus(&healthy), ProtocolResult::TransportFailure);

  // A page longer than the buffer is asked for again in its size; the rest is up to the platform.
  Bytes longPage = failing;
  longPage[2] = longPage[3] = 0xFF;
  bridge->expect(log).in(252).returns(longPage);
  bridge->expect({0x4D, 0, 0x6F, 0, 0, 0, 0, 0xFF, 0xFF, 0}).in(0xFFFF).returns(Bytes(8));
  bridge->expect(request).in(252).returns(Bytes(6, 0x70));
  healthy = 9;
  EXPECT_EQ(protocol.GetSmartStatus(&healthy), ProtocolResult::TransportFailure);
  EXPECT_EQ(healthy, 9);
}

TEST_F(ScsiProtocolTest, SelfTestsAndTemperatureAreReadAsFarAsTheDeviceAnswers) {
  bridge->expect({0x1D, 0x04, 0, 0, 0, 0}).status(8);
  EXPECT_EQ(protocol.StartSelfTest(0, 0), ProtocolResult::ScsiStatusNotGood);
  EXPECT_EQ(protocol.GetLastDiagnosticStatus(), 8);
  bridge->expect({0x1D, 0x80, 0, 0, 0, 0}).status(8);
  EXPECT_EQ(protocol.AbortSelfTest(), ProtocolResult::Failure);

  std::uint8_t value = 99;
  Bytes running = fixedSense(2, 4, 9);
  running[15] = 0x80, running[16] = 0x80, running[17] = 1;
  bridge->expect({3, 0, 0, 0, 252, 0}).in(252).returns(running);
  EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 50);
  for (const Bytes& answer :
       {Bytes{0x72, 0, 4, 9, 0, 0, 0, 0}, fixedSense(3), fixedSense(0), Bytes()}) {
    bridge->expect(RequestSense(nullptr, 252)).in(252).returns(answer);
    EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Failure);
  }

  const Bytes selfTestLog = {0x4D, 0, 0x50, 0, 0, 0, 0, 0, 252, 0};
  Bytes page(24);
  page[0] = 0x10;
  std::uint64_t lba = 0;
  std::fill_n(page.begin() + 12, 8, std::uint8_t{0xFF});
  bridge->expect(selfTestLog).in(252).returns(page);
  EXPECT_EQ(protocol.GetFirstFailedLba(&lba), ProtocolResult::Failure);
  EXPECT_EQ(lba, ~0ull);
  for (const Bytes& none : {Bytes{0x10, 0, 0, 4, 0, 1, 3, 16}, Bytes(24)}) {
    bridge->expect(selfTestLog).in(252).returns(none);
    EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::Failure);
  }

  for (const int celsius : {41, 255}) {
    Bytes temperature(16);
    temperature[0] = 0x0D;
    temperature[9] = static_cast<std::uint8_t>(celsius);
    bridge->expect({0x4D, 0, 0x4D, 0, 0, 0, 0, 0, 252, 0}).in(252).returns(temperature);
    EXPECT_EQ(protocol.GetTemperature(&value),
              celsius == 41 ? ProtocolResult::Success : ProtocolResult::Failure);
    EXPECT_EQ(value, 41);
  }
}

TEST_F(ScsiProtocolTest, FailoverAndWhatScsiDoesNotKnow) {
  ScsiProtocol empty;
  RequestSense command(buffer.data(), 252);
  EXPECT_EQ(empty.SendThroughBridges(command), ProtocolResult::CommandRejected);
  const auto second = std::make_shared<ScriptedScsiBridge>();
  EXPECT_TRUE(protocol.AddBridge(second));
  EXPECT_FALSE(protocol.AddBridge(second));
  bridge->expect(command).fails(ProtocolResult::TransportFailure);
  second->expect(command);
  EXPECT_EQ(protocol.SendThroughBridges(command), ProtocolResult::Success);
  const RequestSense again(nullptr, 252);
  second->expect(again);
  RequestSense next(buffer.data(), 252);
  EXPECT_EQ(protocol.SendThroughBridges(next), ProtocolResult::Success);
  EXPECT_EQ(NvmeScsiProtocol().SetSmartEnabled(1), ProtocolResult::Success);
  std::uint32_t mode = 77;
  EXPECT_EQ(protocol.GetPowerMode(&mode), ProtocolResult::Success);
  EXPECT_EQ(mode, 77u);
}

}  // namespace
}  // namespace ostria::storage::test
