// The ATA protocol before a scripted bridge: exact registers, and answers that are none.
#include "transport/ata/ata_protocol.h"

#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "tests/support/scripted_ata_bridge.h"
#include "transport/ata/ata_identify.h"

namespace ostria::storage::test {
namespace {

/// Words of an identify page.
using Words = std::vector<std::pair<std::size_t, std::uint16_t>>;

void setWords(Bytes& page, const Words& words) {
  for (const auto& [word, value] : words) {
    storeLe16(&page[2 * word], value);
  }
}
void setText(Bytes& page, std::size_t word, std::size_t words, std::string text) {
  text.resize(2 * words, ' ');
  for (std::size_t i = 0; i < text.size(); ++i) {
    page[2 * word + (i ^ 1)] = static_cast<std::uint8_t>(text[i]);
  }
}
Bytes sealed(Bytes page) {
  std::uint8_t sum = 0;
  for (std::size_t i = 0; i < 511; ++i) {
    sum = static_cast<std::uint8_t>(sum + page[i]);
  }
  page[511] = static_cast<std::uint8_t>(-sum);
  return page;
}

/// A 48-bit drive of 0x123456789A sectors with SMART, but for what is said otherwise.
Bytes identifyPage(const Words& otherwise = {}) {
  Bytes page(512);
  setText(page, 10, 10, "  SN-42 ");
  setText(page, 23, 4, "FW1");
  setText(page, 27, 20, "ACME Disk 9");
  setWords(page, {{60, 0x5678},
                  {61, 0x0234},
                  {80, 0x01F0},
                  {81, 66},
                  {82, 3},
                  {83, 1 << 10},
                  {85, 3},
                  {100, 0x789A},
                  {101, 0x3456},
                  {102, 0x12},
                  {128, 4}});
  setWords(page, otherwise);
  page[510] = 0xA5;
  return sealed(page);
}

/// A SMART data or threshold page with entries of 12 bytes.
Bytes smartPage(std::vector<Bytes> entries) {
  Bytes page(512);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::copy(entries[i].begin(), entries[i].end(), page.begin() + 2 + 12 * static_cast<long>(i));
  }
  return page;
}

class AtaProtocolTest : public testing::Test {
 protected:
  AtaProtocolTest() { protocol.AddBridge(bridge); }

  void expectIdentify(Bytes page) {
    const bool smart = (page[164] & 1) != 0;
    bridge->expect(IdentifyDevice(nullptr)).returns(std::move(page));
    bridge->expect(ReadLogExt(0xDF, 1, nullptr, 0)).error(4);
    if (smart) {
      bridge->expect(SmartReadData(nullptr)).fails(ProtocolResult::TransportFailure);
    }
  }
  void identify(Bytes page) {
    expectIdentify(std::move(page));
    ASSERT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  }
  void expectSmart(Bytes page) { bridge->expect(SmartReadData(nullptr)).returns(std::move(page)); }
  void expectDirectory(std::uint16_t shortPages, std::uint16_t extendedPages) {
    Bytes smart(512), general(512);
    storeLe16(&smart[12], shortPages);
    storeLe16(&smart[14], 99);
    storeLe16(&general[14], extendedPages);
    bridge->expect(SmartReadLog(0, 1, nullptr)).returns(smart);
    bridge->expect(ReadLogExt(0, 1, nullptr, 0)).returns(general);
  }

