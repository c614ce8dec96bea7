// Fields of NVMe identify data and logs, little-endian. All of them are the controller's word.

#include "transport/nvme/nvme_data.h"

#include <algorithm>

#include "base/byte_order.h"
#include "base/sector_size.h"
#include "services/string_handler.h"

namespace ostria::storage {

std::uint16_t nvmeOptionalAdminCommands(const NvmeIdentifyData& controller) {
  return loadLe16(controller.data() + 256);
}

std::string nvmeText(const std::uint8_t* field, std::size_t bytes) {
  std::array<char, 64> text{};
  return getLocalStringHandler().copyFixedField(text.data(), text.size(), field,
                                                std::min(bytes, text.size() - 1));
}

void readNvmeController(const NvmeIdentifyData& controller, NvmeIdentifyRecord& record) {
  const std::uint8_t* data = controller.data();
  record.vendorId = std::to_string(loadLe16(data));
  record.subsystemVendorId = std::to_string(loadLe16(data + 2));
  record.serialNumber = nvmeText(data + 4, 20);
  record.modelNumber = nvmeText(data + 24, 40);
  record.firmwareRevision = nvmeText(data + 64, 8);
  record.controllerAttributes = loadLe32(data + 96);
}

ProtocolResult readNvmeNamespace(const NvmeIdentifyData& data, NvmeNamespaceGeometry& geometry) {
  const std::uint64_t size = loadLe64(data.data());
  const std::uint64_t capacity = loadLe64(data.data() + 8);
  const std::size_t format = data[26] & 0x0Fu;
  const unsigned dataSizePower = data[128 + 4 * format + 2];
  if (size == 0 || capacity == 0) {
    return ProtocolResult::DeviceError;
  }
  geometry.sectors = capacity;
  geometry.sectorSize = dataSizePower > 31 ? 0 : knownSectorSize(std::uint64_t{1} << dataSizePower);
  return ProtocolResult::Success;
}

std::optional<std::uint8_t> nvmeTemperature(const NvmeHealthLogData& log) {
  if (loadLe16(&log[1]) == 0) {
    return std::nullopt;
  }
  // 273 is 256 + 17, so the low byte of the kelvin is enough.
  return static_cast<std::uint8_t>(log[1] - 17u);
}

NvmeErrorCounters nvmeErrorCounters(const NvmeHealthLogData& log) {
  NvmeErrorCounters counters;
  std::copy_n(&log[160], counters.mediaErrors.size(), counters.mediaErrors.begin());
  std::copy_n(&log[176], counters.errorEntries.size(), counters.errorEntries.begin());
  return counters;
}

std::uint32_t nvmeWearIndicator(const NvmeHealthLogData& log) {
  return 100u - std::min<std::uint32_t>(log[5], 100);
}

std::uint8_t nvmeSelfTestOperation(const NvmeSelfTestLogData& log) { return log[0] & 0x0Fu; }

std::uint8_t nvmeSelfTestPercent(const NvmeSelfTestLogData& log) { return log[1] & 0x7Fu; }

std::uint8_t nvmeSelfTestResult(const NvmeSelfTestLogData& log) { return log[4] & 0x0Fu; }

std::string nvmePartNumber(const NvmeVendorLogData& log) {
  StringHandler& handler = getLocalStringHandler();
  const std::string text = handler.cutAtNul(handler.fromBytes(log.data() + 110, 30));
  const bool printable = std::ranges::all_of(text, [](char c) { return c >= 0x20 && c <= 0x7E; });
  return printable && text.find_first_not_of(' ') != std::string::npos ? text : std::string();
}

}  // namespace ostria::storage
