#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/kinds.h"
#include "inventory/disk_use.h"
#include "inventory/partitions/partition_table.h"
#include "inventory/read_times.h"
#include "ostria/storage/system_component.h"
#include "services/driver_service_holder.h"
#include "services/transfer_buffer.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

class StorageScanner;

/// A storage device: descriptive data, the way to the device, and what discovery learnt about where
/// it hangs. Created by the component manager; owns its protocols and its partition table. The
/// device handle is closed by the manager, not here.
class StorageComponent : public SystemComponent {
 public:
  explicit StorageComponent(std::unique_ptr<StorageProtocol> protocol,
                            std::unique_ptr<PartitionTable> partitions = nullptr);
  ~StorageComponent() override;
  StorageComponent(const StorageComponent&) = delete;
  StorageComponent& operator=(const StorageComponent&) = delete;

  std::uint32_t hostQuery4() override { return 0; }
  bool getReport(const std::string& key, std::string& value) override;
  bool hostQuery6() override { return true; }
  void hostNotice7() override {}
  bool hostQuery8() override { return true; }
  void hostNotice9() override {}
  void hostNotice10() override {}
  /// Tests for which the user has answered the request on this device.
  virtual std::vector<Identifier> confirmedTests() { return confirmedTests_; }
  virtual void addConfirmedTest(const Identifier& test) { confirmedTests_.push_back(test); }
  virtual bool hasConfirmedTest(const Identifier& test);

  StorageProtocol* storageProtocol() const { return protocol_.get(); }
  /// Null when the table could not be read, and for RAID members.
  PartitionTable* partitionTable() const { return partitions_.get(); }
  /// For a USB device: an ATA protocol over SAT, for the SMART report only; else null.
  StorageProtocol* secondaryProtocol() const { return secondaryProtocol_.get(); }
  void setSecondaryProtocol(std::unique_ptr<StorageProtocol> protocol);

  void setId(std::string id) { id_ = std::move(id); }
  DeviceConnection connection() const { return connection_; }
  void setConnection(DeviceConnection connection) { connection_ = connection; }
  StorageBusKind busKind() const { return busKind_; }
  void setBusKind(StorageBusKind kind) { busKind_ = kind; }
  bool optaneVolume() const { return optaneVolume_; }
  void setOptaneVolume(bool optane) { optaneVolume_ = optane; }
  /// ATA security of an external device, from its ATA probe.
  bool securitySupported() const { return securitySupported_; }
  void setSecuritySupported(bool supported) { securitySupported_ = supported; }
  bool securityLocked() const { return securityLocked_; }
  void setSecurityLocked(bool locked) { securityLocked_ = locked; }
  std::uint32_t userAnswer() const { return userAnswer_; }
  bool userAnswerSet() const { return userAnswerSet_; }
  void setUserAnswer(std::uint32_t answer) {
    userAnswer_ = answer;
    userAnswerSet_ = true;
  }
  /// Controller access of a device whose PCI function is an NVM controller.
  static constexpr std::uint32_t kConfirmedNvmeController = 2;
  /// `kConfirmedNvmeController`, or 0.
  /// Whether a read of the disk did not end while it was identified: it answers, and reads nothing.
  bool readsHang() const { return readsHang_; }
  void setReadsHang(bool hang) { readsHang_ = hang; }
  std::uint32_t controllerAccess() const { return controllerAccess_; }
  void setControllerAccess(std::uint32_t access) { controllerAccess_ = access; }
  std::uint8_t pciBus() const { return pciBus_; }
  std::uint8_t pciDevice() const { return pciDevice_; }
  std::uint8_t pciFunction() const { return pciFunction_; }
  void setPciLocation(std::uint8_t bus, std::uint8_t device, std::uint8_t function);

