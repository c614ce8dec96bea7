// RAID controllers: CSMI through a port, LSI through a library, and the drives on either.
#include <algorithm>
#include <set>
#include <utility>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

/// Reads the one thing that goes wrong with a request.
RequestFaultAction parseRequestAction(ObjectReader& in, bool csmi) {
  std::vector<std::string> keys{"error", "patch", "bytes"};
  if (csmi) {
    keys.insert(keys.end(), {"return_code", "connection_status"});
  }
  const auto has = [&in](const std::string& key) { return in.has(key); };
  if (std::ranges::count_if(keys, has) != 1) {
    in.fail("code", "exactly one thing goes wrong with it.");
  }
  if (in.has("patch")) {
    RequestPatch out;
    in.into("patch_at", out.at);
    for (const std::uint64_t byte : in.numbers("patch", 0, 255)) {
      out.bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return out;
  }
  if (csmi && in.has("return_code")) {
    RequestReturnCode out;
    in.into("return_code", out.code, 1);
    return out;
  }
  if (in.has("bytes")) {
    RequestShort out;
    in.into("bytes", out.bytes);
    return out;
  }
  if (csmi && in.has("connection_status")) {
    RequestConnectionStatus out;
    in.into("connection_status", out.status, 1);
    return out;
  }
  RequestError out;
  in.into("error", out.error, 1);
  return out;
}

std::vector<RequestFault> parseRequestFaults(ObjectReader& in, bool csmi) {
  std::vector<RequestFault> out;
  for (ObjectReader& row : in.objects("faults")) {
    RequestFault fault;
    row.require("code");
    row.into("code", fault.code, 0, 0xFFFF);
    row.into("occurrence", fault.occurrence, 1);
    row.into("times", fault.times);
    if (row.has("drive")) {
      fault.drive = row.text("drive", "", 40);
    }
    fault.action = parseRequestAction(row, csmi);
    row.finish();
    out.push_back(std::move(fault));
  }
  return out;
}

/// Every drive of a set hangs on the set's controller.
void checkMembers(const MachineDescription& machine, const ControllerDescription& controller,
                  const std::string& location, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const auto drive = std::ranges::find(machine.drives, name, &DriveDescription::name);
    if (drive == machine.drives.end() || drive->controller != controller.name) {
      throw MachineFileError(location,
                             "there is no drive \"" + name + "\" on \"" + controller.name + "\".");
    }
  }
}

void checkFaultDrive(const MachineDescription& machine, const std::string& location,
                     const RequestFault& fault) {
  if (fault.drive && std::ranges::find(machine.drives, *fault.drive, &DriveDescription::name) ==
                         machine.drives.end()) {
    throw MachineFileError(location, "there is no drive \"" + *fault.drive + "\".");
  }
}

bool fits(const ControllerDescription& controller, DriveKind kind) {
  return kind == DriveKind::Sata || kind == DriveKind::Sas ||
         (kind == DriveKind::Nvme && controller.csmi);
}

}  // namespace

CsmiDescription parseCsmi(ObjectReader& in) {
  CsmiDescription out;
  in.into("flags", out.flags);
  const auto version = in.numbers("bios_version", 0, 0xFFFF);
  if (!version.empty() && version.size() != out.biosVersion.size()) {
    in.fail("bios_version", "it has 4 parts.");
  }
  std::ranges::transform(version, out.biosVersion.begin(),
                         [](std::uint64_t part) { return static_cast<std::uint16_t>(part); });
  in.into("drives_per_set", out.drivesPerSet);
  for (ObjectReader& row : in.objects("raid_sets")) {
    CsmiSetDescription set;
    row.into("type", set.type);
    row.into("capacity_mebibytes", set.capacityMebibytes);
    set.drives = row.texts("drives", 40);
    if (set.drives.empty() || set.drives.size() > 255) {
      row.fail("drives", "a set has 1 to 255 drives.");
    }
    row.finish();
    out.sets.push_back(std::move(set));
  }
  out.faults = parseRequestFaults(in, true);
  in.finish();
  return out;
}