  std::shared_ptr<ScriptedAtaBridge> bridge = std::make_shared<ScriptedAtaBridge>();
  AtaProtocol protocol;
  StorageProtocolProperties properties;
  Bytes buffer = Bytes(8192);
};

TEST_F(AtaProtocolTest, IdentifyDataBecomeProperties) {
  identify(identifyPage(
      {{106, 0x7003}, {117, 2048}, {214, 0x10}, {215, 0x1111}, {216, 2}, {217, 5400}}));
  EXPECT_EQ(properties.protocolName, "ATA");
  EXPECT_EQ(properties.serialNumber, "SN-42");
  EXPECT_EQ(properties.firmwareRevision, "FW1");
  EXPECT_EQ(properties.modelNumber, "ACME Disk 9");
  EXPECT_EQ(properties.vendor, "Acme");
  EXPECT_EQ(properties.totalSectors, 0x123456789Au);
  EXPECT_EQ(properties.logicalSectorSize, 4096u);
  EXPECT_EQ(properties.physicalSectorSize, 4096u << 3);
  EXPECT_EQ(properties.cacheSize, 0x21111u);
  EXPECT_EQ(properties.rotationRate, 5400);
  EXPECT_FALSE(properties.solidState);
  EXPECT_TRUE(properties.securitySupported && properties.securityLocked);
  EXPECT_TRUE(properties.smartSupported && properties.smartEnabled);
  EXPECT_FALSE(properties.smartDataValid);
  EXPECT_EQ(properties.standards, (std::vector<std::string>{"ATA8-ACS", "ATA7-ATAPI", "ATA6-ATAPI",
                                                            "ATA5-ATAPI", "ATA4-ATAPI"}));
  EXPECT_EQ(properties.standardVersion, "ATA8-ACS version 3f");

  // Word 106 has bit 15 set, so that it means nothing.
  identify(identifyPage({{21, 16}, {82, 0}, {83, 0}, {106, 0xF003}, {217, 1}}));
  EXPECT_EQ(properties.totalSectors, 0x02345678u);
  EXPECT_EQ(properties.logicalSectorSize, 512u);
  EXPECT_EQ(properties.physicalSectorSize, 512u);
  EXPECT_EQ(properties.cacheSize, 16u);
  EXPECT_TRUE(properties.solidState);
  EXPECT_EQ(properties.rotationRate, 0);
  EXPECT_FALSE(properties.smartSupported);
  EXPECT_EQ(properties.standards.size(), 5u);
}

TEST_F(AtaProtocolTest, WordsCountWithinTheirRange) {
  const auto seen = [](const Words& words) {
    StorageProtocolProperties parsed;
    parseIdentifyData(identifyPage(words).data(), parsed);
    return parsed;
  };
  for (const auto& [word, rate] : {std::pair<std::uint16_t, std::uint16_t>{1024, 0},
                                   {1025, 1025},
                                   {65534, 65534},
                                   {65535, 0}}) {
    EXPECT_EQ(seen({{217, word}}).rotationRate, rate);
  }
  // Locked counts only with the security feature switched on.
  EXPECT_TRUE(seen({{85, 2}}).securityLocked);
  EXPECT_FALSE(seen({{85, 0}}).securityLocked);
  EXPECT_FALSE(seen({{128, 0}}).securityLocked);
  // Sizes that no sector has are unknown: buffers are made by them.
  struct Size {
    std::uint16_t word117, word118;
    std::uint32_t bytes;
  };
  for (const Size& c : {Size{256, 0, 512}, Size{2048, 0, 4096}, Size{0x8000, 0, 65536},
                        Size{0x8100, 0, 0}, Size{260, 0, 520}, Size{257, 0, 0}, Size{255, 0, 0},
                        Size{0, 1, 0}, Size{0xFFFF, 0xFFFF, 0}}) {
    const auto parsed = seen({{106, 0x7003}, {117, c.word117}, {118, c.word118}});
    EXPECT_EQ(parsed.logicalSectorSize, c.bytes) << c.word117;
    EXPECT_EQ(parsed.physicalSectorSize, c.bytes << 3) << c.word117;
  }
}

TEST_F(AtaProtocolTest, VersionsAndVendorsAreGuessedByTheirRules) {
  const std::vector<std::string> none = {"VERSION_NOT_REPORTED"};
  for (const std::uint16_t word : std::vector<std::uint16_t>{0, 0xFFFF, 0x0200}) {
    EXPECT_EQ(ataMajorVersions(word), none);
    EXPECT_EQ(AtaVersionName(word), word == 0x0200 ? "UNRECOGNIZED_VERSION" : none[0]);
  }
  const std::pair<const char*, const char*> vendors[] = {
      {"ST2000", "Seagate"},      {"WD10", "Western Digital"}, {"WDC WD10", "Wdc"},
      {"XST1", "Generic Vendor"}, {"", "Generic Vendor"},      {"   ", "Generic Vendor"}};
  for (const auto& [model, vendor] : vendors) {
    EXPECT_EQ(VendorFromModel(model), vendor);
  }
}

TEST_F(AtaProtocolTest, BadIdentifyDataAreRefusedAndProbed) {
  Bytes wrongSum = identifyPage();
  wrongSum[3] ^= 1;
  Bytes packet = identifyPage();
  packet[1] = 0x80;
  for (const Bytes& page : {wrongSum, sealed(packet), Bytes(512), Bytes()}) {
    bridge->expect(IdentifyDevice(nullptr)).returns(page);
    EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::InvalidDeviceData);
    bridge->expect(IdentifyDevice(nullptr)).returns(page);
    EXPECT_FALSE(AtaProtocol::ProbeBridge(*bridge));
  }
  Bytes unsealed = identifyPage();
  unsealed[510] = 0;
  bridge->expect(IdentifyDevice(nullptr)).returns(unsealed);
  EXPECT_TRUE(AtaProtocol::ProbeBridge(*bridge));
  bridge->expect(IdentifyDevice(nullptr)).returns(unsealed).moves(0);
  EXPECT_FALSE(AtaProtocol::ProbeBridge(*bridge));
  bridge->expect(IdentifyDevice(nullptr)).returns(unsealed).fails(ProtocolResult::NoDataReturned);
  EXPECT_FALSE(AtaProtocol::ProbeBridge(*bridge));
  EXPECT_EQ(protocol.GetProperties(nullptr), ProtocolResult::InvalidArgument);
}

