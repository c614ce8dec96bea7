// The SMART report and the vendor log page report, made anew at each request from what the device
// answers then.
#include "inventory/device_reports.h"

#include <array>
#include <cstdint>
#include <vector>

#include "base/byte_order.h"
#include "inventory/report_rows.h"
#include "services/config_file.h"
#include "services/sal.h"
#include "transport/ata/ata_protocol.h"
#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_logs.h"
#include "transport/vendor_log.h"

namespace ostria::storage {
namespace {

std::string asArray(const std::string& rows) { return "[" + rows + "]"; }

ProtocolKind kindOf(const StorageProtocol* protocol) {
  return protocol != nullptr ? protocol->GetProtocolKind() : ProtocolKind::Unset;
}

bool makeAtaSmartReport(StorageProtocol* protocol, std::string& text) {
  auto* const ata = dynamic_cast<AtaProtocol*>(protocol);
  std::vector<SmartAttribute> attributes;
  if (ata == nullptr || !succeeded(ata->GetSmartAttributes(&attributes))) {
    return false;
  }
  text = asArray(ataSmartRows(attributes));
  return true;
}

bool readNvmeLog(StorageProtocol* protocol, std::uint32_t log, LogPage& page) {
  NvmeLogs* const logs = nvmeLogsOf(protocol);
  return logs != nullptr &&
         succeeded(logs->ReadLog(page.data(), static_cast<std::uint32_t>(page.size()), log, 0));
}

bool readAtaVendorLog(StorageProtocol* protocol, LogPage& page) {
  auto* const ata = dynamic_cast<AtaProtocol*>(protocol);
  // The page begins with a letter and so never counts as a good first page; it stands in the
  // buffer all the same, and its marks are looked at.
  std::uint16_t pages = 0;
  return ata != nullptr && succeeded(ata->ReadLog(kVendorLog, 1, page.data(), &pages));
}

/// The switch of the report for ATA drives, from the file in the working directory. A file that
/// cannot be read to its end switches nothing on.
bool vendorReportEnabled() {
  ConfigurationMap contents;
  ConfigurationError error;
  if (!readConfigurationFile("config.ini", contents, error)) {
    return false;
  }
  const auto section = contents.find(kStorageSection);
  if (section == contents.end()) {
    return false;
  }
  const auto setting = section->second.find("ENABLE_OSTRIA_DRIVE_INFO");
  return setting != section->second.end() && setting->second == "1";
}

}  // namespace

bool makeSmartReport(StorageComponent& component, std::string& text) {
  StorageProtocol* const protocol = component.storageProtocol();
  switch (kindOf(protocol)) {
    case ProtocolKind::Ata:
      return makeAtaSmartReport(protocol, text);
    case ProtocolKind::Nvme:
    case ProtocolKind::NvmeSystemCall: {
      LogPage page{};
      text = readNvmeLog(protocol, kNvmeHealthLog, page) ? asArray(nvmeSmartRows(page)) : "";
      return true;
    }
    default:
      return component.connection() == DeviceConnection::External &&
             makeAtaSmartReport(component.secondaryProtocol(), text);
  }
}

bool makeVendorLogReport(StorageComponent& component, std::string& text) {
  StorageProtocol* const protocol = component.storageProtocol();
  LogPage page{};
  std::string rows;
  switch (kindOf(protocol)) {
    case ProtocolKind::Nvme:
    case ProtocolKind::NvmeSystemCall: {
      LogPage health{};
      if (readNvmeLog(protocol, kNvmeHealthLog, health) &&
          readNvmeLog(protocol, kNvmeVendorLog, page)) {
        rows = nvmeVendorRows(page);
      }
      break;
    }
    case ProtocolKind::Ata:
      if (readAtaVendorLog(protocol, page) && isAtaVendorPage(page) && vendorReportEnabled()) {
        rows = ataVendorRows(page);
      }
      break;
    default:
      break;
  }
  text = rows.empty() ? "" : asArray(rows);
  return true;
}

}  // namespace ostria::storage
