#include "virtual_pc/description/description.h"

namespace ostria::virtual_pc {

// Small drives, so that even a scan of a whole one is over soon.
std::string_view builtInMachineText() {
  return R"json({
  "format": 1,
  "description": "A workshop PC with good, worn and broken drives of every kind.",
  "driver_service": {},
  "controllers": [
    {"name": "sata", "bus": 0, "device": 23, "function": 0,
     "hardware_id": "PCI\\VEN_1AF4&DEV_2922&CC_0106", "description": "Serial ATA controller"},
    {"name": "usb", "bus": 0, "device": 20, "function": 0,
     "hardware_id": "PCI\\VEN_1AF4&DEV_1E31&CC_0C03", "description": "USB mass storage"},
    {"name": "sas", "bus": 3, "device": 0, "function": 0,
     "hardware_id": "PCI\\VEN_1AF4&DEV_0097&CC_0107", "description": "Serial attached SCSI controller"},
    {"name": "raid", "bus": 0, "device": 31, "function": 2,
     "hardware_id": "PCI\\VEN_8086&DEV_2822&CC_0104", "description": "Chipset RAID controller",
     "driver_provider": "Chipset Drivers", "driver_version": "17.8.1.4",
     "csmi": {"bios_version": [17, 8, 0, 4507], "raid_sets": [
       {"type": 2, "capacity_mebibytes": 243, "drives": ["mirror-1", "mirror-2"]}]}}
  ],
  "drives": [
    {"name": "hdd", "kind": "sata", "controller": "sata", "model": "VIRTUAL HDD 20GB",
     "serial": "VPC-HDD-0001", "firmware": "VH01", "size_sectors": 39070080,
     "physical_sector_bytes": 4096, "rotation_rate": 7200, "cache_kibibytes": 65536, "temperature": 34,
     "smart": {
       "attributes": [
         {"id": 1, "value": 117, "worst": 99, "threshold": 6, "raw": 130592, "flags": 15},
         {"id": 3, "value": 97, "worst": 97, "flags": 3},
         {"id": 4, "value": 100, "threshold": 20, "raw": 412},
         {"id": 5, "value": 100, "threshold": 10, "raw": 0, "flags": 51},
         {"id": 7, "value": 84, "worst": 60, "threshold": 30, "raw": 281474, "flags": 15},
         {"id": 9, "value": 92, "raw": 7311},
         {"id": 12, "value": 100, "threshold": 20, "raw": 401},
         {"id": 194, "value": 34, "worst": 46, "raw": 34, "flags": 34},
         {"id": 197, "value": 100, "raw": 0, "flags": 18},
         {"id": 198, "value": 100, "raw": 0, "flags": 16},
         {"id": 199, "value": 200, "raw": 0, "flags": 62}],
       "self_tests": [
         {"code": 1, "seconds": 60}, {"code": 2, "seconds": 7200}, {"code": 3, "seconds": 120},
         {"code": 80, "seconds": 90}],
       "self_test_log": [{"code": 1, "hours": 7000}]},
     "layout": {"style": "gpt", "partitions": [
       {"start_sector": 2048, "sectors": 204800, "type": "c12a7328-f81f-11d2-ba4b-00a0c93ec93b",
        "name": "EFI system partition"},
       {"start_sector": 206848, "sectors": 32768, "type": "e3c9e316-0b5c-4db8-817d-f92df00215ae",
        "name": "Microsoft reserved partition"},
       {"start_sector": 239616, "sectors": 38828032, "name": "Basic data partition"}]}},
    {"name": "ssd", "kind": "sata", "controller": "sata", "model": "VIRTUAL SSD 16GB",
     "serial": "VPC-SSD-0001", "firmware": "VS10", "size_sectors": 31277232,
     "physical_sector_bytes": 4096, "solid_state": true, "temperature": 38,
     "smart": {
       "attributes": [
         {"id": 5, "value": 100, "threshold": 10, "raw": 0, "flags": 51},
         {"id": 9, "value": 99, "raw": 1210},
         {"id": 12, "value": 99, "raw": 388},
         {"id": 194, "value": 62, "worst": 51, "raw": 38, "flags": 34},
         {"id": 233, "value": 91, "worst": 91, "raw": 0}],
       "self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 600}]},
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 16777216, "type": 7},
       {"number": 0, "start_sector": 16779264, "sectors": 14497968, "type": 15},
       {"number": 2, "start_sector": 16781312, "sectors": 8388608, "type": 7}]}},
    {"name": "failing", "kind": "sata", "controller": "sata", "model": "VIRTUAL OLDDISK 10GB",
     "serial": "VPC-BAD-0001", "firmware": "VB01", "size_sectors": 19535040, "rotation_rate": 5400,
     "temperature": 51,
     "smart": {
       "failing": true,
       "attributes": [
         {"id": 1, "value": 61, "worst": 44, "threshold": 62, "raw": 88213377, "flags": 15},
         {"id": 5, "value": 3, "threshold": 36, "raw": 3977, "flags": 51},
         {"id": 9, "value": 41, "raw": 51911},
         {"id": 12, "value": 96, "raw": 4402},
         {"id": 194, "value": 51, "worst": 60, "raw": 51, "flags": 34},
         {"id": 197, "value": 88, "raw": 12, "flags": 18},
         {"id": 198, "value": 88, "raw": 12, "flags": 16}],
       "self_tests": [
         {"code": 1, "seconds": 60, "outcome": 7, "failing_lba": 1234567, "stops_at_percent": 40},
         {"code": 2, "seconds": 5400}, {"code": 3, "seconds": 120}, {"code": 80, "seconds": 90}],
       "self_test_log": [{"code": 1, "status": 7, "hours": 51900, "failing_lba": 1234567}],
       "error_log": [
         {"lba": 1234567, "hours": 51899}, {"lba": 9000000, "hours": 51910}]},
     "bad_sectors": [
       {"lba": 1234567, "count": 3},
       {"lba": 1300000, "kind": "transient", "failures": 1},
       {"lba": 9000000, "on_write": "stays"},
       {"lba": 9500000, "kind": "slow", "delay_milliseconds": 4000},
       {"lba": 19000000, "count": 2}],
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 19531776, "type": 7}]}},
    {"name": "smart-off", "kind": "sata", "controller": "sata", "model": "VIRTUAL SILENT 4GB",
     "serial": "VPC-OFF-0001", "firmware": "VO01", "size_sectors": 7814016, "rotation_rate": 5400,
     "smart": {
       "enabled": false,
       "attributes": [
         {"id": 5, "value": 100, "threshold": 10, "flags": 51}, {"id": 9, "value": 98, "raw": 2001},
         {"id": 194, "value": 31, "raw": 31, "flags": 34}],
       "self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 1800}]}},
    {"name": "no-smart", "kind": "sata", "controller": "sata", "model": "VIRTUAL PLAIN 2GB",
     "serial": "VPC-OLD-0001", "firmware": "VP01", "size_sectors": 3907008, "lba48": false,
     "security": {"supported": false}, "smart": {"supported": false}},
    {"name": "usb-sat", "kind": "usb_sat", "controller": "usb", "vendor": "VIRTUAL",
     "model": "VIRTUAL PORTABLE 4GB", "serial": "VPC-SAT-0001", "firmware": "VU01",
     "size_sectors": 7814016, "rotation_rate": 5400,
     "smart": {
       "attributes": [
         {"id": 5, "value": 100, "threshold": 36, "flags": 51}, {"id": 9, "value": 99, "raw": 640},
         {"id": 194, "value": 36, "raw": 36, "flags": 34}],
       "self_tests": [{"code": 1, "seconds": 60}]},
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 7811072, "type": 7}]}},
    {"name": "usb-sat-no-ck", "kind": "usb_sat_no_ck", "controller": "usb", "vendor": "VIRTUAL",
     "model": "VIRTUAL POCKET 2GB", "serial": "VPC-NCK-0001", "firmware": "VU02",
     "size_sectors": 3907008, "rotation_rate": 5400,
     "smart": {
       "attributes": [
         {"id": 5, "value": 100, "threshold": 36, "flags": 51}, {"id": 9, "value": 97, "raw": 2890}]}},
    {"name": "usb-jmicron", "kind": "usb_jmicron", "controller": "usb", "vendor": "VIRTUAL",
     "model": "VIRTUAL CASE-J 2GB", "serial": "VPC-JMI-0001", "firmware": "VU03",
     "size_sectors": 3907008, "rotation_rate": 5400},
    {"name": "usb-sunplus", "kind": "usb_sunplus", "controller": "usb", "vendor": "VIRTUAL",
     "model": "VIRTUAL CASE-S 2GB", "serial": "VPC-SUN-0001", "firmware": "VU04",
     "size_sectors": 3907008, "rotation_rate": 5400},
    {"name": "usb-stick", "kind": "usb_stick", "controller": "usb", "vendor": "VIRTUAL",
     "model": "FLASH STICK 1GB", "serial": "VPC-STICK-01", "firmware": "1.10",
     "size_sectors": 1953792,
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 1951744, "type": 12}]}},
    {"name": "sas", "kind": "sas", "controller": "sas", "vendor": "VIRTUAL",
     "model": "SAS DISK 18GB", "serial": "VPC-SAS-0001", "firmware": "VA01",
     "size_sectors": 35156250, "rotation_rate": 10000, "temperature": 41,
     "scsi": {"standards": [96, 1120, 1216]},
     "smart": {"self_tests": [
       {"code": 0, "seconds": 20}, {"code": 1, "seconds": 60}, {"code": 2, "seconds": 3600},
       {"code": 5, "seconds": 60}, {"code": 6, "seconds": 3600}]}},
    {"name": "nvme", "kind": "nvme", "model": "VIRTUAL NVME 16GB", "serial": "VPC-NVM-0001",
     "firmware": "VN01", "size_sectors": 33554432, "temperature": 39,
     "nvme": {
       "road": "storage_query", "part_number": "VPC-PN-0001", "vendor_count": 12,
       "endurance_estimate": 9000,
       "health": {"percentage_used": 4, "data_units_written": 2400000, "power_on_hours": 3120}},
     "layout": {"style": "gpt", "partitions": [
       {"start_sector": 2048, "sectors": 33550336, "name": "Basic data partition"}]}},
    {"name": "nvme-intel", "kind": "nvme", "model": "VIRTUAL NVME PORT 8GB",
     "serial": "VPC-NVM-0002", "firmware": "VN02", "size_sectors": 16777216, "temperature": 44,
     "nvme": {
       "road": "intel_port", "path_id": 3, "namespace_management": true,
       "health": {"percentage_used": 31, "power_on_hours": 9400},
       "self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 900}]}},
    {"name": "nvme-mini", "kind": "nvme", "model": "VIRTUAL NVME MINI 2GB",
     "serial": "VPC-NVM-0003", "firmware": "VN03", "size_bytes": 2147483648, "sector_bytes": 4096,
     "temperature": 71,
     "nvme": {
       "road": "mini_port",
       "health": {"critical_warning": 6, "available_spare": 7, "percentage_used": 97,
                  "media_errors": 41, "power_on_hours": 31000},
       "self_tests": [{"code": 1, "seconds": 60, "outcome": 7, "failing_lba": 77777,
                       "stops_at_percent": 20}]},
     "bad_sectors": [{"lba": 77777}]},
    {"name": "nvme-scsi", "kind": "nvme", "model": "VIRTUAL NVME PLAIN 2GB",
     "serial": "VPC-NVM-0004", "firmware": "VN04", "size_sectors": 4194304,
     "nvme": {"road": "scsi_only"}},
    {"name": "emmc", "kind": "emmc", "model": "VEMMC8", "serial": "4556304d30304131",
     "firmware": "5.1", "size_sectors": 15727635,
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 15724544, "type": 7}]}},
    {"name": "sd", "kind": "sd", "model": "VSD2", "serial": "VPC-SD-0001", "firmware": "1.0",
     "size_sectors": 3919860, "removable": false,
     "layout": {"style": "mbr", "partitions": [
       {"start_sector": 2048, "sectors": 3917812, "type": 12}]}},
    {"name": "mirror-1", "kind": "sata", "controller": "raid", "model": "VIRTUAL MIRROR 256MB",
     "serial": "VPC-RAID-0001", "firmware": "VR01", "size_sectors": 524288, "rotation_rate": 7200,
     "smart": {"attributes": [
       {"id": 5, "value": 100, "threshold": 10, "flags": 51}, {"id": 9, "value": 95, "raw": 4212},
       {"id": 194, "value": 33, "raw": 33, "flags": 34}]}},
    {"name": "mirror-2", "kind": "sata", "controller": "raid", "model": "VIRTUAL MIRROR 256MB",
     "serial": "VPC-RAID-0002", "firmware": "VR01", "size_sectors": 524288, "rotation_rate": 7200,
     "smart": {"attributes": [
       {"id": 5, "value": 100, "threshold": 10, "flags": 51}, {"id": 9, "value": 95, "raw": 4212},
       {"id": 194, "value": 34, "raw": 34, "flags": 34}]}}
  ],
  "volumes": [
    {"letter": "C", "drive": "hdd", "partition": 3, "label": "System", "serial": 2720934481,
     "free_bytes": 9000000000,
     "files": [
       {"path": "\\Windows\\System32\\drivers\\etc\\hosts", "text": "127.0.0.1 localhost\r\n"},
       {"path": "\\Diagnostics\\diagnostics.exe", "bytes": 1048576}]},
    {"letter": "D", "drive": "ssd", "partition": 1, "label": "Data", "serial": 305419896},
    {"letter": "E", "drive": "ssd", "partition": 2, "label": "Archive", "serial": 305419897},
    {"letter": "F", "drive": "failing", "partition": 1, "label": "Old", "serial": 3735928559,
     "free_bytes": 2000000000},
    {"letter": "G", "drive": "usb-sat", "partition": 1, "label": "Portable", "serial": 12648430},
    {"letter": "H", "drive": "usb-stick", "partition": 1, "label": "STICK", "serial": 51966,
     "file_system": "FAT32", "fixed": false},
    {"letter": "N", "drive": "nvme", "partition": 1, "label": "Work", "serial": 51967,
     "free_bytes": 1250000000},
    {"letter": "M", "drive": "emmc", "partition": 1, "label": "Tablet", "serial": 51968,
     "free_bytes": 1200000000},
    {"letter": "S", "drive": "sd", "partition": 1, "label": "CARD", "serial": 51969,
     "file_system": "FAT32"}
  ]
})json";
}

}  // namespace ostria::virtual_pc