TEST_F(AtaProtocolTest, FruNumberAndSmartCapabilitiesAreTaken) {
  Bytes vendorLog(512, '.');
  const std::string marks = "OST";
  std::copy(marks.begin(), marks.end(), vendorLog.begin());
  vendorLog[20] = '8';
  vendorLog[21] = 'S';
  std::fill_n(vendorLog.begin() + 110, 30, std::uint8_t{'F'});
  Bytes smart(512);
  smart[367] = 0x14;
  const auto partNumber = [&](const Bytes& log) {
    bridge->expect(IdentifyDevice(nullptr)).returns(identifyPage());
    for (int i = 0; i < 5; ++i) {
      bridge->expect(ReadLogExt(0xDF, 1, nullptr, 0)).returns(log);
    }
    expectSmart(smart);
    EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
    return properties.fruPartNumber;
  };
  for (const std::size_t mark : {0u, 20u, 21u}) {
    Bytes other = vendorLog;
    other[mark] = '-';
    EXPECT_EQ(partNumber(other), "") << mark;
  }
  EXPECT_EQ(partNumber(vendorLog), std::string(30, 'F'));
  EXPECT_TRUE(properties.smartDataValid && properties.selfTestAbortSupported);
  EXPECT_TRUE(properties.selfTestSupported);
  EXPECT_FALSE(properties.offlineImmediateSupported || properties.conveyanceSupported);
}

TEST_F(AtaProtocolTest, FailoverRestoresTheCommandAndRemembersWhoWorked) {
  AtaProtocol two;
  const auto first = std::make_shared<ScriptedAtaBridge>();
  const auto second = std::make_shared<ScriptedAtaBridge>();
  EXPECT_TRUE(two.AddBridge(first));
  EXPECT_TRUE(two.AddBridge(second));
  EXPECT_FALSE(two.AddBridge(first));

  first->expect(SmartReturnStatus()).fails(ProtocolResult::NoDataReturned);
  second->expect(SmartReturnStatus()).lba(0xF4, 0x2C);
  std::uint8_t healthy = 9;
  EXPECT_EQ(two.GetSmartStatus(&healthy), ProtocolResult::Success);
  EXPECT_EQ(healthy, 0);

  second->expect(SmartReturnStatus()).error(0xFF).fails(ProtocolResult::RegistersUnavailable);
  first->expect(SmartReturnStatus()).lba(0x4F, 0xC2);
  EXPECT_EQ(two.GetSmartStatus(&healthy), ProtocolResult::Success);
  EXPECT_EQ(healthy, 1);
  // Without a verdict of the drive the platform is asked.
  first->expect(SmartReturnStatus()).lba(0x4F, 0x2C);
  EXPECT_EQ(two.GetSmartStatus(&healthy), ProtocolResult::TransportFailure);
  first->expect(SmartReturnStatus()).lba(0x4F, 0xC2).error(4);
  EXPECT_EQ(two.GetSmartStatus(&healthy), ProtocolResult::TransportFailure);
  EXPECT_EQ(healthy, 1);

  AtaIdleImmediate idle;
  first->expect(idle).error(4).fails(ProtocolResult::AccessDenied);
  second->expect(idle).error(4).fails(ProtocolResult::TransportFailure);
  EXPECT_EQ(two.SendThroughBridges(idle), ProtocolResult::TransportFailure);
  EXPECT_EQ(idle.command, 0xE1);
  first->expect(idle).error(4).fails(ProtocolResult::AccessDenied);
  second->expect(idle).error(4).fails(ProtocolResult::NoDataReturned);
  EXPECT_EQ(two.SendThroughBridges(idle), ProtocolResult::NoDataReturned);
  EXPECT_EQ(idle.command, 0x51);
  EXPECT_EQ(AtaProtocol().SendThroughBridges(idle), ProtocolResult::Failure);
}