  /// Reads sectors: with `direct`, and always on a RAID member, by the protocol; else by the
  /// operating system with a time-out of 30 seconds, whatever `timeoutSeconds` says.
  /// @param bufferBytes  size of `buffer`
  /// @return `InvalidArgument` without a buffer, and when the sectors do not fit into it: a device
  ///         may have changed its sector size since the buffer was made
  ProtocolResult readSectors(std::uint64_t lba, std::uint16_t count, void* buffer, bool direct,
                             std::uint32_t bufferBytes, std::uint32_t timeoutSeconds);
  /// The same into a buffer that reads go to without a copy. A read that is given up keeps the
  /// memory; the buffer gets new at its next use.
  ProtocolResult readSectors(std::uint64_t lba, std::uint16_t count, TransferBuffer& buffer,
                             bool direct, std::uint32_t bufferBytes, std::uint32_t timeoutSeconds);
  /// Forgets the times of all reads; to be called when a test or tool begins on this device.
  void restartReadTimes();
  /// The operating system's read of the device, without the protocol. Parameters and refusals are
  /// those of `readSectors`; also refused are an unknown sector size and an offset beyond 64 bits.
  ProtocolResult readVolume(std::uint64_t lba, std::uint16_t count, void* buffer,
                            std::uint32_t bufferBytes, std::uint32_t timeoutSeconds);
  /// The largest block, in sectors, that the device reads five times in a row and for which there
  /// is memory. Probed once, and again at each call while nothing worked (0).
  std::uint16_t preferredReadBlock();
  /// Reads bit CFS of the NVMe controller status register through the driver service.
  /// @return `NotSupported` on any other bus, `Failure` without a service, when the read fails or
  ///         the controller is no longer there
  ProtocolResult controllerFatalStatus(bool* fatal);

  /// Takes all volumes of this disk off line, as the system has them now, and claims the disk.
  /// What was taken is held until `remountPartitions`, also when the disk could not be had whole.
  /// @return what stands in the way of having the disk alone, by name; empty when nothing does
  std::vector<std::string> unmountPartitions();
  /// Gives back just what `unmountPartitions` took.
  /// @return names of the volumes that did not come back, with the reason where there is one
  std::vector<std::string> remountPartitions();

  // Filled by the reports when the component is built.
  void setNames(std::string displayName, std::string model);
  /// @param rows  of the report "RAID_SETS", empty for a drive of no set
  void setRaidSets(std::string rows) { raidSets_ = std::move(rows); }
  std::vector<PropertyEntry>& propertyList() { return properties_; }
  /// Value of a property, or null.
  std::string* findProperty(const std::string& key);
  std::map<std::string, std::string>& attributeMap() { return attributes_; }
  std::vector<PropertySection>& sectionList() { return sections_; }

 private:
  struct OfflineVolume {
    std::string name;
    DeviceHandle handle;
  };

  /// Makes a read and notes how long it took.
  template <typename Read>
  ProtocolResult timed(std::uint64_t lba, std::uint16_t count, const Read& read);
  ProtocolResult readUntimed(std::uint64_t lba, std::uint16_t count, void* buffer, bool direct,
                             std::uint32_t bufferBytes, std::uint32_t timeoutSeconds);
  ProtocolResult readUntimed(std::uint64_t lba, std::uint16_t count, TransferBuffer& buffer,
                             bool direct, std::uint32_t bufferBytes, std::uint32_t timeoutSeconds);
  /// Size of a sector for a read of the device; 0 for a read that is to be refused.
  std::uint64_t volumeSectorBytes(std::uint64_t lba, std::uint16_t count,
                                  std::uint32_t bufferBytes) const;
  std::vector<std::string> mountedVolumes(std::vector<std::string>& users);

  std::unique_ptr<StorageProtocol> protocol_;
  std::unique_ptr<StorageProtocol> secondaryProtocol_;
  std::unique_ptr<PartitionTable> partitions_;
  DeviceConnection connection_ = DeviceConnection::Other;
  bool securitySupported_ = false;
  bool securityLocked_ = false;
  StorageBusKind busKind_ = StorageBusKind::Unknown;
  bool optaneVolume_ = false;
  bool readsHang_ = false;
  std::uint16_t preferredReadBlock_ = 0;
  ReadTimes readTimes_;
  std::string raidSets_;
  std::uint32_t userAnswer_ = 0;
  bool userAnswerSet_ = false;
  std::vector<Identifier> confirmedTests_;
  std::uint8_t pciBus_ = 0;
  std::uint8_t pciDevice_ = 0;
  std::uint8_t pciFunction_ = 0;
  std::uint32_t controllerAccess_ = 0;
  DriverServiceHolder driverService_;
  std::unique_ptr<StorageScanner> offlineScanner_;
  std::vector<OfflineVolume> offlineVolumes_;
  std::vector<std::string> lostVolumes_;  ///< went off line and could not be mounted again
  std::unique_ptr<DiskClaim> claim_;
};

}  // namespace ostria::storage
