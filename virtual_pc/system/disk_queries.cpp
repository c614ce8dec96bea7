// Storage queries to a disk: descriptors, layout, geometry, failure prediction.
#include <winerror.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>

#include "virtual_pc/drives/ata_commands.h"
#include "virtual_pc/drives/scsi_commands.h"
#include "virtual_pc/system/disk.h"
#include "virtual_pc/system/guid_text.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint32_t kHeadsPerCylinder = 255;
constexpr std::uint32_t kSectorsPerTrack = 63;

LARGE_INTEGER large(std::uint64_t value) {
  LARGE_INTEGER out;
  out.QuadPart = static_cast<LONGLONG>(value);
  return out;
}

}  // namespace

void DiskObject::queryProperty(IoRequest& request) {
  STORAGE_PROPERTY_QUERY query{};
  if (request.input.size() < sizeof query) {
    return request.fail(ERROR_BAD_LENGTH);
  }
  std::memcpy(&query, request.input.data(), sizeof query);
  if (query.PropertyId != StorageDeviceProperty || query.QueryType != PropertyStandardQuery) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  deviceDescriptor(request);
}

void DiskObject::deviceDescriptor(IoRequest& request) const {
  // The texts stand behind the record, each closed by a zero byte; offset 0 is "no such text".
  std::vector<std::uint8_t> block(sizeof(STORAGE_DEVICE_DESCRIPTOR), 0);
  const auto append = [&block](const std::string& text) -> DWORD {
    if (text.empty()) {
      return 0;
    }
    const auto at = static_cast<DWORD>(block.size());
    block.insert(block.end(), text.begin(), text.end());
    block.push_back(0);
    return at;
  };
  STORAGE_DEVICE_DESCRIPTOR record{};
  record.Version = sizeof record;
  record.RemovableMedia = drive_.identity.removable ? 1 : 0;
  record.CommandQueueing = 1;
  record.VendorIdOffset = append(drive_.identity.vendor);
  record.ProductIdOffset = append(drive_.identity.product);
  record.ProductRevisionOffset = append(drive_.identity.revision);
  record.SerialNumberOffset = append(drive_.identity.serial);
  record.BusType = static_cast<STORAGE_BUS_TYPE>(drive_.identity.bus);
  record.Size = static_cast<DWORD>(block.size());
  std::memcpy(block.data(), &record, sizeof record);
  if (request.output.size() < sizeof(STORAGE_DESCRIPTOR_HEADER)) {
    return request.fail(ERROR_INSUFFICIENT_BUFFER);
  }
  request.answerCut(block.data(), block.size());
}