TEST_F(AtaProtocolTest, ARefusalOfTheDriveIsOfferedToNoOtherBridge) {
  const auto other = std::make_shared<ScriptedAtaBridge>();
  protocol.AddBridge(other);
  for (const std::uint8_t status : Bytes{0x51, 0x41, 0x60, 0x71}) {
    bridge->expect(SmartReadData(nullptr))
        .error(4)
        .ends(status)
        .fails(ProtocolResult::NoDataReturned);
    std::uint8_t celsius = 77;
    EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::NoDataReturned);
    EXPECT_EQ(celsius, 77);
  }
  // A busy device has not answered: all bits of a dead link are set.
  for (const ProtocolResult result : {ProtocolResult::NoDataReturned, ProtocolResult::Success}) {
    bridge->expect(SmartReadData(nullptr)).error(0xFF).ends(0xFF).fails(result);
    other->expect(SmartReadData(nullptr)).error(0xFF).ends(0xD0).fails(result);
    std::uint8_t celsius = 77;
    EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::TransportFailure);
  }
}

TEST_F(AtaProtocolTest, ReadsMapTheDrivesVerdict) {
  EXPECT_EQ(protocol.Read(0, 1, 9, buffer.data(), 512), ProtocolResult::InvalidArgument);
  identify(identifyPage());
  const auto read = [&] { return protocol.Read(0x112233445566, 2, 9, buffer.data(), 1024); };
  const ReadSectorsExt command(0x112233445566, 2, 512, nullptr, 9);
  bridge->expect(command).returns(Bytes(1024, 7));
  EXPECT_EQ(read(), ProtocolResult::Success);
  EXPECT_EQ(buffer[1023], 7);
  struct Case {
    std::uint8_t error;
    ProtocolResult result;
  };
  for (const Case& c : {Case{0xC0, ProtocolResult::MediumError},
                        {0x80, ProtocolResult::InterfaceCrcError},
                        {0x10, ProtocolResult::DeviceError}}) {
    bridge->expect(command).error(c.error);
    EXPECT_EQ(read(), c.result);
    bridge->expect(command).error(c.error).fails(ProtocolResult::NoDataReturned);
    EXPECT_EQ(read(), c.result);
  }
  bridge->expect(command).error(0xFF).ends(0x60);
  EXPECT_EQ(read(), ProtocolResult::DeviceError) << "a device fault";
  bridge->expect(command).error(0xFF).ends(0xFF);
  EXPECT_EQ(read(), ProtocolResult::TransportFailure) << "a dead link";
  bridge->expect(command).fails(ProtocolResult::NoDataReturned);
  EXPECT_EQ(read(), ProtocolResult::NoDataReturned);
  bridge->expect(command).returns(Bytes(1023, 7));
  EXPECT_EQ(read(), ProtocolResult::NoDataReturned) << "a byte is missing";
  bridge->expect(command).error(0x40).fails(ProtocolResult::TransportFailure);
  EXPECT_EQ(read(), ProtocolResult::TransportFailure);
}

TEST_F(AtaProtocolTest, NoRequestIsCutToWhatTheRegistersHold) {
  identify(identifyPage());
  EXPECT_EQ(protocol.Read(0, 0, 9, buffer.data(), 0), ProtocolResult::InvalidArgument);
  EXPECT_EQ(protocol.Read(1ull << 48, 1, 9, buffer.data(), 512), ProtocolResult::InvalidArgument);
  EXPECT_EQ(protocol.WriteUncorrectable(1ull << 48), ProtocolResult::InvalidArgument);
  identify(identifyPage({{83, 0}}));
  EXPECT_EQ(protocol.Read(0, 256, 9, buffer.data(), 0), ProtocolResult::InvalidArgument);
  EXPECT_EQ(protocol.Read(1 << 28, 1, 9, buffer.data(), 0), ProtocolResult::InvalidArgument);
  bridge->expect(ReadSectors((1 << 28) - 1, 1, 512, nullptr, 9)).returns(Bytes(512));
  EXPECT_EQ(protocol.Read((1 << 28) - 1, 1, 9, buffer.data(), 512), ProtocolResult::Success);
}

