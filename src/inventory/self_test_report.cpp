// A drive knows best how long it needs: its steps of ten percent tell that late. NVMe drives
// (EDSTT) are not asked, as no test runs their self-tests.
#include "inventory/self_test_report.h"

#include <cstdint>

#include "transport/ata/ata_protocol.h"
#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage {
namespace {

void addRow(std::string& rows, const char* name, std::uint32_t seconds) {
  if (seconds == 0) {
    return;
  }
  rows += std::string(rows.empty() ? "" : ",") + "{\"description\":\"" + name + "\",\"data\":\"" +
          std::to_string(seconds) + "\"}";
}

}  // namespace

bool makeSelfTestReport(StorageComponent& component, std::string& text) {
  // Many USB adapters hang on mode pages, and none of these tests runs behind them.
  if (component.connection() == DeviceConnection::External) {
    return false;
  }
  std::string rows;
  if (auto* const ata = dynamic_cast<AtaProtocol*>(component.storageProtocol())) {
    AtaProtocol::SelfTestTimes times{};
    // Times that the drive does not give stay 0, and have no row.
    (void)ata->GetSelfTestTimes(&times);
    addRow(rows, "Short", times[0]);
    addRow(rows, "Extended", times[1]);
    addRow(rows, "Conveyance", times[2]);
  }
  if (auto* const scsi = dynamic_cast<ScsiProtocol*>(component.storageProtocol())) {
    std::uint32_t seconds = 0;
    (void)scsi->GetExtendedSelfTestSeconds(&seconds);
    addRow(rows, "Extended", seconds);
  }
  text = "[" + rows + "]";
  return !rows.empty();
}

}  // namespace ostria::storage
