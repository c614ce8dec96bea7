#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "services/transfer_buffer.h"

namespace ostria::storage {

/// Reads or writes at a byte offset with a time-out. The request works on memory of its own, so
/// that one that the system does not give up in time never touches the caller's buffer; it is kept
/// until the system is done with it. The results are those of `Filesystem::readAt` and `writeAt`.
ProtocolResult timedRead(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                         std::uint64_t* done, std::uint32_t timeoutSeconds, void* buffer);
/// The same without a copy: a read that is given up keeps the memory of the buffer.
/// @param buffer  has memory for `length` bytes
ProtocolResult timedRead(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                         std::uint64_t* done, std::uint32_t timeoutSeconds, TransferBuffer& buffer);
ProtocolResult timedWrite(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                          std::uint64_t* done, std::uint32_t timeoutSeconds, const void* buffer);

}  // namespace ostria::storage
