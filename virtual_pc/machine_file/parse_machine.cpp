// The root of a machine file, and what its parts say of each other.
#include <algorithm>
#include <set>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

// No machine needs more; a file that has more is a mistake, or meant to fill the memory.
constexpr int kDeepest = 32;
constexpr std::uint64_t kMostBadSectors = 4'000'000;

/// The library builds a value for each bracket before anybody could look at the depth.
void checkDepth(std::string_view text) {
  int depth = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (quoted && text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      quoted = !quoted;
    } else if (!quoted && (text[i] == '[' || text[i] == '{')) {
      ++depth;
    } else if (!quoted && (text[i] == ']' || text[i] == '}')) {
      --depth;
    }
    if (depth > kDeepest) {
      throw MachineFileError(
          "", "brackets stand more than " + std::to_string(kDeepest) + " deep in each other.");
    }
  }
}

/// Parses the text, and refuses an object that names a key twice (the library would keep one).
nlohmann::json parseText(std::string_view text) {
  checkDepth(text);
  std::vector<std::set<std::string>> keys;
  const auto watch = [&keys](int, nlohmann::json::parse_event_t event, nlohmann::json& value) {
    using Event = nlohmann::json::parse_event_t;
    if (event == Event::object_start) {
      keys.emplace_back();
    }
    if (event == Event::object_end) {
      keys.pop_back();
    }
    if (event == Event::key && !keys.back().insert(value.get<std::string>()).second) {
      throw MachineFileError(value.get<std::string>(), "this key stands twice in one object.");
    }
    return true;
  };
  try {
    return nlohmann::json::parse(text, watch);
  } catch (const nlohmann::json::parse_error& error) {
    const std::size_t end = std::min<std::size_t>(error.byte, text.size());
    const auto line =
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    throw MachineFileError("line " + std::to_string(line), "this is no JSON.");
  }
}

const DriveDescription* findDrive(const MachineDescription& machine, const std::string& name) {
  const auto found = std::ranges::find(machine.drives, name, &DriveDescription::name);
  return found == machine.drives.end() ? nullptr : &*found;
}

/// The last drive may be a further namespace of an earlier one's controller.
void checkSharedController(const ObjectReader& in, const MachineDescription& machine) {
  const DriveDescription& drive = machine.drives.back();
  if (drive.nvme.controllerOf.empty()) {
    return;
  }
  const DriveDescription* first = findDrive(machine, drive.nvme.controllerOf);
  if (first == nullptr || first == &drive || first->kind != DriveKind::Nvme ||
      !first->nvme.controllerOf.empty()) {
    in.fail("nvme", "controller_of names no earlier NVMe drive that has a controller.");
  }
  const auto sharesNumber = [&](const DriveDescription& other) {
    return &other != &drive && other.kind == DriveKind::Nvme &&
           (&other == first || other.nvme.controllerOf == first->name) &&
           other.nvme.traits.namespaceId == drive.nvme.traits.namespaceId;
  };
  if (std::ranges::any_of(machine.drives, sharesNumber)) {
    in.fail("nvme", "the controller has a namespace of that number already.");
  }
}

/// Bytes of the partition that a volume lies on.
std::uint64_t partitionBytes(const ObjectReader& in, const MachineDescription& machine,
                             const VolumePart& part) {
  const DriveDescription* drive = findDrive(machine, part.drive);
  if (drive == nullptr) {
    in.fail("drive", "there is no drive \"" + part.drive + "\".");
  }
  if (drive->hidden) {
    in.fail("drive", "the system sees no disk \"" + part.drive + "\".");
  }
  const auto& parts = drive->layout.partitions;
  const auto found = std::ranges::find(parts, part.partition, &PartitionDescription::number);
  if (found == parts.end()) {
    in.fail("partition", "the drive \"" + part.drive + "\" has no partition " +
                             std::to_string(part.partition) + ".");
  }
  return found->sectors * drive->sectorBytes;
}

