// The disk driver: whole-sector transfers become SCSI commands, and sense becomes a system error.
#include "virtual_pc/system/disk.h"

#include <ntddscsi.h>
#include <winerror.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/byte_order.h"
#include "virtual_pc/drives/nvme_drive.h"
#include "virtual_pc/drives/scsi_block.h"
#include "virtual_pc/drives/scsi_commands.h"
#include "virtual_pc/system/machine.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint64_t kDiskTimeout = 60 * kMicrosecondsPerSecond;

constexpr std::uint8_t kGood = 0x00;
constexpr std::uint8_t kCheckCondition = 0x02;
constexpr std::uint8_t kUnitAttention = 0x06;

std::uint8_t keyOf(const std::vector<std::uint8_t>& sense) {
  const bool descriptor = !sense.empty() && (sense[0] & 0x7F) >= 0x72;
  if (sense.size() < (descriptor ? 4u : 14u)) {
    return 0xFF;
  }
  return (descriptor ? sense[1] : sense[2]) & 0x0F;
}

/// What the disk driver makes of sense data.
std::uint32_t errorOfSense(const std::vector<std::uint8_t>& sense) {
  switch (keyOf(sense)) {
    case kNoSense:
    case kSenseRecovered:
      return ERROR_SUCCESS;
    case kSenseNotReady:
      return ERROR_NOT_READY;
    case kSenseMediumError:
      return ERROR_CRC;
    case kSenseIllegalRequest:
      return ERROR_INVALID_FUNCTION;
    case kSenseDataProtect:
      return ERROR_WRITE_PROTECT;
    default:
      return ERROR_IO_DEVICE;
  }
}

}  // namespace

DiskObject::DiskObject(Machine& machine, std::uint32_t number, Drive& drive,
                       LayoutDescription layout, PortObject& port)
    : machine_(machine),
      number_(number),
      drive_(drive),
      layout_(std::move(layout)),
      port_(port),
      target_(port.attach(drive)) {}

bool DiskObject::present() const {
  return !drive_.scsi->gone() && !machine_.faults().devicesGone();
}

std::uint64_t DiskObject::largestTransfer() const {
  constexpr std::uint64_t kUsual = std::uint64_t{1} << 20;
  return drive_.nvme ? NvmeDrive::kLargestTransfer : kUsual;
}

const PartitionDescription* DiskObject::partition(std::uint32_t number) const {
  const auto found = std::ranges::find(layout_.partitions, number, &PartitionDescription::number);
  return found == layout_.partitions.end() ? nullptr : &*found;
}

std::string DiskObject::instanceId() const {
  const bool usb = drive_.identity.bus == BusType::Usb;
  return std::string(usb ? "USBSTOR" : "SCSI") + "\\DISK&VEN_VIRTUAL&PROD_DISK\\" +
         std::to_string(port_.number()) + "&" + std::to_string(target_);
}

std::string DiskObject::interfacePath() const {
  std::string id = instanceId();
  for (char& c : id) {
    if (c == '\\') {
      c = '#';
    }
  }
  return "\\\\?\\" + id + "#{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";
}

std::uint32_t DiskObject::verdict(Exchange& exchange, std::uint64_t timeout) const {
  switch (exchange.delivery) {
    case Delivery::Gone:
      return ERROR_DEVICE_NOT_CONNECTED;
    case Delivery::TransportError:
      return exchange.transportError;
    case Delivery::Answered:
      break;
  }
  if (exchange.durationMicroseconds <= timeout) {
    return ERROR_SUCCESS;
  }
  exchange.durationMicroseconds = timeout;
  exchange.transferred = 0;
  return ERROR_SEM_TIMEOUT;
}

std::uint32_t DiskObject::send(ScsiExchange& exchange, std::uint64_t timeout) {
  if (!present()) {
    return ERROR_DEVICE_NOT_CONNECTED;
  }
  drive_.scsi->execute(exchange);
  return verdict(exchange, timeout);
}

