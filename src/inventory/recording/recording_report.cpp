// The questions are those of the inventory and of the tests, put through the protocols that ask
// them, so that a recorded drive has an answer where the real one had.
#include "inventory/recording/recording_report.h"

#include <algorithm>
#include <tuple>

#include "inventory/recording/drive_object.h"
#include "inventory/recording/drive_recorder.h"
#include "inventory/recording/masked_pages.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/ata/ata_protocol.h"
#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_logs.h"
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

}  // namespace

bool makeRecordingReport(StorageComponent& component, bool masked, std::string& text) {
  StorageProtocol* const protocol = component.storageProtocol();
  if (protocol == nullptr) {
    return false;
  }
  DriveRecorder recorder;
  {
    const RecordingScope scope(recorder);
    const bool external = component.connection() == DeviceConnection::External;
    ask(*protocol, external && protocol->GetProtocolKind() == ProtocolKind::Scsi);
    if (component.secondaryProtocol() != nullptr) {
      ask(*component.secondaryProtocol(), false);
    }
  }
  StorageProtocolProperties device;
  std::ignore = protocol->GetCachedProperties(&device);
  // What stands behind a USB adapter says more of itself than the adapter does.
  if (component.secondaryProtocol() != nullptr &&
      recorder.ataPage(ata::IdentifyDevice) != nullptr) {
    const std::string vendor = device.vendor;
    std::ignore = component.secondaryProtocol()->GetCachedProperties(&device);
    device.vendor = vendor;
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
