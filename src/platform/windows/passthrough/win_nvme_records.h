#pragma once

#include <cstddef>
#include <cstdint>

namespace ostria::storage {

// The records of the storage stack's protocol queries and commands. They have names of their own
// because not every SDK that builds this code declares them.

/// STORAGE_PROTOCOL_SPECIFIC_DATA
struct ProtocolSpecificData {
  std::uint32_t protocolType;
  std::uint32_t dataType;
  std::uint32_t requestValue;
  std::uint32_t requestSubValue;
  std::uint32_t dataOffset;  ///< from the start of this record
  std::uint32_t dataLength;
  std::uint32_t fixedReturnData;
  std::uint32_t requestSubValue2;
  std::uint32_t requestSubValue3;
  std::uint32_t requestSubValue4;
};
static_assert(sizeof(ProtocolSpecificData) == 40);
static_assert(offsetof(ProtocolSpecificData, dataOffset) == 16);

/// STORAGE_PROPERTY_QUERY on the way in, with the protocol data as its additional parameters.
struct ProtocolPropertyQuery {
  std::uint32_t propertyId;
  std::uint32_t queryType;
  ProtocolSpecificData data;
};
static_assert(sizeof(ProtocolPropertyQuery) == 48);
static_assert(offsetof(ProtocolPropertyQuery, data) == 8);

/// STORAGE_PROTOCOL_DATA_DESCRIPTOR on the way out, in the same block.
struct ProtocolDataDescriptor {
  std::uint32_t version;
  std::uint32_t size;
  ProtocolSpecificData data;
};
static_assert(sizeof(ProtocolDataDescriptor) == 48);
static_assert(offsetof(ProtocolDataDescriptor, data) == 8);

/// STORAGE_READ_CAPACITY
struct ReadCapacityRecord {
  std::uint32_t version;
  std::uint32_t size;
  std::uint32_t blockLength;
  std::uint32_t reserved;
  std::int64_t numberOfBlocks;
  std::int64_t diskLength;
};
static_assert(sizeof(ReadCapacityRecord) == 32);
static_assert(offsetof(ReadCapacityRecord, blockLength) == 8);
static_assert(offsetof(ReadCapacityRecord, numberOfBlocks) == 16);

/// STORAGE_PROTOCOL_COMMAND with the NVMe command image behind it; error information and data
/// follow at the offsets that the record gives.
struct ProtocolCommandRecord {
  std::uint32_t version;
  std::uint32_t length;
  std::uint32_t protocolType;
  std::uint32_t flags;
  std::uint32_t returnStatus;
  std::uint32_t errorCode;
  std::uint32_t commandLength;
  std::uint32_t errorInfoLength;
  std::uint32_t dataToDeviceTransferLength;
  std::uint32_t dataFromDeviceTransferLength;
  std::uint32_t timeOutValue;
  std::uint32_t errorInfoOffset;
  std::uint32_t dataToDeviceBufferOffset;
  std::uint32_t dataFromDeviceBufferOffset;
  std::uint32_t commandSpecific;
  std::uint32_t reserved0;
  std::uint32_t fixedProtocolReturnData;
  std::uint32_t reserved1[3];
  std::uint8_t command[64];
};
static_assert(sizeof(ProtocolCommandRecord) == 144);
static_assert(offsetof(ProtocolCommandRecord, timeOutValue) == 40);
static_assert(offsetof(ProtocolCommandRecord, dataFromDeviceBufferOffset) == 52);
static_assert(offsetof(ProtocolCommandRecord, commandSpecific) == 56);
static_assert(offsetof(ProtocolCommandRecord, command) == 80);

}  // namespace ostria::storage
