#pragma once

#include <ostream>
#include <string>

#include "ostria/storage/test_ids.h"

namespace ostria::storage::test {

inline constexpr char kSound[] =
    R"(, "rotation_rate": 7200, "smart": {"attributes": [{"id": 5}, {"id": 233}],
       "self_tests": [{"code": 0, "seconds": 5}, {"code": 1, "seconds": 15},
       {"code": 2, "seconds": 15}, {"code": 3, "seconds": 15}, {"code": 80, "seconds": 15}]})";
inline constexpr char kSoundSsd[] =
    R"(, "solid_state": true, "smart": {"attributes": [{"id": 233}]})";

/// A sound drive of each kind, by each way that leads to it.
struct DriveKind {
  enum class Behind { Nothing, Csmi, Lsi };

  const char* name;
  const char* kind;
  const char* more = "";
  Behind controller = Behind::Nothing;
};
inline void PrintTo(const DriveKind& drive, std::ostream* out) { *out << drive.name; }

inline const DriveKind kSoundDrives[] = {
    {"sata", "sata", kSound},
    {"sata_ssd", "sata", kSoundSsd},
    {"usb_sat", "usb_sat"},
    {"usb_sat_no_ck", "usb_sat_no_ck"},
    {"usb_jmicron", "usb_jmicron"},
    {"usb_sunplus", "usb_sunplus"},
    {"usb_stick", "usb_stick"},
    {"sas", "sas", kSound},
    {"nvme_query", "nvme", R"(, "nvme": {"pass_through": "storage_query"})"},
    {"nvme_intel_port", "nvme", R"(, "nvme": {"pass_through": "intel_port"})"},
    {"nvme_mini_port", "nvme", R"(, "nvme": {"pass_through": "mini_port"})"},
    {"nvme_scsi", "nvme", R"(, "nvme": {"pass_through": "scsi_only"})"},
    {"emmc", "emmc"},
    {"sd", "sd", R"(, "removable": false)"},
    {"csmi_sata", "sata", kSound, DriveKind::Behind::Csmi},
    {"csmi_sas", "sas", kSound, DriveKind::Behind::Csmi},
    {"csmi_nvme", "nvme", R"(, "nvme": {"path_id": 3})", DriveKind::Behind::Csmi},
    {"lsi_sata", "sata", kSound, DriveKind::Behind::Lsi},
    {"lsi_sas", "sas", kSound, DriveKind::Behind::Lsi},
};

inline const Identifier kAllTests[] = {
    ids::kSmartStatus,        ids::kTargetedRead,       ids::kQuickRandomSeek,
    ids::kQuickFunnelSeek,    ids::kShortSelfTest,      ids::kDriveSelfTest,
    ids::kDefaultSelfTest,    ids::kDeviceRead,         ids::kSmartWearout,
    ids::kSmartHealth,        ids::kNvmeSpareSpace,     ids::kNvmeTemperature,
    ids::kNvmeReliability,    ids::kControllerStatus,   ids::kNvmeHealthPrediction,
    ids::kExtendedRandomSeek, ids::kExtendedFunnelSeek, ids::kExtendedSelfTest,
    ids::kDeviceWrite,        ids::kFullDiskScan,       ids::kLinearRead,
    ids::kConveyanceSelfTest,
};

/// A machine with one sound drive. @param roomy  it has a volume on which the write test finds room
inline std::string machineWith(const DriveKind& drive, bool roomy) {
  using Behind = DriveKind::Behind;
  const std::string controller =
      drive.controller == Behind::Csmi
          ? R"({"name": "c", "hardware_id": "PCI\\VEN_8086&DEV_2822&SUBSYS_00000001&REV_04", "csmi": {}})"
      : drive.controller == Behind::Lsi
          ? R"({"name": "c", "hardware_id": "PCI\\VEN_1000&DEV_005B&SUBSYS_00000002&REV_05", "lsi": {}})"
          : "";
  std::string text = R"({"format": 1, "driver_service": {}, "controllers": [)" + controller +
                     R"(], "drives": [{"name": "d", "kind": ")" + drive.kind +
                     R"(", "model": "SOUND", "serial": "S1")" + drive.more;
  if (drive.controller != Behind::Nothing) {
    text += R"(, "controller": "c")";
  }
  text += roomy ? R"(, "size_bytes": 4000000000, "layout": {"style": "gpt",
                    "partitions": [{"start_sector": 2048, "sectors": 6000000}]}}],
                  "volumes": [{"letter": "V", "drive": "d", "partition": 1,
                               "free_bytes": 1182164582}])"
                : R"(, "size_sectors": 2400}])";
  return text + "}";
}

}  // namespace ostria::storage::test