std::uint32_t DiskObject::send(AtaExchange& exchange, std::uint64_t timeout) {
  if (!present()) {
    return ERROR_DEVICE_NOT_CONNECTED;
  }
  if (!drive_.ata || !drive_.ataPassThrough) {
    return ERROR_INVALID_FUNCTION;
  }
  drive_.ata->execute(exchange);
  return verdict(exchange, timeout);
}

std::uint32_t DiskObject::send(NvmeExchange& exchange, std::uint64_t timeout) {
  if (!present()) {
    return ERROR_DEVICE_NOT_CONNECTED;
  }
  if (!drive_.nvme) {
    return ERROR_INVALID_FUNCTION;
  }
  drive_.nvme->execute(exchange);
  return verdict(exchange, timeout);
}

SectorResult DiskObject::transfer(std::uint64_t lba, std::uint64_t count, bool writing,
                                  std::vector<std::uint8_t>* data) {
  ScsiExchange exchange;
  const bool far = lba + count > 0xFFFFFFFFu;
  exchange.direction = writing ? DataDirection::Out : DataDirection::In;
  exchange.cdbLength = far ? 16 : 10;
  exchange.cdb[0] =
      far ? (writing ? scsi::Write16 : scsi::Read16) : (writing ? scsi::Write10 : scsi::Read10);
  if (far) {
    storage::storeBe64(&exchange.cdb[2], lba);
    storage::storeBe32(&exchange.cdb[10], static_cast<std::uint32_t>(count));
  } else {
    storage::storeBe32(&exchange.cdb[2], static_cast<std::uint32_t>(lba));
    storage::storeBe16(&exchange.cdb[7], static_cast<std::uint16_t>(count));
  }
  exchange.data = std::move(*data);
  SectorResult result;
  // As the system's disk driver does: what a UNIT ATTENTION kept from being done is asked again.
  std::vector<std::uint8_t> outgoing;
  if (writing) {
    outgoing = exchange.data;
  }
  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::uint64_t before = exchange.durationMicroseconds;
    result.error = send(exchange, kDiskTimeout);
    exchange.durationMicroseconds += before;
    if (result.error != ERROR_SUCCESS || exchange.status != kCheckCondition ||
        keyOf(exchange.sense) != kUnitAttention) {
      break;
    }
    if (writing) {
      exchange.data = outgoing;
    }
  }
  *data = std::move(exchange.data);
  result.bytes = exchange.transferred;
  result.durationMicroseconds = exchange.durationMicroseconds;
  if (result.error == ERROR_SUCCESS && exchange.status == kCheckCondition) {
    result.error = errorOfSense(exchange.sense);
  } else if (result.error == ERROR_SUCCESS && exchange.status != kGood) {
    result.error = ERROR_BUSY;  // busy, reserved by another host, or its queue full
  }
  if (result.error != ERROR_SUCCESS) {
    result.bytes = 0;
  }
  return result;
}

SectorResult DiskObject::readSectors(std::uint64_t lba, std::uint64_t count, std::uint8_t* out) {
  const std::uint64_t sectorBytes = drive_.medium->sectorBytes();
  const std::uint64_t most = largestTransfer() / sectorBytes;
  SectorResult total;
  std::vector<std::uint8_t> data;
  while (count != 0) {
    const std::uint64_t now = std::min(count, most);
    data.resize(static_cast<std::size_t>(now * sectorBytes));
    const SectorResult part = transfer(lba, now, false, &data);
    total.durationMicroseconds += part.durationMicroseconds;
    total.error = part.error;
    if (part.error) {
      return total;
    }
    std::memcpy(out + total.bytes, data.data(), part.bytes);
    total.bytes += part.bytes;
    if (part.bytes != data.size()) {
      return total;
    }
    lba += now;
    count -= now;
  }
  return total;
}

