// The order matters: CHECK POWER MODE wakes no drive, and its answer decides whether anything else
// is asked. USB bridges are spared what many of them hang on: their drives are asked by ATA over
// SAT or not at all.
#include "inventory/health_report.h"

#include <cstdint>
#include <string>
#include <vector>

#include "base/sector_size.h"

namespace ostria::storage {
namespace {

class HealthReport {
 public:
  explicit HealthReport(StorageComponent& component)
      : protocol_(*component.storageProtocol()), readsHang_(component.readsHang()) {
    external_ = component.connection() == DeviceConnection::External;
    StorageProtocol* const secondary = component.secondaryProtocol();
    judge_ = external_ && secondary != nullptr ? secondary : &protocol_;
  }

  std::string make() {
    if (readsHang_) {
      add("Access", "no");
      return finish();
    }
    if (!isAwake()) {
      return finish();
    }
    switch (judge_->GetProtocolKind()) {
      case ProtocolKind::Ata:
        askStatus();
        break;
      case ProtocolKind::Nvme:
      case ProtocolKind::NvmeSystemCall:
        add("SMART", "supported");
        askSelfTest();
        break;
      case ProtocolKind::Scsi:
        if (!external_) {
          askStatus();
        } else {
          add("SMART", "not supported");
          askSystem();
        }
        break;
      default:
        add("SMART", "not supported");
    }
    return finish();
  }

 private:
  void add(const char* name, const std::string& data) {
    rows_ += std::string(rows_.empty() ? "" : ",") + "{\"description\":\"" + name +
             "\",\"data\":\"" + data + "\"}";
  }
  std::string finish() const { return "[" + rows_ + "]"; }

  // Also false for a drive that does not answer.
  bool isAwake() {
    std::uint32_t mode = StorageProtocol::OtherMode;
    const bool ata = judge_->GetProtocolKind() == ProtocolKind::Ata;
    const bool answered = ata && succeeded(judge_->GetPowerMode(&mode));
    if (!answered && !protocol_.IsAccessible()) {
      add("Access", "no");
      return false;
    }
    if (judge_->GetProtocolKind() == ProtocolKind::Scsi && !external_ &&
        isSilentBehindTranslator()) {
      add("Access", "no");
      return false;
    }
    add("Access", "yes");
    if (mode == StorageProtocol::Standby) {
      add("Power Mode", "standby");
      return false;
    }
    return true;
  }

  // An ATA drive that answered no ATA command: its translator answers INQUIRY by itself, also for a
  // drive that hangs. Only a read tells; a drive that merely sleeps would have answered IDENTIFY.
  bool isSilentBehindTranslator() {
    constexpr std::uint32_t kTimeoutSeconds = 10;
    StorageProtocolProperties properties;
    if (!succeeded(protocol_.GetCachedProperties(&properties)) ||
        properties.vendor.find_last_not_of(' ') != 2 || !properties.vendor.starts_with("ATA") ||
        properties.logicalSectorSize < kSmallestSectorBytes) {
      return false;
    }
    std::vector<std::uint8_t> sector(properties.logicalSectorSize);
    const ProtocolResult result =
        protocol_.Read(0, 1, kTimeoutSeconds, sector.data(), properties.logicalSectorSize);
    return result == ProtocolResult::TransportFailure || result == ProtocolResult::ReadTimeout;
  }

  void askStatus() {
    StorageProtocolProperties properties;
    const bool known = succeeded(judge_->GetCachedProperties(&properties));
    // The protocol behind a USB bridge serves reports only and has not been asked who it is.
    if (known && !external_ && !properties.smartSupported) {
      add("SMART", "not supported");
      askSystem();
      return;
    }
    // A SCSI drive answers for its exceptions whatever its mode page says.
    if (known && !external_ && !properties.smartEnabled &&
        judge_->GetProtocolKind() == ProtocolKind::Ata) {
      add("SMART", "disabled");
      askSystem();
      return;
    }
    add("SMART", "supported");
    std::uint8_t healthy = 2;
    if (succeeded(judge_->GetSmartStatus(&healthy)) && healthy <= 1) {
      add("SMART Status", healthy == 1 ? "good" : "failing");
      askSelfTest();
      return;
    }
    add("SMART Status", "unreadable");
    // A drive may go between two commands.
    if (!protocol_.IsAccessible()) {
      rows_.clear();
      add("Access", "no");
      return;
    }
    askSystem();
    askSelfTest();
  }

  void askSystem() {
    std::uint8_t healthy = 2;
    if (succeeded(protocol_.PredictFailureFallback(&healthy)) && healthy <= 1) {
      add("Prediction", healthy == 1 ? "good" : "failing");
    }
  }

  // Codes of the standards: what was aborted or still runs says nothing of the drive.
  void askSelfTest() {
    constexpr std::uint8_t kNone = 0xFF;
    std::uint8_t code = kNone;
    if (!succeeded(judge_->GetSelfTestResult(&code)) || code == kNone) {
      return;
    }
    const ProtocolKind kind = judge_->GetProtocolKind();
    const bool nvme = kind != ProtocolKind::Ata && kind != ProtocolKind::Scsi;
    const std::uint8_t first = nvme ? 5 : 3;
    const std::uint8_t last = kind == ProtocolKind::Ata ? 8 : 7;
    if (code >= first && code <= last) {
      add("Self-Test", "failed " + std::to_string(code));
    } else if (code == 0) {
      add("Self-Test", "passed");
    }
  }

  StorageProtocol& protocol_;
  bool readsHang_;
  StorageProtocol* judge_;
  bool external_;
  std::string rows_;
};

}  // namespace

bool makeHealthReport(StorageComponent& component, std::string& text) {
  if (component.storageProtocol() == nullptr) {
    return false;
  }
  text = HealthReport(component).make();
  return true;
}

}  // namespace ostria::storage
