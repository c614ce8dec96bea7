// From what was recorded to a machine file: its ranges are those of its reader, so what a drive
// says beyond them is brought within; the recorded pages still have it.
#include "inventory/recording/drive_object.h"

#include <algorithm>
#include <bit>

#include "base/byte_order.h"
#include "inventory/recording/object_writer.h"
#include "services/device_text.h"
#include "transport/ata/ata_opcodes.h"

namespace ostria::storage {
namespace {

constexpr std::size_t kDriveDepth = 2;
constexpr std::uint32_t kTransportError = 1117;  // the system's "I/O device error"

constexpr std::uint64_t kSendDiagnostic = 0x1D;
constexpr std::uint64_t kIllegalRequest = 5;
constexpr std::uint64_t kInvalidOpcode = 0x20;

constexpr std::uint8_t kNvmeIdentifyNamespace = 0;
constexpr std::uint8_t kNvmeIdentifyController = 1;

class DriveObject {
 public:
  DriveObject(const StorageComponent& component, const StorageProtocolProperties& device,
              const DriveRecorder& recorded)
      : component_(component), device_(device), recorded_(recorded) {}

  std::string make() {
    const ProtocolKind kind = component_.storageProtocol()->GetProtocolKind();
    isAta_ = recorded_.ataPage(ata::IdentifyDevice) != nullptr &&
             (!isExternal() || recorded_.tunnel.has_value());
    isNvme_ = kind == ProtocolKind::Nvme || kind == ProtocolKind::NvmeScsi ||
              kind == ProtocolKind::NvmeSystemCall;
    out_.word("kind", kindName(kind));
    const bool wide = isAta_ || isNvme_;
    const std::string model = cleanedDeviceText(device_.modelNumber);
    out_.text("model", model.empty() ? "UNKNOWN" : model, wide ? 40 : 16);
    // Of an inner ATA drive it is made of the model.
    if (!isAta_ || isExternal()) {
      out_.text("vendor", cleanedDeviceText(device_.vendor), 8);
    }
    out_.text("serial", cleanedDeviceText(device_.serialNumber), wide ? 20 : 32);
    out_.text("firmware", cleanedDeviceText(device_.firmwareRevision), wide ? 8 : 4);
    writeSize();
    out_.flag("solid_state", device_.solidState);
    if (device_.rotationRate != 0) {
      out_.number("rotation_rate", std::min<std::uint16_t>(device_.rotationRate, 65534));
    }
    if (!isAta_ && !isNvme_) {
      out_.flag("removable", device_.removable);
    }
    if (!recorded_.systemPredicts) {
      out_.flag("system_prediction", false);
    }
    if (isAta_) {
      writeAta();
    }
    if (kind == ProtocolKind::Scsi && !isAta_ && !isExternal()) {
      writeScsiHealth();
    }
    if (isNvme_) {
      writeNvme(kind);
    }
    writeRecorded();
    return out_.asEntry();
  }

 private:
  bool isExternal() const { return component_.connection() == DeviceConnection::External; }

  std::string_view kindName(ProtocolKind kind) const {
    if (isNvme_) {
      return "nvme";
    }
    if (kind == ProtocolKind::Emmc) {
      return device_.removable ? "sd" : "emmc";
    }
    if (!isExternal()) {
      return isAta_ ? "sata" : "sas";
    }
    // In the order of `usbTunnels`.
    constexpr std::string_view kAdapters[] = {"usb_sat", "usb_sat_no_ck", "usb_jmicron",
                                              "usb_sunplus"};
    if (!isAta_ || !recorded_.tunnel) {
      return "usb_stick";
    }
    return kAdapters[std::min(*recorded_.tunnel, std::size(kAdapters) - 1)];
  }

  void writeSize() {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 48;
    constexpr std::uint64_t kMost28 = (std::uint64_t{1} << 28) - 1;
    const bool narrow = isAta_ && !device_.lba48Supported;
    out_.number("size_sectors",
                std::clamp<std::uint64_t>(device_.totalSectors, 1, narrow ? kMost28 : kMost));
    const std::uint32_t logical = device_.logicalSectorSize == 4096 ? 4096 : 512;
    const std::uint32_t physical = device_.physicalSectorSize;
    out_.number("sector_bytes", logical);
    if (physical >= logical && physical <= 65536 && std::has_single_bit(physical)) {
      out_.number("physical_sector_bytes", physical);
    }
    if (narrow) {
      out_.flag("lba48", false);
    }
  }