TEST_F(AtaProtocolTest, AWriteIdentifiesTheDriveAfresh) {
  expectIdentify(identifyPage());
  bridge->expect(WriteSectorsExt(77, 1, 512, nullptr)).carries(Bytes(512, 0x5A));
  const Bytes data(512, 0x5A);
  EXPECT_EQ(protocol.Write(77, 1, 0, data.data()), ProtocolResult::Success);
  expectIdentify(identifyPage());
  bridge->expect(WriteSectorsExt(77, 1, 512, nullptr)).error(0x40);
  EXPECT_EQ(protocol.Write(77, 1, 0, data.data()), ProtocolResult::DeviceError);
  bridge->expect(IdentifyDevice(nullptr)).fails(ProtocolResult::TransportFailure);
  EXPECT_EQ(protocol.Write(77, 1, 0, data.data()), ProtocolResult::TransportFailure);
  bridge->expect(WriteUncorrectableExt(77, 1, true)).error(4);
  EXPECT_EQ(protocol.WriteUncorrectable(77), ProtocolResult::DeviceError);
}

TEST_F(AtaProtocolTest, SmartPagesGiveTemperatureWearAndAttributes) {
  const Bytes page = smartPage({{194, 0, 0, 100, 90, 31, 9},
                                {233, 0, 0, 254, 1},
                                {233, 0, 0, 88, 77, 1, 2, 3, 4, 5, 6},
                                {194, 0, 0, 100, 90, 44},
                                {0, 0, 0, 50},
                                {5, 0, 0, 0, 1},
                                {9, 0, 0, 253, 2}});
  std::uint8_t celsius = 0;
  expectSmart(page);
  EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Success);
  EXPECT_EQ(celsius, 44);
  std::uint32_t wear = ~0u;
  expectSmart(page);
  EXPECT_EQ(protocol.GetWearIndicator(&wear), ProtocolResult::Success);
  EXPECT_EQ(wear, 88u);

  std::vector<SmartAttribute> attributes(1);
  expectSmart(page);
  bridge->expect(SmartReadWarrantyThresholds(nullptr))
      .returns(smartPage({{233, 11}, {1, 2}, {233, 99}, {194, 55}}));
  EXPECT_EQ(protocol.GetSmartAttributes(&attributes), ProtocolResult::Success);
  ASSERT_EQ(attributes.size(), 5u);
  const SmartAttribute wearout = attributes[2];
  EXPECT_EQ(wearout.id, 233);
  EXPECT_EQ(wearout.worst, 77);
  EXPECT_EQ(std::uint32_t{wearout.raw}, 0x04030201u);
  EXPECT_EQ(wearout.threshold, 11);
  EXPECT_EQ(attributes[4].id, 9);
  EXPECT_EQ(attributes[4].threshold, 0);
}

