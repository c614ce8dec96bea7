// SCSI and ATA pass-through requests to a disk (ntddscsi.h). A contradiction is refused, as real
// ports do, before the drive sees it.
#include <ntddscsi.h>
#include <winerror.h>

#include <algorithm>
#include <cstring>

#include "virtual_pc/drives/ata_command_traits.h"
#include "virtual_pc/system/disk.h"

namespace ostria::virtual_pc {

namespace {

/// A request that may take no time at all is refused.
constexpr ULONG kShortestSeconds = 1;

std::uint64_t timeoutOf(ULONG seconds) { return seconds * kMicrosecondsPerSecond; }

/// Whether two ranges have a byte in common.
bool overlaps(std::uint64_t at, std::uint64_t bytes, std::uint64_t otherAt,
              std::uint64_t otherBytes) {
  return at < otherAt + otherBytes && otherAt < at + bytes;
}

/// Whether a range lies within a block.
bool within(std::uint64_t offset, std::uint64_t bytes, std::size_t block) {
  return offset <= block && bytes <= block - offset;
}

}  // namespace

void DiskObject::scsiPassThrough(IoRequest& request) {
  SCSI_PASS_THROUGH header;
  if (request.input.size() < sizeof header) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  std::memcpy(&header, request.input.data(), sizeof header);
  const std::size_t dataOffset = static_cast<std::size_t>(header.DataBufferOffset);
  const std::size_t length = header.DataTransferLength;
  if (drive_.identity.bus == BusType::Mmc || drive_.identity.bus == BusType::Sd) {
    return request.fail(ERROR_INVALID_FUNCTION);  // their bus has no SCSI
  }
  if (header.Length != sizeof header || header.CdbLength == 0 || header.CdbLength > 16 ||
      header.DataIn > SCSI_IOCTL_DATA_UNSPECIFIED || header.TimeOutValue < kShortestSeconds ||
      length > largestTransfer()) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  const bool in = header.DataIn == SCSI_IOCTL_DATA_IN;
  const bool out = header.DataIn == SCSI_IOCTL_DATA_OUT && length != 0;
  if ((in && !within(dataOffset, length, request.output.size())) ||
      (out && !within(dataOffset, length, request.input.size())) ||
      ((in || out) && dataOffset < sizeof header) ||
      (header.SenseInfoLength != 0 &&
       (header.SenseInfoOffset < sizeof header ||
        !within(header.SenseInfoOffset, header.SenseInfoLength, request.output.size()) ||
        ((in || out) &&
         overlaps(header.SenseInfoOffset, header.SenseInfoLength, dataOffset, length)))) ||
      request.output.size() < sizeof header) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }

  ScsiExchange exchange;
  std::copy_n(header.Cdb, header.CdbLength, exchange.cdb.begin());
  exchange.cdbLength = header.CdbLength;
  exchange.direction = in ? DataDirection::In : out ? DataDirection::Out : DataDirection::None;
  if (in) {
    exchange.data.resize(length);
  }
  if (out) {
    exchange.data.assign(request.input.data() + dataOffset,
                         request.input.data() + dataOffset + length);
  }
  const std::uint32_t error = send(exchange, timeoutOf(header.TimeOutValue));
  request.durationMicroseconds = exchange.durationMicroseconds;
  if (error) {
    return request.fail(error);
  }

  header.ScsiStatus = exchange.status;
  header.DataTransferLength = static_cast<ULONG>(exchange.transferred);
  const std::size_t sense = std::min<std::size_t>(exchange.sense.size(), header.SenseInfoLength);
  header.SenseInfoLength = static_cast<UCHAR>(sense);
  std::copy_n(exchange.sense.begin(), sense, request.output.begin() + header.SenseInfoOffset);
  if (in && exchange.transferred != 0) {
    std::memcpy(request.output.data() + dataOffset, exchange.data.data(), exchange.transferred);
  }
  std::memcpy(request.output.data(), &header, sizeof header);
  request.returned = std::max<std::size_t>(sizeof header, header.SenseInfoOffset + sense);
  if (in) {
    request.returned = std::max(request.returned, dataOffset + exchange.transferred);
  }
}

void DiskObject::ataPassThrough(IoRequest& request) {
  ATA_PASS_THROUGH_EX header;
  if (request.input.size() < sizeof header || request.output.size() < sizeof header) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  std::memcpy(&header, request.input.data(), sizeof header);
  const bool in = (header.AtaFlags & ATA_FLAGS_DATA_IN) != 0;
  const bool out = (header.AtaFlags & ATA_FLAGS_DATA_OUT) != 0;
  const std::size_t dataOffset = static_cast<std::size_t>(header.DataBufferOffset);
  const std::size_t length = header.DataTransferLength;
  const bool extended = (header.AtaFlags & ATA_FLAGS_48BIT_COMMAND) != 0;
  const AtaCommandTraits traits =
      ataCommandTraits(header.CurrentTaskFile[6], header.CurrentTaskFile[0]);
  if (header.TimeOutValue < kShortestSeconds || length > largestTransfer() ||
      ((in || out) && dataOffset < sizeof header) || (traits.extended && !extended) ||
      (traits.transfer == AtaTransfer::Dma && (header.AtaFlags & ATA_FLAGS_USE_DMA) == 0)) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  if (header.Length != sizeof header || (in && out) ||
      (in && !within(dataOffset, length, request.output.size())) ||
      (out && !within(dataOffset, length, request.input.size()))) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }

  const auto field = [&](unsigned i) {
    const unsigned high = extended ? header.PreviousTaskFile[i] : 0u;
    return static_cast<std::uint16_t>((high << 8) | header.CurrentTaskFile[i]);
  };
  AtaExchange exchange;
  exchange.in = {field(0),
                 field(1),
                 field(2),
                 field(3),
                 field(4),
                 header.CurrentTaskFile[5],
                 header.CurrentTaskFile[6]};
  exchange.direction = in ? DataDirection::In : out ? DataDirection::Out : DataDirection::None;
  if (in) {
    exchange.data.resize(length);
  }
  if (out) {
    exchange.data.assign(request.input.data() + dataOffset,
                         request.input.data() + dataOffset + length);
  }
  const std::uint32_t error = send(exchange, timeoutOf(header.TimeOutValue));
  request.durationMicroseconds = exchange.durationMicroseconds;
  if (error) {
    return request.fail(error);
  }

  const AtaTaskFile& registers = exchange.out;
  const std::uint16_t pairs[] = {registers.features, registers.count, registers.lbaLow,
                                 registers.lbaMid, registers.lbaHigh};
  for (unsigned i = 0; i < 5; ++i) {
    header.CurrentTaskFile[i] = static_cast<UCHAR>(pairs[i]);
    header.PreviousTaskFile[i] = extended ? static_cast<UCHAR>(pairs[i] >> 8) : UCHAR{0};
  }
  header.CurrentTaskFile[5] = registers.device;
  header.CurrentTaskFile[6] = registers.command;
  header.DataTransferLength = static_cast<ULONG>(exchange.transferred);
  if (in && exchange.transferred != 0) {
    std::memcpy(request.output.data() + dataOffset, exchange.data.data(), exchange.transferred);
  }
  std::memcpy(request.output.data(), &header, sizeof header);
  request.returned =
      in ? std::max(sizeof header, dataOffset + exchange.transferred) : sizeof header;
}

}  // namespace ostria::virtual_pc