SectorResult DiskObject::writeSectors(std::uint64_t lba, std::uint64_t count,
                                      const std::uint8_t* in) {
  const std::uint64_t sectorBytes = drive_.medium->sectorBytes();
  const std::uint64_t most = largestTransfer() / sectorBytes;
  SectorResult total;
  while (count != 0) {
    const std::uint64_t now = std::min(count, most);
    std::vector<std::uint8_t> data(in + total.bytes, in + total.bytes + now * sectorBytes);
    const SectorResult part = transfer(lba, now, true, &data);
    total.durationMicroseconds += part.durationMicroseconds;
    total.error = part.error;
    if (part.error) {
      return total;
    }
    total.bytes += part.bytes;
    if (part.bytes != data.size()) {
      return total;
    }
    lba += now;
    count -= now;
  }
  return total;
}

void DiskObject::read(IoRequest& request) {
  const std::uint64_t sectorBytes = drive_.medium->sectorBytes();
  if (request.offset % sectorBytes || request.bytes % sectorBytes) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  if (request.offset > size() || request.bytes > size() - request.offset) {
    return request.fail(ERROR_SECTOR_NOT_FOUND);
  }
  request.makeRoom();
  const SectorResult result =
      readSectors(request.offset / sectorBytes, request.bytes / sectorBytes, request.output.data());
  request.error = result.error;
  request.returned = result.error ? 0 : result.bytes;
  request.durationMicroseconds = result.durationMicroseconds;
}

void DiskObject::write(IoRequest& request) {
  const std::uint64_t sectorBytes = drive_.medium->sectorBytes();
  if (request.offset % sectorBytes || request.input.size() % sectorBytes) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  if (request.offset >= size() || request.input.size() > size() - request.offset) {
    return request.fail(ERROR_SECTOR_NOT_FOUND);
  }
  if (machine_.protectedByVolume(*this, request.offset, request.input.size())) {
    return request.fail(ERROR_ACCESS_DENIED);
  }
  const SectorResult result = writeSectors(
      request.offset / sectorBytes, request.input.size() / sectorBytes, request.input.data());
  request.error = result.error;
  request.returned = result.bytes;
  request.durationMicroseconds = result.durationMicroseconds;
}

void DiskObject::control(IoRequest& request) {
  if (!present()) {
    return request.fail(ERROR_DEVICE_NOT_CONNECTED);
  }
  for (const auto& handler : handlers_) {
    if (handler(*this, request)) {
      return;
    }
  }
  switch (request.code) {
    case IOCTL_SCSI_PASS_THROUGH:
      return scsiPassThrough(request);
    case IOCTL_ATA_PASS_THROUGH:
      return ataPassThrough(request);
    case IOCTL_SCSI_MINIPORT:
      return port_.control(request);
    case IOCTL_STORAGE_QUERY_PROPERTY:
      return queryProperty(request);
    case IOCTL_STORAGE_GET_DEVICE_NUMBER: {
      const STORAGE_DEVICE_NUMBER number{FILE_DEVICE_DISK, number_, 0};
      return request.answer(&number, sizeof number);
    }
    case IOCTL_STORAGE_PREDICT_FAILURE:
      return predictFailure(request);
    case SMART_GET_VERSION: {
      if (!drive_.ata || !drive_.ataPassThrough) {
        return request.fail(ERROR_INVALID_FUNCTION);
      }
      GETVERSIONINPARAMS version{};
      version.bVersion = 1;
      version.bRevision = 1;
      version.bIDEDeviceMap = 1;
      version.fCapabilities = CAP_ATA_ID_CMD | CAP_SMART_CMD;
      return request.answer(&version, sizeof version);
    }
    case IOCTL_DISK_GET_DRIVE_LAYOUT_EX:
      return driveLayout(request);
    case IOCTL_DISK_GET_DRIVE_GEOMETRY:
    case IOCTL_DISK_GET_DRIVE_GEOMETRY_EX:
      return geometry(request);
    case IOCTL_DISK_GET_LENGTH_INFO: {
      const auto length = static_cast<long long>(size());
      return request.answer(&length, sizeof length);
    }
    case IOCTL_STORAGE_READ_CAPACITY:
      return capacity(request);
    default:
      return request.fail(ERROR_INVALID_FUNCTION);
  }
}

}  // namespace ostria::virtual_pc
