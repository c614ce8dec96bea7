// Fuzz target: every protocol over bridges that answer fuzz bytes. The input says which protocol,
// which operations, and what each command comes back with: result, registers, status, sense,
// counts, data. Beside memory errors it looks for one lie: a read that is a success although the
// command behind it was none.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <vector>

#include "raid/csmi/csmi_bridges.h"
#include "raid/csmi/csmi_cmd.h"
#include "raid/lsi/lsi_bridges.h"
#include "services/string_handler_imp.h"
#include "tests/fuzz/input.h"
#include "transport/ata/ata_protocol.h"
#include "transport/hal/hal_ata_send.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_nvme_send.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/hal/nvme_namespace.h"
#include "transport/hal/predict_failure.h"
#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/nvme/nvme_protocol.h"
#include "transport/nvme/nvme_scsi_protocol.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/tunnels/usb_tunnels.h"

namespace ostria::storage {

// What the platform would define. The bridges here reach no platform.
HalAtaSend& halAtaSend() { std::abort(); }
HalScsiSend& halScsiSend() { std::abort(); }
HalNvmeSend& halNvmeSend() { std::abort(); }
HalNvmeIntelSend& halNvmeIntelSend() { std::abort(); }
HalNvmeMiniIntelSend& halNvmeMiniIntelSend() { std::abort(); }
std::uint32_t nvmeNamespaceOf(DeviceHandle) { return 1; }
ProtocolResult queryPredictedFailure(DeviceHandle, bool*) {
  return ProtocolResult::TransportFailure;
}
StringHandler& getLocalStringHandler() {
  static StringHandlerImp handler;
  return handler;
}
std::wstring toWide(const std::string& text) { return {text.begin(), text.end()}; }
std::string toNarrow(const std::wstring& text) { return std::string(text.size(), '?'); }

namespace test {
namespace {

/// Whether the last data-in command came back whole and without an objection.
bool cameWhole = false;

ProtocolResult resultFrom(Input& in) {
  constexpr ProtocolResult kFailures[] = {
      ProtocolResult::NoDataReturned, ProtocolResult::TransportFailure,
      ProtocolResult::AccessDenied, ProtocolResult::Failure, ProtocolResult::RegistersUnavailable};
  const std::uint8_t choice = in.byte();
  return choice < 0xC0 ? ProtocolResult::Success : kFailures[choice % std::size(kFailures)];
}

/// Data of a reply: some leading bytes from the input, then one repeated, and a checksum when
/// wanted, since no mutation hits that by chance.
void answer(Input& in, void* data, std::uint64_t bytes) {
  if (data == nullptr || bytes == 0) {
    return;
  }
  auto* const out = static_cast<std::uint8_t*>(data);
  const std::uint8_t form = in.byte();
  std::fill_n(out, bytes, static_cast<std::uint8_t>((form & 0x40) != 0 ? in.byte() : 0));
  in.fill(out, std::min<std::uint64_t>(bytes, std::size_t{form & 0x0Fu} * 36));
  if ((form & 0x80) != 0 && bytes >= 512) {
    const auto patchAt = static_cast<std::size_t>(in.number(2)) % 504;
    in.fill(out + patchAt, 8);
    out[511] = 0;
    out[511] = static_cast<std::uint8_t>(0u - std::accumulate(out, out + 512, 0u));
  }
}

std::uint64_t movedOf(Input& in, std::uint64_t asked) {
  const std::uint8_t choice = in.byte();
  return choice < 0xC0 ? asked : asked * (choice & 0x3Fu) / 64;
}

/// A bridge that answers with the input.
template <typename Bridge>
struct FuzzBridge : Bridge {
  explicit FuzzBridge(Input& in) : Bridge(DeviceHandle(1)), in_(in) {}