LsiDescription parseLsi(ObjectReader& in, const ControllerDescription& controller) {
  LsiDescription out;
  in.into("id", out.id);
  out.product = in.text("product", controller.description, 79);
  out.serial = in.text("serial", "", 31);
  out.biosVersion = in.text("bios_version", "", 31);
  in.into("raid_levels", out.raidLevels);
  in.into("interfaces", out.interfaces);
  for (ObjectReader& row : in.objects("logical_drives")) {
    LsiSetDescription set;
    row.into("primary", set.primary);
    row.into("secondary", set.secondary);
    row.into("span_depth", set.spanDepth, 1, 8);
    row.into("blocks", set.blocks);
    set.number = static_cast<std::uint8_t>(out.sets.size());
    row.into("number", set.number);
    set.array = set.number;
    row.into("array", set.array);
    if (std::ranges::find(out.sets, set.number, &LsiSetDescription::number) != out.sets.end()) {
      row.fail("number", "this number stands twice.");
    }
    set.drives = row.texts("drives", 40);
    if (set.drives.empty() || set.drives.size() > 255 || set.drives.size() % set.spanDepth != 0) {
      row.fail("drives", "1 to 255 drives are needed, as many in each span.");
    }
    row.finish();
    out.sets.push_back(std::move(set));
  }
  if (out.sets.size() > 64) {
    in.fail("logical_drives", "there are at most 64.");
  }
  for (ObjectReader& row : in.objects("foreign")) {
    LsiForeignDescription entry;
    row.require("device_id");
    row.into("device_id", entry.deviceId);
    row.into("type", entry.type, 1);
    row.finish();
    out.foreign.push_back(entry);
  }
  if (out.foreign.size() > 64) {
    in.fail("foreign", "there are at most 64.");
  }
  in.finish();
  return out;
}

StorelibDescription parseStorelib(ObjectReader& in) {
  StorelibDescription out;
  out.function = in.text("function", out.function, 64);
  out.faults = parseRequestFaults(in, false);
  in.finish();
  return out;
}

void tieRaid(const std::vector<std::optional<bool>>& hidden, MachineDescription* machine) {
  std::set<std::pair<std::string, std::uint8_t>> paths;
  for (std::size_t i = 0; i < machine->drives.size(); ++i) {
    DriveDescription& drive = machine->drives[i];
    const std::string location = "drives[" + std::to_string(i) + "]";
    const auto controller =
        std::ranges::find(machine->controllers, drive.controller, &ControllerDescription::name);
    if (controller == machine->controllers.end() || (!controller->csmi && !controller->lsi)) {
      if (hidden[i].value_or(false)) {
        throw MachineFileError(location + ".hidden", "only a RAID controller hides drives.");
      }
      continue;
    }
    if (!fits(*controller, drive.kind)) {
      throw MachineFileError(location + ".kind",
                             "no such drive fits on a RAID controller like that.");
    }
    drive.hidden = hidden[i].value_or(true);
    if (drive.kind != DriveKind::Nvme) {
      continue;
    }
    // The port's own pass-through is the only one there is.
    if (drive.hidden) {
      drive.nvme.passThrough = NvmePassThroughKind::IntelPort;
    }
    if (drive.nvme.passThrough == NvmePassThroughKind::IntelPort &&
        !paths.emplace(drive.controller, drive.nvme.pathId).second) {
      throw MachineFileError(location + ".nvme.path_id", "the controller has that path already.");
    }
  }
  for (const RequestFault& fault : machine->storelib.faults) {
    checkFaultDrive(*machine, "storelib.faults", fault);
  }
  std::set<std::uint32_t> ids;
  for (std::size_t i = 0; i < machine->controllers.size(); ++i) {
    const ControllerDescription& controller = machine->controllers[i];
    const std::string location = "controllers[" + std::to_string(i) + "].";
    const auto mine = [&](const DriveDescription& drive) {
      return drive.controller == controller.name && drive.kind != DriveKind::Nvme;
    };
    if (controller.csmi) {
      // The phy information has room for 32, one of which stays empty.
      if (std::ranges::count_if(machine->drives, mine) > 31) {
        throw MachineFileError(location + "csmi", "there is room for 31 drives.");
      }
      for (const RequestFault& fault : controller.csmi->faults) {
        checkFaultDrive(*machine, location + "csmi.faults", fault);
      }
      for (const CsmiSetDescription& set : controller.csmi->sets) {
        checkMembers(*machine, controller, location + "csmi.raid_sets", set.drives);
      }
    }
    if (controller.lsi) {
      if (!ids.insert(controller.lsi->id).second) {
        throw MachineFileError(location + "lsi.id", "this id stands twice.");
      }
      if (std::ranges::count_if(machine->drives, mine) > 64) {
        throw MachineFileError(location + "lsi", "there is room for 64 drives.");
      }
      for (const LsiSetDescription& set : controller.lsi->sets) {
        checkMembers(*machine, controller, location + "lsi.logical_drives", set.drives);
      }
    }
  }
}

}  // namespace ostria::virtual_pc