  void writeAta() {
    if (device_.securitySupported || device_.securityLocked) {
      ObjectWriter security(kDriveDepth + 1);
      security.flag("supported", device_.securitySupported);
      security.flag("locked", device_.securityLocked);
      out_.object("security", security);
    }
    for (const AtaAnswer& answer : recorded_.ata) {
      if (isGoodPowerMode(answer) && answer.count <= 1) {
        out_.word("power", "standby");
      } else if (isGoodPowerMode(answer) && (answer.count & 0xF0) == 0x80) {
        out_.word("power", "idle");
      }
    }
    ObjectWriter smart(kDriveDepth + 1);
    smart.flag("supported", device_.smartSupported);
    smart.flag("enabled", device_.smartSupported && device_.smartEnabled);
    smart.list("self_tests", ataSelfTests());
    out_.object("smart", smart);
  }

  /// The drive's own times, from its SMART data.
  std::string ataSelfTests() const {
    constexpr std::uint8_t kSelfTests = 0x10;
    constexpr std::uint8_t kConveyance = 0x20;
    const Bytes* page = recorded_.ataPage(ata::Smart, ata::SmartReadData);
    if (page == nullptr) {
      // Without SMART data the identity says whether there are any, but not how long they take.
      constexpr std::size_t kFeatures = 168;  // word 84
      constexpr std::uint64_t kUsualSeconds = 120;
      const Bytes& identity = *recorded_.ataPage(ata::IdentifyDevice);
      return (identity[kFeatures] & 2) != 0
                 ? selfTest(1, kUsualSeconds) + ",\n" + selfTest(2, 30 * kUsualSeconds)
                 : std::string();
    }
    const std::uint8_t capability = (*page)[367];
    std::string all;
    if ((capability & kSelfTests) != 0) {
      const bool isLong = (*page)[373] == 0xFF;
      const std::uint64_t extended = isLong ? loadLe16(&(*page)[375]) : (*page)[373];
      all = selfTest(1, std::uint64_t{60} * (*page)[372]) + ",\n" +
            selfTest(2, std::min<std::uint64_t>(60 * extended, 1'000'000));
    }
    if ((capability & kConveyance) != 0) {
      all += (all.empty() ? "" : ",\n") + selfTest(3, std::uint64_t{60} * (*page)[374]);
    }
    return all;
  }

  static std::string selfTest(std::uint64_t code, std::uint64_t seconds) {
    ObjectWriter row(kDriveDepth + 3);
    row.number("code", code);
    row.number("seconds", seconds);
    return row.asEntry();
  }

  void writeScsiHealth() {
    constexpr std::uint64_t kUsualSeconds = 120;
    ObjectWriter smart(kDriveDepth + 1);
    smart.flag("supported", device_.smartSupported);
    smart.flag("enabled", device_.smartSupported && device_.smartEnabled);
    const bool hasSelfTests = std::ranges::any_of(recorded_.scsi, [](const ScsiAnswer& answer) {
      return answer.cdb[0] == 0x4D && (answer.cdb[2] & 0x3F) == 0x10 && answer.status == 0 &&
             !answer.data.empty();
    });
    if (hasSelfTests) {
      smart.list("self_tests", selfTest(1, kUsualSeconds) + ",\n" + selfTest(2, kUsualSeconds));
    }
    out_.object("smart", smart);
    // A self-test that nobody has tried must not pass.
    if (!hasSelfTests && !recorded_.takesDiagnostics) {
      ObjectWriter fault(kDriveDepth + 2);
      fault.word("action", "device_error");
      fault.number("command", kSendDiagnostic);
      fault.numbers("codes", {kIllegalRequest, kInvalidOpcode});
      fault.number("times", 0);
      out_.list("faults", fault.asEntry());
    }
  }

  void writeNvme(ProtocolKind kind) {
    constexpr std::uint8_t kNamespaceManagement = 1u << 3;
    constexpr std::uint8_t kSelfTests = 1u << 4;
    ObjectWriter nvme(kDriveDepth + 1);
    nvme.word("pass_through", kind == ProtocolKind::Nvme       ? "intel_port"
                              : kind == ProtocolKind::NvmeScsi ? "scsi_only"
                                                               : "storage_query");
    for (const NvmeAnswer& answer : recorded_.nvme) {
      constexpr std::uint32_t kMostNamespaces = 1024;
      if (answer.opcode == 0x06 && answer.select == kNvmeIdentifyNamespace && !answer.refused &&
          answer.namespaceId >= 1 && answer.namespaceId <= kMostNamespaces) {
        nvme.number("namespace", answer.namespaceId);
        break;
      }
    }
    const NvmeAnswer* controller = recorded_.identify(kNvmeIdentifyController);
    if (controller != nullptr && controller->data.size() >= 318) {
      const Bytes& data = controller->data;
      nvme.flag("namespace_management", (data[256] & kNamespaceManagement) != 0);
      nvme.flag("self_tests_supported", (data[256] & kSelfTests) != 0);
      nvme.number("extended_self_test_minutes", loadLe16(&data[316]));
    }
    if (recorded_.hasController) {
      ObjectWriter registers(kDriveDepth + 2);
      registers.flag("readable", recorded_.controllerFatal.has_value());
      registers.flag("fatal", recorded_.controllerFatal.value_or(false));
      nvme.object("registers", registers);
    }
    out_.object("nvme", nvme);
  }