void DiskObject::predictFailure(IoRequest& request) {
  STORAGE_PREDICT_FAILURE answer{};
  if (!drive_.identity.predictsFailure) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  if (drive_.ata && drive_.ataPassThrough) {
    AtaExchange exchange;
    exchange.in.command = ata::Smart;
    exchange.in.features = ata::SmartReturnStatus;
    exchange.in.lbaMid = ata::kSmartLbaMid;
    exchange.in.lbaHigh = ata::kSmartLbaHigh;
    const std::uint32_t error = send(exchange, 10 * kMicrosecondsPerSecond);
    request.durationMicroseconds = exchange.durationMicroseconds;
    if (error) {
      return request.fail(error);
    }
    constexpr std::uint8_t kErrFaultOrBusy = 0xA1;
    if (exchange.out.command & kErrFaultOrBusy) {
      return request.fail(ERROR_INVALID_FUNCTION);
    }
    answer.PredictFailure = (exchange.out.lbaMid & 0xFF) == ata::kFailingLbaMid ? 1 : 0;
  } else if (drive_.identity.bus == BusType::Sas || drive_.identity.bus == BusType::Scsi) {
    ScsiExchange exchange;
    exchange.cdbLength = 6;
    exchange.cdb[0] = scsi::RequestSense;
    exchange.cdb[4] = 18;
    exchange.direction = DataDirection::In;
    exchange.data.resize(18);
    const std::uint32_t error = send(exchange, 10 * kMicrosecondsPerSecond);
    request.durationMicroseconds = exchange.durationMicroseconds;
    if (error) {
      return request.fail(error);
    }
    answer.PredictFailure = exchange.transferred >= 14 && exchange.data[12] == 0x5D ? 1 : 0;
  } else {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  request.answer(&answer, sizeof answer);
}

void DiskObject::driveLayout(IoRequest& request) const {
  const std::uint64_t sectorBytes = drive_.medium->sectorBytes();
  const auto& parts = layout_.partitions;
  constexpr std::size_t kHead = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
  std::vector<std::uint8_t> block(kHead + parts.size() * sizeof(PARTITION_INFORMATION_EX), 0);
  DRIVE_LAYOUT_INFORMATION_EX head{};
  const auto style =
      static_cast<PARTITION_STYLE>(layout_.style == LayoutStyle::Mbr   ? PARTITION_STYLE_MBR
                                   : layout_.style == LayoutStyle::Gpt ? PARTITION_STYLE_GPT
                                                                       : PARTITION_STYLE_RAW);
  head.PartitionStyle = static_cast<DWORD>(style);
  head.PartitionCount = static_cast<DWORD>(parts.size());
  if (style == PARTITION_STYLE_MBR) {
    head.Mbr.Signature = 0x5A5A0000u + number_;
  }
  if (style == PARTITION_STYLE_GPT) {
    head.Gpt.StartingUsableOffset = large(34 * sectorBytes);
    head.Gpt.UsableLength = large(size() - 67 * sectorBytes);
    head.Gpt.MaxPartitionCount = 128;
  }
  std::memcpy(block.data(), &head, kHead);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    PARTITION_INFORMATION_EX entry{};
    entry.PartitionStyle = style;
    entry.StartingOffset = large(parts[i].startSector * sectorBytes);
    entry.PartitionLength = large(parts[i].sectors * sectorBytes);
    entry.PartitionNumber = parts[i].number;
    if (style == PARTITION_STYLE_GPT) {
      entry.Gpt.PartitionType = parseGuid(parts[i].typeGuid);
      for (std::size_t c = 0; c < std::min<std::size_t>(parts[i].name.size(), 35); ++c) {
        entry.Gpt.Name[c] = static_cast<unsigned char>(parts[i].name[c]);
      }
    } else if (style == PARTITION_STYLE_MBR) {
      entry.Mbr.PartitionType = parts[i].typeByte;
      entry.Mbr.BootIndicator = static_cast<BOOLEAN>(i == 0);
      entry.Mbr.RecognizedPartition = static_cast<BOOLEAN>(parts[i].typeByte != 0);
    }
    std::memcpy(block.data() + kHead + i * sizeof entry, &entry, sizeof entry);
  }
  request.answer(block.data(), block.size());
}

void DiskObject::geometry(IoRequest& request) const {
  DISK_GEOMETRY_EX all{};
  all.Geometry.Cylinders =
      large(drive_.medium->sectors() / (std::uint64_t{kHeadsPerCylinder} * kSectorsPerTrack));
  all.Geometry.MediaType = drive_.identity.removable ? RemovableMedia : FixedMedia;
  all.Geometry.TracksPerCylinder = kHeadsPerCylinder;
  all.Geometry.SectorsPerTrack = kSectorsPerTrack;
  all.Geometry.BytesPerSector = drive_.medium->sectorBytes();
  all.DiskSize = large(size());
  if (request.code == IOCTL_DISK_GET_DRIVE_GEOMETRY) {
    request.answer(&all.Geometry, sizeof all.Geometry);
  } else {
    request.answer(&all, offsetof(DISK_GEOMETRY_EX, Data));
  }
}

void DiskObject::capacity(IoRequest& request) const {
  STORAGE_READ_CAPACITY record{};
  record.Version = record.Size = sizeof record;
  record.BlockLength = drive_.medium->sectorBytes();
  record.NumberOfBlocks = large(drive_.medium->sectors());
  record.DiskLength = large(size());
  request.answer(&record, sizeof record);
}

}  // namespace ostria::virtual_pc
