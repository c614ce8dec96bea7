// Builds the machine of a description: drives, ports, disks, volumes, and their names.
#include "virtual_pc/system/machine.h"

#include <algorithm>
#include <utility>

#include "virtual_pc/drives/make_drive.h"
#include "virtual_pc/system/driver_service.h"
#include "virtual_pc/system/nvme_pass_through.h"
#include "virtual_pc/system/raid/csmi_controller.h"
#include "virtual_pc/system/raid/lsi_library.h"
#include "virtual_pc/system/services/wmi_rows.h"
#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc {

namespace {

/// The controller that a drive hangs on when the machine file names none.
ControllerDescription usualController(DriveKind kind, std::uint32_t number) {
  ControllerDescription out;
  switch (kind) {
    case DriveKind::Sata:
      out = {"default sata", "PCI\\VEN_1AF4&DEV_2922&CC_0106", "Serial ATA controller", 0, 23, 0};
      break;
    case DriveKind::UsbSat:
    case DriveKind::UsbSatNoCk:
    case DriveKind::UsbJmicron:
    case DriveKind::UsbSunplus:
    case DriveKind::UsbStick:
      out = {"default usb", "PCI\\VEN_1AF4&DEV_1E31&CC_0C03", "USB mass storage", 0, 20, 0};
      break;
    case DriveKind::Sas:
      out = {"default sas",
             "PCI\\VEN_1AF4&DEV_0097&CC_0107",
             "Serial attached SCSI controller",
             3,
             0,
             0};
      break;
    case DriveKind::Nvme:  // each has a controller of its own
      out = {"nvme " + std::to_string(number),
             "PCI\\VEN_1AF4&DEV_1001&CC_0108",
             "NVM Express controller",
             4 + number,
             0,
             0};
      break;
    case DriveKind::Emmc:
    case DriveKind::Sd:
      out = {"default sd", "PCI\\VEN_1AF4&DEV_0511&CC_0805", "SD host controller", 0, 26, 0};
      break;
  }
  return out;
}

}  // namespace

Machine::Machine(MachineDescription description)
    : description_(std::move(description)), clock_(description_.realTime) {
  for (const ControllerDescription& controller : description_.controllers) {
    ports_.push_back(
        std::make_shared<PortObject>(controller, static_cast<std::uint32_t>(ports_.size())));
    if (controller.csmi) {
      addCsmiController(*this, *ports_.back());
    }
  }
  for (std::size_t i = 0; i < description_.drives.size(); ++i) {
    addDrive(i);
  }
  lsiLibrary_ = addLsiLibrary(*this);
  for (const auto& port : ports_) {
    addDeviceName(port->interfacePath(), port);
    addDeviceName("\\\\.\\Scsi" + std::to_string(port->number()) + ":", port);
  }
  if (description_.driverService) {
    addDriverService(libraries_);
  }
  for (const VolumeDescription& volume : description_.volumes) {
    std::vector<DiskObject*> further;
    for (const VolumePart& part : volume.furtherParts) {
      further.push_back(disk(part.drive));
    }
    volumes_.push_back(
        std::make_shared<VolumeObject>(volume, disk(volume.drive), std::move(further)));
    if (volume.lettered) {
      addDeviceName(std::string("\\\\.\\") + volume.letter + ":", volumes_.back());
    }
    addDeviceName(volumes_.back()->guidPath(), volumes_.back());
  }
}

void Machine::addDrive(std::size_t index) {
  const DriveDescription& description = description_.drives[index];
  Drive* const controller = drive(description.nvme.controllerOf);
  drives_.push_back(makeDrive(description, clock_, controller));
  const std::shared_ptr<PortObject> port =
      controller != nullptr ? portOf(*controller) : portFor(description);
  if (description.hidden) {
    port->attach(*drives_.back());
    if (drives_.back()->nvme) {
      addNvmeMember(*this, *drives_.back(), *port, description.nvme);
    }
    return;
  }
  const auto number = static_cast<std::uint32_t>(disks_.size());
  disks_.push_back(
      std::make_shared<DiskObject>(*this, number, *drives_.back(), description.layout, *port));
  if (description.kind == DriveKind::Nvme) {
    addNvmePassThrough(*disks_.back(), *port, description.nvme);
    port->addRegisters(description.nvme.registers);
  }
  addDeviceName(disks_.back()->interfacePath(), disks_.back());
  addDeviceName("\\\\.\\PhysicalDrive" + std::to_string(number), disks_.back());
}

std::shared_ptr<PortObject> Machine::portOf(const Drive& drive) const {
  const auto found = std::ranges::find_if(ports_, [&drive](const auto& port) {
    return std::ranges::find(port->drives(), &drive) != port->drives().end();
  });
  return *found;  // each drive is on a port
}

std::shared_ptr<PortObject> Machine::portFor(const DriveDescription& drive) {
  ControllerDescription wanted;
  if (drive.controller.empty()) {
    wanted = usualController(drive.kind, static_cast<std::uint32_t>(ports_.size()));
  } else {
    wanted.name = drive.controller;
  }
  for (const auto& port : ports_) {
    if (port->description().name == wanted.name) {
      return port;
    }
  }
  ports_.push_back(std::make_shared<PortObject>(wanted, static_cast<std::uint32_t>(ports_.size())));
  return ports_.back();
}

Drive* Machine::drive(const std::string& name) const {
  for (std::size_t i = 0; i < drives_.size(); ++i) {
    if (description_.drives[i].name == name) {
      return drives_[i].get();
    }
  }
  return nullptr;
}

DiskObject* Machine::disk(const std::string& driveName) const {
  const Drive* wanted = drive(driveName);
  const auto found =
      std::ranges::find_if(disks_, [wanted](const auto& disk) { return &disk->drive() == wanted; });
  return (wanted != nullptr) && found != disks_.end() ? found->get() : nullptr;
}

std::shared_ptr<VolumeObject> Machine::volume(char letter) const {
  const char upper =
      letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  for (const auto& volume : volumes_) {
    if (volume->description().letter == upper) {
      return volume;
    }
  }
  return nullptr;
}

std::string Machine::libraryFolder() const {
  return description_.programPath.substr(0, description_.programPath.find_last_of('\\'));
}

WmiRepository& Machine::wmi() {
  if (!wmi_) {
    wmi_ = makeWmiRepository(*this);
  }
  return *wmi_;
}

void Machine::addDeviceName(const std::string& path, std::shared_ptr<IoObject> object) {
  names_[lowerCase(path)] = std::move(object);
}

std::shared_ptr<IoObject> Machine::device(const std::string& path) const {
  const auto found = names_.find(lowerCase(path));
  return found == names_.end() ? nullptr : found->second;
}

bool Machine::protectedByVolume(const DiskObject& disk, std::uint64_t offset,
                                std::uint64_t bytes) const {
  return std::ranges::any_of(volumes_, [&](const auto& volume) {
    return volume->mounted() && volume->covers(disk, offset, bytes);
  });
}

}  // namespace ostria::virtual_pc
