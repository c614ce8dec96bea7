// The virtual PC as it runs.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/clock.h"
#include "virtual_pc/drives/drive.h"
#include "virtual_pc/drives/fault_plan.h"
#include "virtual_pc/system/disk.h"
#include "virtual_pc/system/port.h"
#include "virtual_pc/system/services/wmi_repository.h"
#include "virtual_pc/system/volume.h"

namespace ostria::virtual_pc {

class LsiLibrary;

/// The virtual PC as it runs: its drives, and the objects that its system has for them.
class Machine {
 public:
  explicit Machine(MachineDescription description);
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  const MachineDescription& description() const { return description_; }
  Clock& clock() { return clock_; }
  PlatformFaults& faults() { return faults_; }

  const std::vector<std::unique_ptr<Drive>>& drives() const { return drives_; }
  const std::vector<std::shared_ptr<DiskObject>>& disks() const { return disks_; }
  const std::vector<std::shared_ptr<PortObject>>& ports() const { return ports_; }
  const std::vector<std::shared_ptr<VolumeObject>>& volumes() const { return volumes_; }
  /// A drive by the name that it has in the machine file; null for none.
  Drive* drive(const std::string& name) const;
  DiskObject* disk(const std::string& driveName) const;
  std::shared_ptr<VolumeObject> volume(char letter) const;

  /// Makes an object open under a device path, whatever the case of its letters.
  void addDeviceName(const std::string& path, std::shared_ptr<IoObject> object);
  std::shared_ptr<IoObject> device(const std::string& path) const;

  /// Libraries that programs of this machine can load, by file name in lower case, with their
  /// functions by name.
  using Function = void (*)();
  using Libraries = std::map<std::string, std::map<std::string, Function>>;
  Libraries& libraries() { return libraries_; }

  /// What stands behind the library for LSI controllers; null without such a controller.
  const std::shared_ptr<LsiLibrary>& lsiLibrary() const { return lsiLibrary_; }

  /// Whether a write to these bytes of a disk would go behind the back of a mounted file system.
  bool protectedByVolume(const DiskObject& disk, std::uint64_t offset, std::uint64_t bytes) const;

  /// Files that the system will delete at its next start.
  std::vector<std::string>& deletedAtRestart() { return deletedAtRestart_; }
  /// Letters of the volumes that it will check then.
  std::set<char>& checkedAtRestart() { return checkedAtRestart_; }
  /// Command lines that were given to the command interpreter; it runs none of them.
  std::vector<std::string>& commandsRun() { return commandsRun_; }
  /// What a program did that hangs or goes wrong on a real system without any error code, one
  /// sentence each. A test of a program expects none.
  std::vector<std::string>& complaints() { return complaints_; }
  /// State of the process that runs on the machine.
  struct ProcessState {
    bool manageVolume = false;  ///< the privilege is enabled
    std::uint32_t errorMode = 0;
    unsigned validDataRequests = 0;  ///< for how many files their valid data were to grow
  };
  ProcessState& process() { return process_; }
  /// What becomes of every request with that code to a RAID controller or its library, from now on,
  /// and how many were hit. Those of the description come first.
  struct RequestRefusal {
    RequestFault fault;
    unsigned hits = 0;
  };
  std::optional<RequestRefusal>& requestRefusal() { return requestRefusal_; }
  /// Where the libraries lie that programs of this machine can load.
  std::string libraryFolder() const;

  /// What the WMI service knows, made on first use.
  WmiRepository& wmi();

 private:
  std::shared_ptr<PortObject> portFor(const DriveDescription& drive);
  std::shared_ptr<PortObject> portOf(const Drive& drive) const;
  void addDrive(std::size_t index);

  MachineDescription description_;
  Clock clock_;
  PlatformFaults faults_;
  std::vector<std::unique_ptr<Drive>> drives_;  ///< in the order of the description
  std::vector<std::shared_ptr<PortObject>> ports_;
  std::vector<std::shared_ptr<DiskObject>> disks_;
  std::vector<std::shared_ptr<VolumeObject>> volumes_;
  std::map<std::string, std::shared_ptr<IoObject>> names_;
  Libraries libraries_;
  std::shared_ptr<LsiLibrary> lsiLibrary_;
  std::vector<std::string> deletedAtRestart_;
  std::set<char> checkedAtRestart_;
  std::vector<std::string> commandsRun_;
  std::vector<std::string> complaints_;
  ProcessState process_;
  std::optional<RequestRefusal> requestRefusal_;
  std::unique_ptr<WmiRepository> wmi_;
};

}  // namespace ostria::virtual_pc