 protected:
  Input& in_;
};

struct FuzzAtaBridge final : FuzzBridge<AtaBridge> {
  using FuzzBridge::FuzzBridge;
  ProtocolResult Send(AtaCmd& command) override {
    const ProtocolResult result = resultFrom(in_);
    const bool dataIn = command.dataDirection == DataDirection::FromDevice;
    const std::uint64_t asked = command.transferBytes;
    if (dataIn && succeeded(result)) {
      answer(in_, command.data, asked);
      command.transferBytes = movedOf(in_, asked);
    }
    std::uint8_t* const registers[] = {&command.features, &command.sectorCount, &command.lbaLow,
                                       &command.lbaMid,   &command.lbaHigh,     &command.device};
    for (std::uint8_t* const value : registers) {
      *value = in_.byte();
    }
    const std::uint8_t status = in_.byte();
    command.command = status < 0xA0 ? 0x50 : status;
    cameWhole = succeeded(result) && command.transferBytes >= asked && command.command == 0x50;
    return result;
  }
};

struct FuzzScsiBridge final : FuzzBridge<ScsiBridge> {
  using FuzzBridge::FuzzBridge;
  ProtocolResult Send(ScsiCmd& command) override {
    const ProtocolResult result = resultFrom(in_);
    if (!succeeded(result)) {
      return result;
    }
    const std::uint64_t asked = command.transferBytes;
    if (command.direction == DataDirection::FromDevice) {
      answer(in_, command.data, asked);
    }
    command.transferBytes = movedOf(in_, asked);
    const std::uint8_t status = in_.byte();
    command.scsiStatus = status < 0x60 ? 0 : status < 0xC0 ? 2 : status & 0x38;
    if (command.scsiStatus != 0 || (status & 1) != 0) {
      in_.fill(command.sense.data(), command.sense.size());
      command.senseLength = in_.number(2) % 300;
    }
    cameWhole = command.transferBytes >= asked &&
                (command.scsiStatus == 0 || (command.scsiStatus == 2 && command.senseLength > 0));
    return result;
  }
};

struct FuzzNvmeBridge final : FuzzBridge<NvmeBridge> {
  using FuzzBridge::FuzzBridge;
  ProtocolResult Send(NvmeCmd& command) override {
    const ProtocolResult result = resultFrom(in_);
    if (succeeded(result) && command.fromDevice != 0) {
      answer(in_, command.data, command.transferBytes);
    }
    cameWhole = succeeded(result);
    return result;
  }
};

/// A miniport and a vendor's library that answer each request with fuzz bytes.
class FuzzController final : public CsmiSend, public LsiSender {
 public:
  explicit FuzzController(Input& in) : in_(in) {}
  ProtocolResult send(DeviceHandle, CsmiCmd& command) override {
    const ProtocolResult result = resultFrom(in_);
    answer(in_, command.buffer().data() + CsmiCmd::kHeaderBytes,
           command.buffer().size() - CsmiCmd::kHeaderBytes);
    cameWhole = succeeded(result);
    return result;
  }
  std::uint32_t execute(LsiCmd& command) override {
    const std::uint8_t failed = in_.byte();
    answer(in_, command.buffer().data(), command.buffer().size());
    cameWhole = true;
    return failed < 0xC0 ? 0 : failed;
  }

