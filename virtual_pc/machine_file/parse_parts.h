// The readers of the parts of a machine file, each in a source of its own.
#pragma once

#include "virtual_pc/description/description.h"
#include "virtual_pc/machine_file/object_reader.h"

namespace ostria::virtual_pc {

// Readers of the parts of a machine file. Each reads one object to its end.

DriveDescription parseDrive(ObjectReader& in, std::size_t index);
SmartDescription parseSmart(ObjectReader& in, const DriveDescription& drive);
/// The drive's identity is known already.
NvmeDescription parseNvme(ObjectReader& in, const DriveDescription& drive);
RecordedAnswers parseRecorded(ObjectReader& in);
/// What a drive has without an "nvme" object.
NvmeDescription usualNvme(const DriveDescription& drive);
LayoutDescription parseLayout(ObjectReader& in, const DriveDescription& drive);
ControllerDescription parseController(ObjectReader& in);
VolumeDescription parseVolume(ObjectReader& in);
CheckerDescription parseChecker(ObjectReader& in);
WmiRow parseWmiRow(ObjectReader& in);
DriverServiceDescription parseDriverService(ObjectReader& in);
RegistryValue parseRegistryValue(ObjectReader& in);
CsmiDescription parseCsmi(ObjectReader& in);
LsiDescription parseLsi(ObjectReader& in, const ControllerDescription& controller);
StorelibDescription parseStorelib(ObjectReader& in);
/// Settles what RAID controllers and the drives on them say of each other.
/// @param hidden  what the file says of each drive
void tieRaid(const std::vector<std::optional<bool>>& hidden, MachineDescription* machine);
std::vector<BadSectors> parseBadSectors(ObjectReader& in, const std::string& key,
                                        std::uint64_t driveSectors);
/// The command set whose errors a device reports.
enum class CommandSet { Ata, Scsi, Nvme };
std::vector<FaultRule> parseFaults(ObjectReader& in, const std::string& key, CommandSet commandSet);

}  // namespace ostria::virtual_pc