  /// A good answer is a state of the model, which the host may change.
  static bool isGoodPowerMode(const AtaAnswer& answer) {
    return answer.command == ata::CheckPowerMode && answer.ending == Ending::Answered &&
           (answer.status & (ata::StatusError | ata::StatusDeviceFault)) == 0;
  }

  void writeRecorded() {
    ObjectWriter recorded(kDriveDepth + 1);
    recorded.list("ata", isAta_ ? ataAnswers() : "");
    recorded.list("scsi", scsiAnswers());
    recorded.list("nvme", nvmeAnswers());
    out_.object("recorded", recorded);
  }

  static void append(std::string& list, const ObjectWriter& row) {
    list += (list.empty() ? "" : ",\n") + row.asEntry();
  }

  static void numberUnless(ObjectWriter& row, std::string_view key, std::uint64_t value,
                           std::uint64_t usual) {
    if (value != usual) {
      row.number(key, value);
    }
  }

  std::string ataAnswers() const {
    constexpr std::uint8_t kReady = 0x50;
    std::string list;
    for (const AtaAnswer& answer : recorded_.ata) {
      if (isGoodPowerMode(answer)) {
        continue;
      }
      ObjectWriter row(kDriveDepth + 3);
      row.number("command", answer.command);
      numberUnless(row, "features", answer.features, 0);
      numberUnless(row, "lba_low", answer.lbaLow, 0);
      numberUnless(row, "lba_mid", answer.lbaMid, 0);
      if (answer.ending == Ending::Lost) {
        row.number("transport_error", kTransportError);
      } else {
        numberUnless(row, "error", answer.error, 0);
        numberUnless(row, "status", answer.status, kReady);
        numberUnless(row, "count", answer.count, 0);
        if (answer.signature) {
          row.number("signature", *answer.signature);
        }
        row.page(answer.data);
      }
      append(list, row);
    }
    return list;
  }

  std::string scsiAnswers() const {
    std::string list;
    for (const ScsiAnswer& answer : recorded_.scsi) {
      ObjectWriter row(kDriveDepth + 3);
      row.hex("cdb", answer.cdb.data(), std::min<std::size_t>(answer.cdbLength, answer.cdb.size()));
      if (answer.ending == Ending::Lost) {
        row.number("transport_error", kTransportError);
      } else {
        numberUnless(row, "status", answer.status, 0);
        if (!answer.sense.empty()) {
          row.hex("sense", answer.sense.data(), answer.sense.size());
        }
        row.page(answer.data);
      }
      append(list, row);
    }
    return list;
  }

  std::string nvmeAnswers() const {
    constexpr std::uint64_t kCommandSpecific = 1;
    constexpr std::uint64_t kInvalidLogPage = 9;
    constexpr std::uint64_t kInvalidField = 2;
    std::string list;
    for (const NvmeAnswer& answer : recorded_.nvme) {
      const bool identify = answer.opcode == 0x06;
      ObjectWriter row(kDriveDepth + 3);
      row.number("opcode", answer.opcode);
      row.number("select", answer.select);
      numberUnless(row, "namespace", answer.namespaceId, 0);
      numberUnless(row, "identifier", answer.identifier, 0);
      if (answer.refused) {
        // Which status it was no pass-through says.
        numberUnless(row, "status_type", identify ? 0 : kCommandSpecific, 0);
        row.number("status_code", identify ? kInvalidField : kInvalidLogPage);
      } else {
        row.page(answer.data);
      }
      append(list, row);
    }
    return list;
  }

  const StorageComponent& component_;
  const StorageProtocolProperties& device_;
  const DriveRecorder& recorded_;
  ObjectWriter out_{kDriveDepth};
  bool isAta_ = false;
  bool isNvme_ = false;
};

}  // namespace

std::string driveObject(const StorageComponent& component, const StorageProtocolProperties& device,
                        const DriveRecorder& recorded) {
  return DriveObject(component, device, recorded).make();
}

}  // namespace ostria::storage