 private:
  Input& in_;
};

template <typename Protocol, typename Bridge>
std::unique_ptr<StorageProtocol> over(std::unique_ptr<Protocol> protocol,
                                      const std::shared_ptr<Bridge>& bridge) {
  protocol->AddBridge(bridge);
  return protocol;
}

/// Drives behind RAID controllers; the controller outlives the protocol.
std::unique_ptr<StorageProtocol> makeMember(Input& in, FuzzController& raid) {
  const DeviceHandle port(1);
  switch (in.byte() & 3) {
    case 3:
      return over(std::make_unique<AtaProtocol>(),
                  std::make_shared<CsmiStpBridge>(port, &raid, CsmiPhyEntry()));
    case 2:
      return over(std::make_unique<AtaProtocol>(), std::make_shared<LsiStpBridge>(1, 2, &raid));
    case 1:
      return over(std::make_unique<ScsiProtocol>(),
                  std::make_shared<CsmiSspBridge>(port, &raid, CsmiPhyEntry()));
    default:
      return over(std::make_unique<ScsiProtocol>(), std::make_shared<LsiSspBridge>(1, 2, &raid));
  }
}

std::unique_ptr<StorageProtocol> makeProtocol(Input& in, FuzzController& raid) {
  const auto scsi = std::make_shared<FuzzScsiBridge>(in);
  auto ata = std::make_unique<AtaProtocol>();
  switch (in.byte() % 6) {
    case 0:
      ata->AddBridge(std::make_shared<FuzzAtaBridge>(in));
      if ((in.byte() & 1) != 0) {
        ata->AddBridge(usbTunnels()[0].over(scsi));
      }
      return ata;
    case 1: {
      const std::uint8_t which = in.byte();
      for (std::size_t i = 0; i < usbTunnels().size(); ++i) {
        if ((which >> i & 1) != 0) {
          ata->AddBridge(usbTunnels()[i].over(scsi));
        }
      }
      return ata;
    }
    case 2:
      return over(std::make_unique<ScsiProtocol>(), scsi);
    case 3:
      return over(std::make_unique<NvmeScsiProtocol>(), scsi);
    case 5:
      return makeMember(in, raid);
    default:
      return over(std::make_unique<NvmeProtocol>(DeviceHandle(1), ""),
                  std::make_shared<FuzzNvmeBridge>(in));
  }
}

/// A buffer of just the size that the sectors take, so that one byte more is seen.
void transfer(StorageProtocol& protocol, Input& in, bool write) {
  constexpr std::size_t kMostSectors = 4;
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetCachedProperties(&properties))) {
    return;
  }
  const std::uint64_t lba = in.number(in.byte() % 9);
  const auto sectors = static_cast<std::uint16_t>(in.byte() % (kMostSectors + 1));
  // A write identifies the drive anew, which may change the sector size under its feet: the
  // caller's buffer has room for the largest.
  const std::size_t sectorBytes = write ? 65536 : properties.logicalSectorSize;
  std::vector<std::uint8_t> buffer(sectors * sectorBytes);
  std::uint8_t nothing = 0;
  void* const data = buffer.empty() ? &nothing : buffer.data();
  if (write) {
    (void)protocol.Write(lba, sectors, 0, data);
    return;
  }
  cameWhole = false;
  const ProtocolResult result =
      protocol.Read(lba, sectors, 5, data, static_cast<std::uint32_t>(buffer.size()));
  if (succeeded(result) && !cameWhole) {
    std::fputs("a read is a success although its command was none\n", stderr);
    std::abort();
  }
}

void logs(StorageProtocol& protocol, Input& in) {
  auto* const ata = dynamic_cast<AtaProtocol*>(&protocol);
  if (ata == nullptr) {
    return;
  }
  constexpr std::uint16_t kMostPages = 3;
  const std::uint8_t log = in.byte();
  const std::uint16_t pages = std::min(ata->GetLogPageCount(log), kMostPages);
  std::vector<std::uint8_t> buffer(std::size_t{pages} * kAtaPageBytes + 1);
  std::uint16_t pagesRead = 0;
  (void)ata->ReadLog(log, pages, buffer.data(), &pagesRead);
  if (pagesRead > pages) {
    std::abort();
  }
  std::vector<SmartAttribute> attributes;
  (void)ata->GetSmartAttributes(&attributes);
}

using Operation = void (*)(StorageProtocol&, Input&);

template <ProtocolResult (StorageProtocol::*kGetter)(std::uint8_t*)>
void ask(StorageProtocol& protocol, Input&) {
  std::uint8_t byte = 0;
  (void)(protocol.*kGetter)(&byte);
}

constexpr Operation kOperations[] = {
    [](StorageProtocol& protocol, Input& in) {
      StorageProtocolProperties properties;
      properties.busKind = (in.byte() & 1) != 0 ? StorageBusKind::Usb : StorageBusKind::Unknown;
      (void)protocol.GetProperties(&properties);
    },
    [](StorageProtocol& protocol, Input& in) { transfer(protocol, in, false); },
    [](StorageProtocol& protocol, Input& in) { transfer(protocol, in, true); },
    ask<&StorageProtocol::GetTemperature>,
    [](StorageProtocol& protocol, Input& in) {
      (void)protocol.StartSelfTest(in.byte(), in.byte());
    },
    ask<&StorageProtocol::GetSelfTestProgress>,
    ask<&StorageProtocol::GetSelfTestResult>,
    [](StorageProtocol& protocol, Input&) {
      std::uint64_t lba = 0;
      (void)protocol.GetFirstFailedLba(&lba);
    },
    ask<&StorageProtocol::GetSmartStatus>,
    [](StorageProtocol& protocol, Input& in) { (void)protocol.SetSmartEnabled(in.byte() & 1); },
    [](StorageProtocol& protocol, Input&) {
      std::uint32_t number = 0;
      (void)protocol.GetWearIndicator(&number);
      (void)protocol.GetPowerMode(&number);
    },
    [](StorageProtocol& protocol, Input&) {
      (void)protocol.AbortSelfTest();
      (void)protocol.IdleImmediate();
    },
    [](StorageProtocol& protocol, Input& in) { (void)protocol.WriteUncorrectable(in.number(6)); },
    logs};

}  // namespace
}  // namespace test
}  // namespace ostria::storage

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes) {
  using namespace ostria::storage;
  using namespace ostria::storage::test;
  constexpr int kMostOperations = 12;
  Input in(data, bytes);
  FuzzController raid(in);
  const std::unique_ptr<StorageProtocol> protocol = makeProtocol(in, raid);
  for (int i = 0; i < kMostOperations && !in.empty(); ++i) {
    kOperations[in.byte() % std::size(kOperations)](*protocol, in);
  }
  return 0;
}