/// Ties a volume to the partitions that it lies on, and fills in the sizes that the file left out.
void tieVolume(const ObjectReader& in, const MachineDescription& machine,
               VolumeDescription* volume) {
  if (volume->drive.empty() && !volume->furtherParts.empty()) {
    in.fail("further_parts", "a first drive is needed.");
  }
  if (!volume->drive.empty()) {
    const std::uint64_t room = partitionBytes(in, machine, {volume->drive, volume->partition});
    for (const VolumePart& part : volume->furtherParts) {
      partitionBytes(in, machine, part);
    }
    if (volume->totalBytes == 0) {
      volume->totalBytes = room;
    }
    if (volume->totalBytes > room) {
      in.fail("total_bytes", "the partition is smaller than that.");
    }
  }
  if (volume->freeBytes == ~std::uint64_t{0}) {
    volume->freeBytes = volume->totalBytes / 2;
  }
  if (volume->freeBytes > volume->totalBytes) {
    in.fail("free_bytes", "no more can be free than there is.");
  }
}

MachineDescription parseRoot(const nlohmann::json& json) {
  ObjectReader in(json, "");
  MachineDescription out;
  in.require("format");
  in.number("format", 1, 1, 1);
  out.realTime = in.flag("real_time", false);
  out.administrator = in.flag("administrator", true);
  out.windowsDirectory = in.text("windows_directory", out.windowsDirectory);
  out.currentDirectory = in.text("current_directory", out.currentDirectory);
  out.programPath = in.text("program_path", out.programPath);
  in.text("description", "", 4096);
  out.diskDriverVersion = in.text("disk_driver_version", out.diskDriverVersion, 64);
  for (ObjectReader& row : in.objects(in.renamed("wmi_rows", "management_rows"))) {
    out.wmiRows.push_back(parseWmiRow(row));
  }
  for (ObjectReader& row : in.objects("registry")) {
    out.registry.push_back(parseRegistryValue(row));
  }

  if (auto service = in.object("driver_service")) {
    out.driverService = parseDriverService(*service);
  }

  std::set<std::string> names;
  for (ObjectReader& row : in.objects("controllers")) {
    out.controllers.push_back(parseController(row));
    if (!names.insert(out.controllers.back().name).second) {
      row.fail("name", "this name stands twice.");
    }
  }
  if (auto storelib = in.object("storelib")) {
    out.storelib = parseStorelib(*storelib);
  }
  std::set<std::string> driveNames;
  std::uint64_t badSectors = 0;
  std::vector<std::optional<bool>> hidden;
  for (ObjectReader& row : in.objects("drives")) {
    hidden.emplace_back();
    if (row.has("hidden")) {
      hidden.back() = row.flag("hidden", false);
    }
    out.drives.push_back(parseDrive(row, out.drives.size()));
    const DriveDescription& drive = out.drives.back();
    if (!driveNames.insert(drive.name).second) {
      row.fail("name", "this name stands twice.");
    }
    for (const BadSectors& run : drive.badSectors) {
      badSectors += run.count;
    }
    if (badSectors > kMostBadSectors) {
      row.fail("bad_sectors", "the file has more than " + std::to_string(kMostBadSectors) +
                                  " bad sectors in all.");
    }
    checkSharedController(row, out);
    if (!drive.controller.empty() && !names.contains(drive.controller)) {
      row.fail("controller", "there is no controller \"" + drive.controller + "\".");
    }
  }
  tieRaid(hidden, &out);
  std::set<char> letters;
  for (ObjectReader& row : in.objects("volumes")) {
    out.volumes.push_back(parseVolume(row));
    tieVolume(row, out, &out.volumes.back());
    if (!letters.insert(out.volumes.back().letter).second) {
      row.fail("letter", "this letter stands twice.");
    }
  }
  in.finish();
  return out;
}

}  // namespace

bool parseMachine(std::string_view text, MachineDescription* out, std::string* error) {
  try {
    *out = parseRoot(parseText(text));
    return true;
  } catch (const MachineFileError& failure) {
    *error = failure.what();
    return false;
  }
}

}  // namespace ostria::virtual_pc
