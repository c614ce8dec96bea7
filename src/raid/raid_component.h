#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "ostria/storage/system_component.h"
#include "raid/raid_records.h"

namespace ostria::storage {

/// A RAID controller. Its virtual operations follow those of `SystemComponent`.
class RaidComponent : public SystemComponent {
 public:
  /// @param handle          the open port of the controller, or its number as a handle
  /// @param connectionKind  3 CSMI, 0 LSI
  RaidComponent(DeviceHandle handle, std::uint32_t connectionKind, std::string adapterName);

  std::uint32_t hostQuery4() override { return 0; }
  bool getReport(const std::string& /*key*/, std::string& /*value*/) override { return false; }
  bool hostQuery6() override { return true; }
  void hostNotice7() override {}
  bool hostQuery8() override { return true; }
  void hostNotice9() override {}
  void hostNotice10() override {}
  /// Outputs are replaced, and written on success only.
  virtual ProtocolResult getControllerInfo(RaidControllerInfo* info) = 0;
  virtual ProtocolResult getLogicalDevices(std::vector<RaidLogicalDevice>* devices) = 0;
  virtual ProtocolResult getPhysicalDrives(std::vector<RaidPhysicalDrive>* drives) = 0;
  /// Makes the protocols of the drives; they go through the controller's handle and sender.
  virtual ProtocolResult getDevices(std::vector<RaidDevice>* devices) = 0;
  /// Called first by `buildProperties`.
  virtual void prepare() {}

  /// Fills name, properties and groups. A controller for which this fails is not listed.
  ProtocolResult buildProperties();

  /// What `getLogicalDevices` gave `buildProperties`.
  const std::vector<RaidLogicalDevice>& sets() const { return sets_; }

  void setId(std::string id) { id_ = std::move(id); }

 protected:
  DeviceHandle handle_;
  std::uint32_t connectionKind_;
  RaidControllerInfo controller_;

 private:
  void addProperty(const std::string& key, const std::string& value);

  std::vector<RaidLogicalDevice> sets_;
};

}  // namespace ostria::storage