TEST_F(AtaProtocolTest, SelfTestsTellProgressOutcomeAndRefusal) {
  Bytes page(512);
  const auto asked = [&](std::uint8_t status, auto getter) {
    page[363] = status;
    expectSmart(page);
    std::uint8_t value = 99;
    EXPECT_EQ((protocol.*getter)(&value), ProtocolResult::Success);
    return value;
  };
  EXPECT_EQ(asked(0xF3, &AtaProtocol::GetSelfTestProgress), 70);
  EXPECT_EQ(asked(0xF3, &AtaProtocol::GetSelfTestResult), 15);
  EXPECT_EQ(asked(0x0F, &AtaProtocol::GetSelfTestProgress), 0);
  // A page that did not come would read as "passed".
  std::uint8_t value = 77;
  Bytes cut(100);
  cut[0] = 0x10;
  for (const Bytes& nothing : {cut, Bytes(512)}) {
    for (const auto getter : {&AtaProtocol::GetSelfTestResult, &AtaProtocol::GetSelfTestProgress}) {
      expectSmart(nothing);
      EXPECT_EQ((protocol.*getter)(&value), ProtocolResult::DeviceError);
    }
  }
  bridge->expect(SmartReadData(nullptr)).returns(page).error(4);
  EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::DeviceError);
  EXPECT_EQ(value, 77);

  const SmartExecuteOffline start(2, 1);
  const std::pair<std::uint8_t, ProtocolResult> refusals[] = {
      {0x14, ProtocolResult::SelfTestAbortedByDevice},
      {0x10, ProtocolResult::SelfTestIdNotFound},
      {0x01, ProtocolResult::DeviceError}};
  for (const auto& [error, result] : refusals) {
    bridge->expect(start).error(error);
    EXPECT_EQ(protocol.StartSelfTest(2, 1), result);
  }
  bridge->expect(SmartExecuteOffline(0x7F, 0));
  EXPECT_EQ(protocol.AbortSelfTest(), ProtocolResult::Success);

  const std::pair<std::uint8_t, std::uint32_t> modes[] = {{0, 0},    {1, 0},    {0x80, 1},
                                                          {0x83, 1}, {0xFF, 2}, {0x84, 3}};
  for (const auto& [count, expected] : modes) {
    std::uint32_t mode = 99;
    bridge->expect(AtaCheckPowerMode()).count(count);
    EXPECT_EQ(protocol.GetPowerMode(&mode), ProtocolResult::Success);
    EXPECT_EQ(mode, expected);
  }
}

TEST_F(AtaProtocolTest, ALogPageThatStaysBadIsSkipped) {
  Bytes good(512);
  good[0] = 1;
  good = sealed(good);
  Bytes third(512, 0x40);
  Bytes bad(512);
  bad[7] = 1;
  const auto page = [&](std::uint16_t number) -> ScriptedAtaBridge::Step& {
    return bridge->expect(ReadLogExt(3, 1, nullptr, number));
  };
  page(0).returns(third);  // sums up, but no first page
  page(0).returns(good);
  for (int i = 0; i < 5; ++i) {
    page(1).returns(bad);
  }
  page(2).returns(third);
  std::uint16_t pagesRead = 9;
  EXPECT_EQ(protocol.ReadLog(3, 3, buffer.data(), &pagesRead), ProtocolResult::Success);
  EXPECT_EQ(pagesRead, 2);
  EXPECT_EQ(Bytes(buffer.begin() + 512, buffer.begin() + 1024), third);

  // What the drive refuses is asked once, and its zeros, which sum up as well, are no page.
  page(0).returns(good);
  page(1).returns(Bytes(512)).error(4);
  page(2).returns(third);
  EXPECT_EQ(protocol.ReadLog(3, 3, buffer.data(), &pagesRead), ProtocolResult::Success);
  EXPECT_EQ(pagesRead, 2);
  bridge->expect(SmartReadLog(2, 1, nullptr)).returns(good).error(4);
  EXPECT_EQ(protocol.ReadLog(2, 1, buffer.data(), &pagesRead), ProtocolResult::DeviceError);
  EXPECT_EQ(pagesRead, 0);

  page(0).fails(ProtocolResult::AccessDenied);
  EXPECT_EQ(protocol.ReadLog(3, 2, buffer.data(), &pagesRead), ProtocolResult::AccessDenied);
  EXPECT_EQ(pagesRead, 0);
  EXPECT_EQ(protocol.ReadLog(3, 0, buffer.data(), &pagesRead), ProtocolResult::Success);
  EXPECT_EQ(protocol.ReadLog(2, 256, buffer.data(), &pagesRead), ProtocolResult::Success);
  bridge->expect(SmartReadLog(2, 2, nullptr)).returns(third);
  EXPECT_EQ(protocol.ReadLog(2, 2, buffer.data(), &pagesRead), ProtocolResult::DeviceError);
  EXPECT_EQ(protocol.ReadLog(2, 2, nullptr, &pagesRead), ProtocolResult::InvalidArgument);
}

