// The questions are those of the inventory and of the tests, put through the protocols that ask
// them, so that a recorded drive has an answer where the real one had.
#include "inventory/recording/recording_report.h"

#include <algorithm>
#include <array>
#include <memory>
#include <tuple>

#include "inventory/recording/drive_object.h"
#include "inventory/recording/drive_recorder.h"
#include "inventory/recording/masked_pages.h"
#include "transport/ata/ata_protocol.h"
#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_logs.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/tunnels/usb_tunnels.h"
#include "transport/vendor_log.h"

namespace ostria::storage {
namespace {

// What a drive says of itself is of use, whatever became of the other questions.
void askAta(AtaProtocol& protocol) {
  constexpr std::uint16_t kMostPages = 16;
  constexpr std::uint8_t kLogs[] = {1, 2, 3, 6, 7};
  std::vector<SmartAttribute> attributes;
  std::ignore = protocol.GetSmartAttributes(&attributes);
  std::vector<std::uint8_t> pages(kMostPages * kAtaPageBytes);
  std::uint16_t pagesRead = 0;
  for (const std::uint8_t log : kLogs) {
    const std::uint16_t count = std::min(protocol.GetLogPageCount(log), kMostPages);
    std::ignore = protocol.ReadLog(log, count, pages.data(), &pagesRead);
  }
  std::ignore = protocol.ReadLog(kVendorLog, 1, pages.data(), &pagesRead);
}

void askNvme(NvmeLogs& logs) {
  constexpr std::uint16_t kFirstGroup = 1;
  NvmeIdentifyRecord identity;
  std::ignore = logs.ReadIdentity(&identity);
  std::vector<std::uint8_t> page(kNvmeHealthLogBytes);
  std::ignore = logs.ReadLog(page.data(), kNvmeHealthLogBytes, kNvmeHealthLog, 0);
  std::ignore = logs.ReadLog(page.data(), kNvmeVendorLogBytes, kNvmeVendorLog, 0);
  std::ignore = logs.ReadLog(page.data(), kNvmeHealthLogBytes, kNvmeEnduranceGroupLog, kFirstGroup);
}

// @param spare  a USB adapter, which may hang on what is asked of a drive
void ask(StorageProtocol& protocol, bool spare) {
  std::uint32_t word = 0;
  std::uint8_t byte = 0;
  std::uint64_t lba = 0;
  StorageProtocolProperties properties;
  // First, as the others wake the drive.
  std::ignore = protocol.GetPowerMode(&word);
  std::ignore = protocol.GetProperties(&properties);
  std::ignore = protocol.GetTemperature(&byte);
  if (spare) {
    return;
  }
  std::ignore = protocol.GetSmartStatus(&byte);
  std::ignore = protocol.GetWearIndicator(&word);
  std::ignore = protocol.GetSelfTestOperation(&byte);
  std::ignore = protocol.GetSelfTestProgress(&byte);
  std::ignore = protocol.GetSelfTestResult(&byte);
  std::ignore = protocol.GetFirstFailedLba(&lba);
  if (auto* const ata = dynamic_cast<AtaProtocol*>(&protocol)) {
    askAta(*ata);
  }
  if (NvmeLogs* const logs = nvmeLogsOf(&protocol)) {
    askNvme(*logs);
  }
}

/// Whether a SCSI drive says that it knows SEND DIAGNOSTIC, which no recording may send: REPORT
/// SUPPORTED OPERATION CODES of that one.
bool takesDiagnostics(ScsiProtocol& protocol) {
  constexpr std::uint8_t kOneCommand = 1;
  constexpr std::uint8_t kSendDiagnostic = 0x1D;
  constexpr std::uint8_t kBytes = 4;
  constexpr std::uint8_t kAsTheStandardSays = 3;
  std::array<std::uint8_t, kBytes> answer{};
  ScsiCmd command;
  command.cdb = {0xA3, 0x0C, kOneCommand, kSendDiagnostic, 0, 0, 0, 0, 0, kBytes};
  command.cdbLength = 12;
  command.data = answer.data();
  command.transferBytes = answer.size();
  command.direction = DataDirection::FromDevice;
  return succeeded(protocol.SendThroughBridges(command)) && command.hasStatus(ScsiStatus::Good) &&
         command.transferBytes >= 2 && (answer[1] & 0x07) == kAsTheStandardSays;
}

/// Which of the commands for USB adapters brings ATA commands to the drive, and its registers back;
/// nothing when none does.
const UsbTunnel* findTunnel(DeviceHandle handle) {
  const auto scsi = std::make_shared<ScsiBridge>(handle);
  const UsbTunnel* found = nullptr;
  for (const UsbTunnel& tunnel : usbTunnels()) {
    AtaProtocol protocol;
    protocol.AddBridge(tunnel.over(scsi));
    std::uint32_t mode = 0;
    StorageProtocolProperties properties;
    // A refusal came with registers as well.
    const ProtocolResult result = protocol.GetPowerMode(&mode);
    if (succeeded(result) || result == ProtocolResult::DeviceError) {
      return &tunnel;
    }
    if (found == nullptr && succeeded(protocol.GetProperties(&properties))) {
      found = &tunnel;
    }
  }
  return found;
}

/// The ATA side of an external drive, by the ways that the inventory knows.
void askBehindUsb(StorageComponent& component, DriveRecorder& recorder,
                  StorageProtocolProperties& device) {
  const DeviceHandle handle = component.storageProtocol()->GetDeviceHandle();
  const UsbTunnel* const tunnel = findTunnel(handle);
  if (tunnel == nullptr) {
    return;
  }
  AtaProtocol own;
  own.AddBridge(tunnel->over(std::make_shared<ScsiBridge>(handle)));
  StorageProtocol* const secondary = component.secondaryProtocol();
  StorageProtocol* protocol = &own;
  if (tunnel->carriesAll && secondary != nullptr) {
    protocol = secondary;
  }
  {
    const RecordingScope scope(recorder);
    ask(*protocol, !tunnel->carriesAll);
  }
  recorder.tunnel = static_cast<std::size_t>(tunnel - usbTunnels().data());
  const std::string vendor = device.vendor;
  if (succeeded(protocol->GetCachedProperties(&device))) {
    device.vendor = vendor;
  }
}

}  // namespace

bool makeRecordingReport(StorageComponent& component, bool masked, std::string& text) {
  StorageProtocol* const protocol = component.storageProtocol();
  if (protocol == nullptr) {
    return false;
  }
  const bool external = component.connection() == DeviceConnection::External;
  DriveRecorder recorder;
  {
    const RecordingScope scope(recorder);
    ask(*protocol, external && protocol->GetProtocolKind() == ProtocolKind::Scsi);
  }
  StorageProtocolProperties device;
  std::ignore = protocol->GetCachedProperties(&device);
  if (external) {
    askBehindUsb(component, recorder, device);
  }
  std::uint8_t healthy = 0;
  recorder.systemPredicts = succeeded(protocol->PredictFailureFallback(&healthy));
  auto* const scsi = dynamic_cast<ScsiProtocol*>(protocol);
  recorder.takesDiagnostics = scsi != nullptr && !external && takesDiagnostics(*scsi);
  if (component.controllerAccess() == StorageComponent::kConfirmedNvmeController) {
    bool fatal = false;
    recorder.controllerFatal =
        succeeded(component.controllerFatalStatus(&fatal)) ? fatal : std::optional<bool>();
    recorder.hasController = true;
  }
  if (recorder.ata.empty() && recorder.scsi.empty() && recorder.nvme.empty() &&
      device.totalSectors == 0) {
    return false;
  }
  if (masked) {
    maskPages(recorder, device);
  }
  text = driveObject(component, device, recorder);
  return true;
}

}  // namespace ostria::storage
