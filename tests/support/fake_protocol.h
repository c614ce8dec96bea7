#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "inventory/storage_component.h"
#include "transport/ata/ata_protocol.h"

namespace ostria::storage::test {

/// A disk behind the protocol interface, a test says what it is and what fails. `Base` is the
/// protocol class that a test may cast to.
template <typename Base = StorageProtocol>
class FakeProtocol : public Base {
 public:
  struct ReadCall {
    std::uint64_t lba;
    std::uint16_t sectors;
    std::uint32_t timeoutSeconds;
    std::uint32_t bufferBytes;
  };

  /// A disk of 512-byte sectors that supports SMART, and has it switched on.
  FakeProtocol(ProtocolKind kind, std::uint64_t totalSectors) {
    this->SetProtocolKind(kind);
    record().totalSectors = totalSectors;
    record().logicalSectorSize = 512;
    record().smartSupported = true;
    record().smartEnabled = true;
  }

  /// What the device says about itself, known to the protocol already.
  StorageProtocolProperties& record() { return *this->properties_; }

  /// Everything but reads, as "SetSmartEnabled 1".
  std::vector<std::string> calls;
  std::vector<ReadCall> reads;
  /// Result of an operation, by its name. "Read" counts for every read.
  std::map<std::string, ProtocolResult> results;
  std::map<std::uint64_t, ProtocolResult> badSectors;
  std::uint16_t largestRead = 0xFFFF;  ///< longer reads are rejected
  /// The device leaves the bus after so many reads.
  std::size_t readsUntilGone = std::numeric_limits<std::size_t>::max();
  std::uint8_t smartStatus = 1;
  std::uint32_t wearIndicator = 0xFFFFFFFF;  ///< left alone at the value 0xFFFFFFFF
  std::uint32_t powerMode = StorageProtocol::Active;
  std::uint64_t firstFailedLba = 0;
  /// Called at each look at the device.
  std::function<void()> onGetProperties;
  /// Answers in order; the last one stays.
  std::deque<std::uint8_t> selfTestResults{0};
  std::deque<std::uint8_t> selfTestProgress{0};

  bool gone() const { return reads.size() > readsUntilGone; }
  unsigned count(const std::string& call) const {
    return static_cast<unsigned>(std::count(calls.begin(), calls.end(), call));
  }

  DeviceHandle GetDeviceHandle() override { return DeviceHandle(); }
  ProtocolResult GetProperties(StorageProtocolProperties* out) override {
    const ProtocolResult result = answer("GetProperties");
    if (onGetProperties) {
      onGetProperties();
    }
    if (succeeded(result)) {
      *out = record();
    }
    return result;
  }
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override {
    reads.push_back({lba, sectors, timeoutSeconds, bufferBytes});
    if (gone()) {
      return ProtocolResult::TransportFailure;
    }
    if (sectors > largestRead) {
      return ProtocolResult::CommandRejected;
    }
    if (const auto all = results.find("Read"); all != results.end()) {
      return all->second;
    }
    if (lba >= record().totalSectors || sectors > record().totalSectors - lba) {
      return ProtocolResult::CommandRejected;
    }
    const auto bad = badSectors.lower_bound(lba);
    if (bad != badSectors.end() && bad->first < lba + sectors) {
      return bad->second;
    }
    const std::size_t bytes = std::size_t{sectors} * record().logicalSectorSize;
    if (bytes > bufferBytes) {
      ADD_FAILURE() << "a read of " << bytes << " bytes into a buffer of " << bufferBytes;
      return ProtocolResult::Failure;
    }
    std::memset(buffer, 0, bytes);
    return ProtocolResult::Success;
  }
  ProtocolResult GetTemperature(std::uint8_t*) override { return answer("GetTemperature"); }
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override {
    return answer("StartSelfTest", " " + std::to_string(code) + " " + std::to_string(second));
  }
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override {
    return next("GetSelfTestProgress", selfTestProgress, percent);
  }
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override {
    return next("GetSelfTestResult", selfTestResults, code);
  }
  ProtocolResult AbortSelfTest() override { return answer("AbortSelfTest"); }
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override {
    return give("GetFirstFailedLba", firstFailedLba, lba);
  }
  ProtocolResult GetSelfTestOperation(std::uint8_t*) override {
    return answer("GetSelfTestOperation");
  }
  ProtocolResult GetSmartStatus(std::uint8_t* healthy) override {
    return give("GetSmartStatus", smartStatus, healthy);
  }
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override {
    const ProtocolResult result = answer("SetSmartEnabled", " " + std::to_string(enable));
    if (succeeded(result)) {
      record().smartEnabled = enable != 0;
    }
    return result;
  }
  ProtocolResult WriteUncorrectable(std::uint64_t lba) override {
    return answer("WriteUncorrectable", " " + std::to_string(lba));
  }
  ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t,
                       const void*) override {
    return answer("Write", " " + std::to_string(lba) + " " + std::to_string(sectors));
  }
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override {
    return give("GetWearIndicator", wearIndicator == 0xFFFFFFFF ? *percent : wearIndicator,
                percent);
  }
  ProtocolResult GetPowerMode(std::uint32_t* mode) override {
    return give("GetPowerMode", powerMode, mode);
  }
  ProtocolResult IdleImmediate() override { return answer("IdleImmediate"); }

 protected:
  ProtocolResult answer(const std::string& name, const std::string& arguments = {}) {
    calls.push_back(name + arguments);
    if (gone()) {
      return ProtocolResult::TransportFailure;
    }
    const auto scripted = results.find(name);
    return scripted == results.end() ? ProtocolResult::Success : scripted->second;
  }
  template <typename Value>
  ProtocolResult give(const std::string& name, Value value, Value* out) {
    const ProtocolResult result = answer(name);
    if (succeeded(result)) {
      *out = value;
    }
    return result;
  }
  ProtocolResult next(const std::string& name, std::deque<std::uint8_t>& values,
                      std::uint8_t* out) {
    const ProtocolResult result = give(name, values.front(), out);
    if (succeeded(result) && values.size() > 1) {
      values.pop_front();
    }
    return result;
  }
};

/// An ATA disk with SMART attributes.
struct FakeAtaProtocol : FakeProtocol<AtaProtocol> {
  using FakeProtocol::FakeProtocol;
  std::vector<SmartAttribute> attributes;
  ProtocolResult GetSmartAttributes(std::vector<SmartAttribute>* out) override {
    *out = attributes;
    return answer("GetSmartAttributes");
  }
};

/// A component on a fake protocol: internal, on the ATA bus.
template <typename Protocol = FakeProtocol<>>
struct FakeDevice {
  explicit FakeDevice(ProtocolKind kind = ProtocolKind::Ata, std::uint64_t totalSectors = 1000000) {
    auto owned = std::make_unique<Protocol>(kind, totalSectors);
    protocol = owned.get();
    component = std::make_unique<StorageComponent>(std::move(owned));
    component->setConnection(DeviceConnection::Internal);
    component->setBusKind(StorageBusKind::Ata);
  }

  Protocol* protocol;  ///< owned by the component
  std::unique_ptr<StorageComponent> component;
};

}  // namespace ostria::storage::test