TEST_F(AtaProtocolTest, TheFirstFailedAddressOfTheExtendedLogIsFoundByItsIndex) {
  expectDirectory(1, 2);
  struct Case {
    std::uint16_t index;
    ProtocolResult result;
    std::size_t page, offset;
  };
  const auto failure = ProtocolResult::Failure;
  for (const Case& c : {Case{19, ProtocolResult::Success, 0, 4 + 26 * 18},
                        {20, ProtocolResult::Success, 1, 4},
                        {3, failure, 1, 4},  // a descriptor that was never written
                        {39, failure, 1, 4},
                        {0xFFFF, failure, 1, 4},
                        {0, failure, 1, 4}}) {
    Bytes pages[2] = {Bytes(512), Bytes(512)};
    pages[0][0] = 1;
    storeLe16(&pages[0][2], c.index);
    for (std::size_t i = 0; i < 6; ++i) {
      pages[c.page][c.offset + 5 + i] = static_cast<std::uint8_t>(i + 1);
    }
    bridge->expect(ReadLogExt(7, 1, nullptr, 0)).returns(sealed(pages[0]));
    bridge->expect(ReadLogExt(7, 1, nullptr, 1)).returns(sealed(pages[1]));
    std::uint64_t lba = 5;
    EXPECT_EQ(protocol.GetFirstFailedLba(&lba), c.result) << c.index;
    EXPECT_EQ(lba, succeeded(c.result) ? 0x060504030201u : 5u);
  }
}

TEST_F(AtaProtocolTest, ADirectoryThatWasNotReadIsAskedForAgain) {
  const auto lose = [&](auto&& smart, auto&& general) {
    smart(bridge->expect(SmartReadLog(0, 1, nullptr)));
    general(bridge->expect(ReadLogExt(0, 1, nullptr, 0)));
  };
  const auto refused = [](ScriptedAtaBridge::Step& step) { step.error(4); };
  const auto lost = [](ScriptedAtaBridge::Step& step) {
    step.fails(ProtocolResult::TransportFailure);
  };
  const auto cut = [](ScriptedAtaBridge::Step& step) { step.returns(Bytes(511, 1)); };
  const auto read = [](ScriptedAtaBridge::Step& step) {
    Bytes page(512);
    storeLe16(&page[12], 4);
    step.returns(page);
  };
  lose(lost, lost);
  EXPECT_EQ(protocol.GetLogPageCount(6), 0);
  lose(refused, cut);
  EXPECT_EQ(protocol.GetLogPageCount(6), 0);
  lose(refused, refused);
  EXPECT_EQ(protocol.GetLogPageCount(6), 0);
  lose(read, lost);
  EXPECT_EQ(protocol.GetLogPageCount(6), 4);
  EXPECT_EQ(protocol.GetLogPageCount(6), 4);
  lose(read, refused);
  EXPECT_EQ(protocol.GetLogPageCount(7), 0);
  EXPECT_EQ(protocol.GetLogPageCount(7), 0) << "one directory read and one refused is all there is";
}

TEST_F(AtaProtocolTest, ASelfTestLogOfAnotherFormNamesNoAddress) {
  struct Case {
    std::uint16_t shortPages, extendedPages;
  };
  // More pages than can be reached; and the short log has one page: what claims more is not it.
  for (const Case& c : {Case{1, 0xFFFF}, Case{2, 0}}) {
    AtaProtocol other;
    other.AddBridge(bridge);
    expectDirectory(c.shortPages, c.extendedPages);
    std::uint64_t lba = 5;
    EXPECT_EQ(other.GetFirstFailedLba(&lba), ProtocolResult::Failure);
    EXPECT_EQ(other.GetLogPageCount(7), c.extendedPages);
    EXPECT_EQ(other.GetLogPageCount(9), 0);
    EXPECT_EQ(lba, 5u);
  }
}

TEST_F(AtaProtocolTest, TheShortSelfTestLogServesDrivesWithoutTheExtendedOne) {
  expectDirectory(1, 0);
  for (const int index : {1, 21, 0, 22, 255, 2}) {
    Bytes page(512);
    page[0] = 1;
    page[508] = static_cast<std::uint8_t>(index);
    // The second entry was never written.
    const bool valid = index == 1 || index == 21;
    if (valid) {
      storeLe32(&page[static_cast<std::size_t>(24 * index - 17)], 0x11223344);
    }
    bridge->expect(SmartReadLog(6, 1, nullptr)).returns(sealed(page));
    std::uint64_t lba = 5;
    EXPECT_EQ(protocol.GetFirstFailedLba(&lba),
              valid ? ProtocolResult::Success : ProtocolResult::Failure);
    EXPECT_EQ(lba, valid ? 0x11223344u : 5u);
  }
}

}  // namespace
}  // namespace ostria::storage::test
