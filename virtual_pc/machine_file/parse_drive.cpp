// The object of a drive. What only one command set has is refused on drives of another.
#include <array>
#include <bit>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint64_t kMaximumSectors = std::uint64_t{1} << 48;

template <typename Value>
using Word = std::pair<const char*, Value>;

constexpr std::array<Word<DriveKind>, 10> kKinds{{
    {"sata", DriveKind::Sata},
    {"usb_sat", DriveKind::UsbSat},
    {"usb_sat_no_ck", DriveKind::UsbSatNoCk},
    {"usb_jmicron", DriveKind::UsbJmicron},
    {"usb_sunplus", DriveKind::UsbSunplus},
    {"usb_stick", DriveKind::UsbStick},
    {"sas", DriveKind::Sas},
    {"nvme", DriveKind::Nvme},
    {"emmc", DriveKind::Emmc},
    {"sd", DriveKind::Sd},
}};

constexpr std::array<Word<PowerState>, 3> kPowerStates{{
    {"active", PowerState::Active},
    {"idle", PowerState::Idle},
    {"standby", PowerState::Standby},
}};

bool isAta(DriveKind kind) { return kind <= DriveKind::UsbSunplus; }

/// What the drive itself speaks, whatever stands before it.
CommandSet commandSetOf(DriveKind kind) {
  if (isAta(kind)) {
    return CommandSet::Ata;
  }
  return kind == DriveKind::Nvme ? CommandSet::Nvme : CommandSet::Scsi;
}

/// Longest text that the drive's own identity has room for.
struct TextLimits {
  std::size_t model;
  std::size_t serial;
  std::size_t firmware;
};

TextLimits limitsOf(DriveKind kind) {
  if (isAta(kind)) {
    return {40, 20, 8};
  }
  if (kind == DriveKind::Nvme) {
    return {40, 20, 8};
  }
  return {16, 32, 4};
}

void parseSize(ObjectReader& in, DriveDescription* out) {
  in.into("sector_bytes", out->sectorBytes, 512, 4096);
  if (out->sectorBytes != 512 && out->sectorBytes != 4096) {
    in.fail("sector_bytes", "a sector has 512 or 4096 bytes.");
  }
  out->physicalSectorBytes = out->sectorBytes;
  in.into("physical_sector_bytes", out->physicalSectorBytes, out->sectorBytes, 65536);
  if (!std::has_single_bit(out->physicalSectorBytes)) {
    in.fail("physical_sector_bytes", "a power of 2 is needed.");
  }
  if (in.has("size_sectors") == in.has("size_bytes")) {
    in.fail("size_sectors", "either this key or size_bytes is needed.");
  }
  out->sectors = in.number("size_sectors", 0, 1, kMaximumSectors);
  const std::uint64_t bytes =
      in.number("size_bytes", 0, out->sectorBytes, kMaximumSectors * out->sectorBytes);
  if (bytes % out->sectorBytes != 0) {
    in.fail("size_bytes", "this is no whole number of sectors.");
  }
  if (bytes != 0) {
    out->sectors = bytes / out->sectorBytes;
  }
}

void parseAta(ObjectReader& in, DriveDescription* out) {
  out->lba48 = in.flag("lba48", out->lba48);
  if (!out->lba48 && out->sectors >= (1u << 28)) {
    in.fail("lba48", "a drive without 48-bit addresses has less than 268435456 sectors.");
  }
  if (auto security = in.object("security")) {
    out->securitySupported = security->flag("supported", true);
    out->securityLocked = security->flag("locked", false);
    security->finish();
  }
  out->writeUncorrectable = in.flag("write_uncorrectable", true);
  out->power = in.choice<PowerState>("power", PowerState::Active, kPowerStates);
  in.into("spin_up_seconds", out->spinUpSeconds, 0, 600);
  in.into("cache_kibibytes", out->cacheKibibytes, 0, 4'000'000);
  in.into("ata_major_version", out->majorVersion);
  in.into("ata_minor_version", out->minorVersion);
  out->partNumber = in.text("part_number", "", 30);
  for (ObjectReader& word : in.objects("identify_words")) {
    word.require("word");
    word.require("value");
    IdentifyWord row;
    word.into("word", row.word);
    word.into("value", row.value);
    word.finish();
    out->identifyWords.push_back(row);
  }
}

