// A virtual PC as its machine file describes it: plain records without behaviour, so that a host
// can check a file without the machine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_pc/description/fault_rule.h"
#include "virtual_pc/description/flaws.h"
#include "virtual_pc/description/nvme_description.h"
#include "virtual_pc/description/raid_description.h"
#include "virtual_pc/description/recorded.h"

namespace ostria::virtual_pc {

// A virtual PC as its machine file tells it. All numbers have been checked against their ranges.

enum class DriveKind {
  Sata,        ///< inside, behind a port that takes ATA and SCSI pass-through
  UsbSat,      ///< ATA behind a USB bridge with SAT, registers in the sense data
  UsbSatNoCk,  ///< ATA behind a USB bridge with SAT, registers only by asking for them
  UsbJmicron,  ///< ATA behind a USB bridge with the DFh command
  UsbSunplus,  ///< ATA behind a USB bridge with the F8h command
  UsbStick,    ///< plain USB storage
  Sas,         ///< SAS or SCSI
  Nvme,
  Emmc,
  Sd,
};

enum class PowerState { Active, Idle, Standby };

struct SmartAttributeDescription {
  std::uint8_t id = 0;
  std::uint8_t value = 100;
  std::uint8_t worst = 100;
  std::uint8_t threshold = 0;
  std::uint64_t raw = 0;  ///< 48 bits
  std::uint16_t flags = 0x0032;
};

/// A self-test routine of a drive.
struct SelfTestDescription {
  std::uint8_t code = 1;      ///< subcommand (ATA) or self-test code (SCSI)
  std::uint32_t seconds = 0;  ///< how long it runs
  /// Result, as the drive's status names it (0 passed, 3 to 8 kinds of failure). Without one the
  /// routine finds what there is: the first unreadable sector, if it reads the whole medium.
  std::optional<std::uint8_t> outcome;
  std::optional<std::uint64_t> failingLba;
  std::uint8_t stopsAtPercent = 100;  ///< where a failing routine ends
};

/// A finished self-test in the drive's log, oldest first.
struct SelfTestEntryDescription {
  std::uint8_t code = 1;
  std::uint8_t status = 0;
  std::uint16_t hours = 0;
  std::optional<std::uint64_t> failingLba;
};

/// An error in the drive's error log, oldest first.
struct ErrorEntryDescription {
  std::uint64_t lba = 0;
  std::uint8_t error = 0x40;
  std::uint8_t status = 0x51;
  std::uint8_t command = 0x25;
  std::uint16_t hours = 0;
};

struct SmartDescription {
  bool supported = true;
  bool enabled = true;
  bool failing = false;              ///< threshold exceeded
  bool statusAnswers = true;         ///< false: SMART RETURN STATUS is refused
  std::uint8_t capabilities = 0x7B;  ///< off-line data collection capability
  bool logging = true;               ///< error and self-test logs
  bool selfTestAbortable = true;
  std::vector<SmartAttributeDescription> attributes;
  std::vector<SelfTestDescription> selfTests;
  std::vector<SelfTestEntryDescription> selfTestLog;
  std::vector<ErrorEntryDescription> errorLog;
  std::optional<std::uint8_t> runningSelfTest;  ///< routine that runs when the PC is switched on
};

/// What only a SCSI drive has.
struct ScsiDescription {
  bool read16 = true;  ///< READ(16) and WRITE(16)
  bool read12 = true;
  bool capacity16 = true;  ///< READ CAPACITY(16)
  bool modePages6 = true;  ///< MODE SENSE(6) and MODE SELECT(6)
  bool modePages10 = true;
  bool iecPage = true;       ///< informational exceptions control
  bool mediumPage = true;    ///< vital product data page B1h
  std::uint8_t version = 6;  ///< INQUIRY byte 2
  std::uint8_t inquiryBytes = 96;
  std::uint8_t requestSenseBytes = 18;
  bool descriptorSense = false;          ///< sense of failed commands in descriptor format
  std::vector<std::uint16_t> standards;  ///< version descriptors
};

struct PartitionDescription {
  std::uint32_t number = 1;
  std::uint64_t startSector = 0;
  std::uint64_t sectors = 0;
  std::string typeGuid;       ///< GPT, 36 characters in lower case
  std::uint8_t typeByte = 0;  ///< MBR
  std::string name;           ///< GPT
};

enum class LayoutStyle { Raw, Mbr, Gpt };

struct LayoutDescription {
  LayoutStyle style = LayoutStyle::Raw;
  std::vector<PartitionDescription> partitions;
};

struct IdentifyWord {
  std::uint8_t word = 0;
  std::uint16_t value = 0;
};

struct DriveDescription {
  DriveKind kind = DriveKind::Sata;
  std::string name;        ///< by which the file refers to it; "drive0" and so on by default
  std::string controller;  ///< name of its controller; empty: one made for its kind
  /// The system has no disk for it; the drive is reached through its RAID controller only.
  bool hidden = false;
  std::string vendor;
  std::string model;
  std::string serial;
  std::string firmware;
  std::uint64_t sectors = 0;
  std::uint32_t sectorBytes = 512;
  std::uint32_t physicalSectorBytes = 512;
  bool solidState = false;
  std::uint16_t rotationRate = 0;  ///< revolutions per minute, 0 not reported
  bool removable = false;
  /// The system shows the disk as a RAID set: bus type 8, whatever the drive behind it is.
  bool shownAsRaid = false;
  bool systemPredicts = true;  ///< the system has a failure prediction for it
  MediumTiming timing;
  std::vector<BadSectors> badSectors;
  std::vector<FaultRule> faults;        ///< of the drive
  std::vector<FaultRule> bridgeFaults;  ///< of what stands between the system and the drive
  LayoutDescription layout;