ScsiDescription parseScsi(ObjectReader& in) {
  ScsiDescription out;
  out.read16 = in.flag("read16", out.read16);
  out.read12 = in.flag("read12", out.read12);
  out.capacity16 = in.flag("capacity16", out.capacity16);
  out.modePages6 = in.flag("mode_pages6", out.modePages6);
  out.modePages10 = in.flag("mode_pages10", out.modePages10);
  out.iecPage = in.flag("iec_page", out.iecPage);
  out.mediumPage = in.flag("medium_page", out.mediumPage);
  in.into("version", out.version);
  in.into("inquiry_bytes", out.inquiryBytes, 5, 252);
  in.into("request_sense_bytes", out.requestSenseBytes, 0, 252);
  out.descriptorSense = in.flag("descriptor_sense", out.descriptorSense);
  for (std::uint64_t code : in.numbers("standards", 0, 0xFFFF)) {
    out.standards.push_back(static_cast<std::uint16_t>(code));
  }
  if (out.standards.size() > 8) {
    in.fail("standards", "there is room for 8.");
  }
  in.finish();
  return out;
}

}  // namespace

DriveDescription parseDrive(ObjectReader& in, std::size_t index) {
  DriveDescription out;
  in.require("kind");
  out.kind = in.choice<DriveKind>("kind", out.kind, kKinds);
  out.name = in.text("name", "drive" + std::to_string(index), 40);
  if (out.name.empty()) {
    in.fail("name", "a name has at least one character.");
  }
  out.controller = in.text("controller", "", 40);

  const TextLimits limits = limitsOf(out.kind);
  in.require("model");
  out.model = in.text("model", "", limits.model);
  out.vendor = in.text("vendor", "", 8);
  out.serial = in.text("serial", "", limits.serial);
  out.firmware = in.text("firmware", "1.00", limits.firmware);
  parseSize(in, &out);
  out.solidState =
      in.flag("solid_state", out.kind >= DriveKind::Nvme || out.kind == DriveKind::UsbStick);
  in.into("rotation_rate", out.rotationRate, 0, 65534);
  out.removable = in.flag("removable", out.kind == DriveKind::Sd);
  out.shownAsRaid = in.flag("shown_as_raid", false);
  out.systemPredicts = in.flag("system_prediction", true);
  in.into("temperature", out.temperature);

  out.timing.accessMicroseconds = out.solidState ? 60 : 8000;
  out.timing.bytesPerSecond = out.solidState ? 500'000'000 : 150'000'000;
  in.into("access_microseconds", out.timing.accessMicroseconds, 0, 60'000'000);
  in.into("bytes_per_second", out.timing.bytesPerSecond, 1, 100'000'000'000);

  if (isAta(out.kind)) {
    parseAta(in, &out);
  }
  if (isAta(out.kind) || out.kind == DriveKind::Sas) {
    if (auto smart = in.object("smart")) {
      out.smart = parseSmart(*smart, out);
    }
  }
  if (out.kind == DriveKind::Sas || out.kind == DriveKind::UsbStick) {
    if (auto scsi = in.object("scsi")) {
      out.scsi = parseScsi(*scsi);
    }
  }
  if (out.kind == DriveKind::Nvme) {
    auto nvme = in.object("nvme");
    out.nvme = nvme ? parseNvme(*nvme, out) : usualNvme(out);
  }
  out.badSectors = parseBadSectors(in, "bad_sectors", out.sectors);
  out.faults = parseFaults(in, "faults", commandSetOf(out.kind));
  out.bridgeFaults = parseFaults(in, "bridge_faults", CommandSet::Scsi);
  if (auto recorded = in.object("recorded")) {
    out.recorded = parseRecorded(*recorded);
    if (!out.recorded.ata.empty() && !isAta(out.kind)) {
      recorded->fail("ata", "this drive speaks no ATA.");
    }
    if (!out.recorded.nvme.empty() && out.kind != DriveKind::Nvme) {
      recorded->fail("nvme", "this drive speaks no NVMe.");
    }
  }
  if (auto layout = in.object("layout")) {
    out.layout = parseLayout(*layout, out);
  }
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