  // ATA
  bool lba48 = true;
  bool securitySupported = true;
  bool securityLocked = false;
  bool writeUncorrectable = true;
  PowerState power = PowerState::Active;
  std::uint32_t spinUpSeconds = 8;
  std::uint32_t cacheKibibytes = 0;
  std::uint8_t temperature = 32;  ///< degrees Celsius
  std::uint16_t majorVersion = 0x01FC;
  std::uint16_t minorVersion = 0x0029;
  std::string partNumber;                   ///< in the vendor log DFh; empty: no such log
  std::vector<IdentifyWord> identifyWords;  ///< words laid over the identify data
  SmartDescription smart;
  ScsiDescription scsi;
  NvmeDescription nvme;
  RecordedAnswers recorded;  ///< of the command sets that it speaks
};

/// A storage controller with its location on the PCI bus.
struct ControllerDescription {
  std::string name;
  std::string hardwareId;   ///< for example PCI\VEN_8086&DEV_A352
  std::string description;  ///< as the device manager shows it
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::uint32_t function = 0;
  bool friendlyName = true;                  ///< false: only its class describes it
  std::string driverProvider = "Microsoft";  ///< as the registry names it
  std::string driverVersion = "10.0.19041.3636";
  std::optional<CsmiDescription> csmi = std::nullopt;  ///< at most one of the two
  std::optional<LsiDescription> lsi = std::nullopt;
};

/// The driver service, a library that gives access to PCI functions and controller registers.
struct DriverServiceDescription {
  bool available = true;  ///< false: it can be loaded, but says that it can't be used
};

struct FileDescription {
  std::string path;  ///< from the root of its volume on, with backslashes
  std::uint64_t bytes = 0;
  std::string text;  ///< content; without one the file reads as zeros
  bool directory = false;
};

/// A piece of what the filesystem checker prints, and the time that it takes before.
struct CheckerOutput {
  std::string text;
  std::uint32_t milliseconds = 0;
  std::uint32_t repeat = 1;
};

/// What the filesystem checker does with a volume.
struct CheckerDescription {
  bool starts = true;
  std::vector<CheckerOutput> output;  ///< empty: that of a check that finds nothing
  std::uint32_t exitCode = 0;
  std::uint32_t scheduleResult = 0;  ///< answer to the wish for a check at the next start
};

/// A row of the WMI service.
struct WmiRow {
  std::string nameSpace = "ROOT\\CIMV2";
  std::string className;
  std::vector<std::pair<std::string, std::string>> values;
};

/// A part of a volume that lies on another disk.
struct VolumePart {
  std::string drive;
  std::uint32_t partition = 1;
};

struct VolumeDescription {
  char letter = 'C';
  bool lettered = true;  ///< false: the system reaches it by its GUID alone
  std::string drive;     ///< name of the drive; empty: on no drive of this machine
  std::uint32_t partition = 1;
  std::vector<VolumePart> furtherParts;  ///< of a volume that spans several disks
  std::string label;
  std::uint32_t serial = 0;
  std::string fileSystem = "NTFS";
  std::uint32_t clusterBytes = 4096;
  std::uint32_t sectorBytes = 0;  ///< of its unbuffered transfers; never smaller than the drive's
  std::uint64_t totalBytes = 0;
  std::uint64_t freeBytes = 0;
  bool fixed = true;
  bool lockable = true;  ///< false: somebody has files open, and it can't be locked
  CheckerDescription checker;
  std::vector<FileDescription> files;
};

/// A text in the registry, under HKEY_LOCAL_MACHINE.
struct RegistryValue {
  std::string key;
  std::string name;
  std::string text;
};

struct MachineDescription {
  bool realTime = false;
  bool administrator = true;
  std::string windowsDirectory = "C:\\Windows";
  std::string currentDirectory = "C:\\Diagnostics";
  std::string programPath = "C:\\Diagnostics\\diagnostics.exe";
  std::optional<DriverServiceDescription> driverService;  ///< none: its library isn't there
  std::vector<ControllerDescription> controllers;
  std::vector<DriveDescription> drives;
  std::vector<VolumeDescription> volumes;
  std::string diskDriverVersion = "10.0.19041.3636";
  std::vector<WmiRow> wmiRows;          ///< beside those that the machine makes itself
  std::vector<RegistryValue> registry;  ///< beside those that the machine makes itself
  StorelibDescription storelib;
};

/// Reads a machine file.
/// @param error  on failure one sentence that begins with the location in the file, for example
///               "drives[2].smart.attributes[0].id: 300 is above 255."
/// @return false on failure; `out` is then untouched
bool parseMachine(std::string_view text, MachineDescription* out, std::string* error);

/// The machine file of the machine that is built in.
std::string_view builtInMachineText();

}  // namespace ostria::virtual_pc
