// The part of the SDK header of this name that the Windows-bound classes use: control codes and
// records of storage devices and volumes.
#pragma once

#include <windef.h>

#define METHOD_BUFFERED 0
#define FILE_ANY_ACCESS 0
#define FILE_SPECIAL_ACCESS 0
#define FILE_READ_ACCESS 1
#define FILE_WRITE_ACCESS 2
#define CTL_CODE(device, function, method, access) \
  ((DWORD)(((DWORD)(device) << 16) | ((DWORD)(access) << 14) | ((DWORD)(function) << 2) | (method)))

#define FILE_DEVICE_DISK 0x00000007u
#define FILE_DEVICE_FILE_SYSTEM 0x00000009u
#define FILE_DEVICE_CONTROLLER 0x00000004u
#define FILE_DEVICE_MASS_STORAGE 0x0000002du
#define IOCTL_STORAGE_BASE FILE_DEVICE_MASS_STORAGE
#define IOCTL_DISK_BASE FILE_DEVICE_DISK
#define IOCTL_VOLUME_BASE 0x00000056u

#define IOCTL_STORAGE_GET_DEVICE_NUMBER \
  CTL_CODE(IOCTL_STORAGE_BASE, 0x0420, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_STORAGE_PREDICT_FAILURE \
  CTL_CODE(IOCTL_STORAGE_BASE, 0x0440, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_STORAGE_READ_CAPACITY \
  CTL_CODE(IOCTL_STORAGE_BASE, 0x0450, METHOD_BUFFERED, FILE_READ_ACCESS)
#define IOCTL_STORAGE_PROTOCOL_COMMAND \
  CTL_CODE(IOCTL_STORAGE_BASE, 0x04F0, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS)
#define IOCTL_STORAGE_QUERY_PROPERTY \
  CTL_CODE(IOCTL_STORAGE_BASE, 0x0500, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_DISK_GET_DRIVE_GEOMETRY \
  CTL_CODE(IOCTL_DISK_BASE, 0x0000, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_DISK_GET_DRIVE_GEOMETRY_EX \
  CTL_CODE(IOCTL_DISK_BASE, 0x0028, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_DISK_GET_DRIVE_LAYOUT_EX \
  CTL_CODE(IOCTL_DISK_BASE, 0x0014, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_DISK_GET_LENGTH_INFO \
  CTL_CODE(IOCTL_DISK_BASE, 0x0017, METHOD_BUFFERED, FILE_READ_ACCESS)
#define SMART_GET_VERSION CTL_CODE(IOCTL_DISK_BASE, 0x0020, METHOD_BUFFERED, FILE_READ_ACCESS)
#define IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS \
  CTL_CODE(IOCTL_VOLUME_BASE, 0, METHOD_BUFFERED, FILE_ANY_ACCESS)

#define FSCTL_LOCK_VOLUME CTL_CODE(FILE_DEVICE_FILE_SYSTEM, 6, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define FSCTL_UNLOCK_VOLUME CTL_CODE(FILE_DEVICE_FILE_SYSTEM, 7, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define FSCTL_DISMOUNT_VOLUME CTL_CODE(FILE_DEVICE_FILE_SYSTEM, 8, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define FSCTL_GET_NTFS_VOLUME_DATA \
  CTL_CODE(FILE_DEVICE_FILE_SYSTEM, 25, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define FSCTL_SET_SPARSE CTL_CODE(FILE_DEVICE_FILE_SYSTEM, 49, METHOD_BUFFERED, FILE_SPECIAL_ACCESS)

static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x2D1400 && SMART_GET_VERSION == 0x74080 &&
              FSCTL_GET_NTFS_VOLUME_DATA == 0x90064 && IOCTL_DISK_GET_DRIVE_LAYOUT_EX == 0x70050 &&
              IOCTL_STORAGE_PROTOCOL_COMMAND == 0x2DD3C0 &&
              IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS == 0x560000);

DEFINE_GUID(GUID_DEVINTERFACE_DISK, 0x53f56307, 0xb6bf, 0x11d0, 0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e,
            0xfb, 0x8b);
DEFINE_GUID(GUID_DEVINTERFACE_VOLUME, 0x53f5630d, 0xb6bf, 0x11d0, 0x94, 0xf2, 0x00, 0xa0, 0xc9,
            0x1e, 0xfb, 0x8b);
DEFINE_GUID(GUID_DEVINTERFACE_STORAGEPORT, 0x2accfe60, 0xc130, 0x11d2, 0xb0, 0x82, 0x00, 0xa0, 0xc9,
            0x1e, 0xfb, 0x8b);

enum STORAGE_BUS_TYPE {
  BusTypeUnknown = 0x00,
  BusTypeScsi,
  BusTypeAtapi,
  BusTypeAta,
  BusType1394,
  BusTypeSsa,
  BusTypeFibre,
  BusTypeUsb,
  BusTypeRAID,
  BusTypeiScsi,
  BusTypeSas,
  BusTypeSata,
  BusTypeSd,
  BusTypeMmc,
  BusTypeVirtual,
  BusTypeFileBackedVirtual,
  BusTypeSpaces,
  BusTypeNvme,
};

enum STORAGE_PROPERTY_ID {
  StorageDeviceProperty = 0,
  StorageAdapterProperty,
  StorageDeviceIdProperty,
  StorageDeviceUniqueIdProperty,
  StorageDeviceWriteCacheProperty,
  StorageMiniportProperty,
  StorageAccessAlignmentProperty,
  StorageDeviceSeekPenaltyProperty,
  StorageDeviceTrimProperty,
  StorageAdapterProtocolSpecificProperty = 49,
  StorageDeviceProtocolSpecificProperty = 50,
};

enum STORAGE_QUERY_TYPE {
  PropertyStandardQuery = 0,
  PropertyExistsQuery,
  PropertyMaskQuery,
  PropertyQueryMaxDefined
};

struct STORAGE_PROPERTY_QUERY {
  STORAGE_PROPERTY_ID PropertyId;
  STORAGE_QUERY_TYPE QueryType;
  BYTE AdditionalParameters[1];
};
using PSTORAGE_PROPERTY_QUERY = STORAGE_PROPERTY_QUERY*;
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);

struct STORAGE_DESCRIPTOR_HEADER {
  DWORD Version;
  DWORD Size;
};
using PSTORAGE_DESCRIPTOR_HEADER = STORAGE_DESCRIPTOR_HEADER*;

struct STORAGE_DEVICE_DESCRIPTOR {
  DWORD Version;
  DWORD Size;
  BYTE DeviceType;
  BYTE DeviceTypeModifier;
  BOOLEAN RemovableMedia;
  BOOLEAN CommandQueueing;
  DWORD VendorIdOffset;
  DWORD ProductIdOffset;
  DWORD ProductRevisionOffset;
  DWORD SerialNumberOffset;
  STORAGE_BUS_TYPE BusType;
  DWORD RawPropertiesLength;
  BYTE RawDeviceProperties[1];
};
using PSTORAGE_DEVICE_DESCRIPTOR = STORAGE_DEVICE_DESCRIPTOR*;
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) == 40 &&
              offsetof(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia) == 10 &&
              offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType) == 28 &&
              offsetof(STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties) == 36);

struct STORAGE_ADAPTER_DESCRIPTOR {
  DWORD Version;
  DWORD Size;
  DWORD MaximumTransferLength;
  DWORD MaximumPhysicalPages;
  DWORD AlignmentMask;
  BOOLEAN AdapterUsesPio;
  BOOLEAN AdapterScansDown;
  BOOLEAN CommandQueueing;
  BOOLEAN AcceleratedTransfer;
  BYTE BusType;
  WORD BusMajorVersion;
  WORD BusMinorVersion;
  BYTE SrbType;
  BYTE AddressType;
};
using PSTORAGE_ADAPTER_DESCRIPTOR = STORAGE_ADAPTER_DESCRIPTOR*;
static_assert(sizeof(STORAGE_ADAPTER_DESCRIPTOR) == 32);

struct STORAGE_DEVICE_NUMBER {
  DWORD DeviceType;
  DWORD DeviceNumber;
  DWORD PartitionNumber;
};
using PSTORAGE_DEVICE_NUMBER = STORAGE_DEVICE_NUMBER*;
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);

struct STORAGE_PREDICT_FAILURE {
  DWORD PredictFailure;
  BYTE VendorSpecific[512];
};
using PSTORAGE_PREDICT_FAILURE = STORAGE_PREDICT_FAILURE*;
static_assert(sizeof(STORAGE_PREDICT_FAILURE) == 516);

struct STORAGE_READ_CAPACITY {
  ULONG Version;
  ULONG Size;
  ULONG BlockLength;
  LARGE_INTEGER NumberOfBlocks;
  LARGE_INTEGER DiskLength;
};
using PSTORAGE_READ_CAPACITY = STORAGE_READ_CAPACITY*;
static_assert(sizeof(STORAGE_READ_CAPACITY) == 32);

#pragma pack(push, 1)
struct GETVERSIONINPARAMS {
  BYTE bVersion;
  BYTE bRevision;
  BYTE bReserved;
  BYTE bIDEDeviceMap;
  DWORD fCapabilities;
  DWORD dwReserved[4];
};
#pragma pack(pop)
using PGETVERSIONINPARAMS = GETVERSIONINPARAMS*;
static_assert(sizeof(GETVERSIONINPARAMS) == 24);

#define CAP_ATA_ID_CMD 1
#define CAP_SMART_CMD 4

// Protocol-specific queries and commands.
enum STORAGE_PROTOCOL_TYPE {
  ProtocolTypeUnknown = 0x00,
  ProtocolTypeScsi,
  ProtocolTypeAta,
  ProtocolTypeNvme,
  ProtocolTypeSd,
};

enum STORAGE_PROTOCOL_NVME_DATA_TYPE {
  NVMeDataTypeUnknown = 0,
  NVMeDataTypeIdentify,
  NVMeDataTypeLogPage,
  NVMeDataTypeFeature,
};

struct STORAGE_PROTOCOL_SPECIFIC_DATA {
  STORAGE_PROTOCOL_TYPE ProtocolType;
  DWORD DataType;
  DWORD ProtocolDataRequestValue;
  DWORD ProtocolDataRequestSubValue;
  DWORD ProtocolDataOffset;
  DWORD ProtocolDataLength;
  DWORD FixedProtocolReturnData;
  DWORD Reserved[3];
};
using PSTORAGE_PROTOCOL_SPECIFIC_DATA = STORAGE_PROTOCOL_SPECIFIC_DATA*;
static_assert(sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA) == 40);

struct STORAGE_PROTOCOL_DATA_DESCRIPTOR {
  DWORD Version;
  DWORD Size;
  STORAGE_PROTOCOL_SPECIFIC_DATA ProtocolSpecificData;
};
using PSTORAGE_PROTOCOL_DATA_DESCRIPTOR = STORAGE_PROTOCOL_DATA_DESCRIPTOR*;
static_assert(sizeof(STORAGE_PROTOCOL_DATA_DESCRIPTOR) == 48);

struct STORAGE_PROTOCOL_COMMAND {
  DWORD Version;
  DWORD Length;
  STORAGE_PROTOCOL_TYPE ProtocolType;
  DWORD Flags;
  DWORD ReturnStatus;
  DWORD ErrorCode;
  DWORD CommandLength;
  DWORD ErrorInfoLength;
  DWORD DataToDeviceTransferLength;
  DWORD DataFromDeviceTransferLength;
  DWORD TimeOutValue;
  DWORD ErrorInfoOffset;
  DWORD DataToDeviceBufferOffset;
  DWORD DataFromDeviceBufferOffset;
  DWORD CommandSpecific;
  DWORD Reserved0;
  DWORD FixedProtocolReturnData;
  DWORD Reserved1[3];
  BYTE Command[ANYSIZE_ARRAY];
};
using PSTORAGE_PROTOCOL_COMMAND = STORAGE_PROTOCOL_COMMAND*;
static_assert(offsetof(STORAGE_PROTOCOL_COMMAND, Command) == 80 &&
              sizeof(STORAGE_PROTOCOL_COMMAND) == 84);

#define STORAGE_PROTOCOL_STATUS_SUCCESS 0x1u

// Disk geometry and layout.
enum MEDIA_TYPE { Unknown, RemovableMedia = 11, FixedMedia = 12 };

struct DISK_GEOMETRY {
  LARGE_INTEGER Cylinders;
  MEDIA_TYPE MediaType;
  DWORD TracksPerCylinder;
  DWORD SectorsPerTrack;
  DWORD BytesPerSector;
};
using PDISK_GEOMETRY = DISK_GEOMETRY*;
static_assert(sizeof(DISK_GEOMETRY) == 24);

struct DISK_GEOMETRY_EX {
  DISK_GEOMETRY Geometry;
  LARGE_INTEGER DiskSize;
  BYTE Data[1];
};
using PDISK_GEOMETRY_EX = DISK_GEOMETRY_EX*;
static_assert(sizeof(DISK_GEOMETRY_EX) == 40);

struct GET_LENGTH_INFORMATION {
  LARGE_INTEGER Length;
};

enum PARTITION_STYLE { PARTITION_STYLE_MBR, PARTITION_STYLE_GPT, PARTITION_STYLE_RAW };

struct PARTITION_INFORMATION_MBR {
  BYTE PartitionType;
  BOOLEAN BootIndicator;
  BOOLEAN RecognizedPartition;
  DWORD HiddenSectors;
  GUID PartitionId;
};

struct PARTITION_INFORMATION_GPT {
  GUID PartitionType;
  GUID PartitionId;
  DWORD64 Attributes;
  char16_t Name[36];  // 16-bit units on the wire, whatever WCHAR is here
};
static_assert(sizeof(PARTITION_INFORMATION_GPT) == 112);

struct PARTITION_INFORMATION_EX {
  PARTITION_STYLE PartitionStyle;
  LARGE_INTEGER StartingOffset;
  LARGE_INTEGER PartitionLength;
  DWORD PartitionNumber;
  BOOLEAN RewritePartition;
  BOOLEAN IsServicePartition;
  union {
    PARTITION_INFORMATION_MBR Mbr;
    PARTITION_INFORMATION_GPT Gpt;
  };
};
using PPARTITION_INFORMATION_EX = PARTITION_INFORMATION_EX*;
static_assert(sizeof(PARTITION_INFORMATION_EX) == 144 &&
              offsetof(PARTITION_INFORMATION_EX, Gpt) == 32);

struct DRIVE_LAYOUT_INFORMATION_MBR {
  DWORD Signature;
  DWORD CheckSum;
};

struct DRIVE_LAYOUT_INFORMATION_GPT {
  GUID DiskId;
  LARGE_INTEGER StartingUsableOffset;
  LARGE_INTEGER UsableLength;
  DWORD MaxPartitionCount;
};

struct DRIVE_LAYOUT_INFORMATION_EX {
  DWORD PartitionStyle;
  DWORD PartitionCount;
  union {
    DRIVE_LAYOUT_INFORMATION_MBR Mbr;
    DRIVE_LAYOUT_INFORMATION_GPT Gpt;
  };
  PARTITION_INFORMATION_EX PartitionEntry[1];
};
using PDRIVE_LAYOUT_INFORMATION_EX = DRIVE_LAYOUT_INFORMATION_EX*;
static_assert(sizeof(DRIVE_LAYOUT_INFORMATION_EX) == 192 &&
              offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) == 48);

// Volumes.
struct DISK_EXTENT {
  DWORD DiskNumber;
  LARGE_INTEGER StartingOffset;
  LARGE_INTEGER ExtentLength;
};
using PDISK_EXTENT = DISK_EXTENT*;
static_assert(sizeof(DISK_EXTENT) == 24);

struct VOLUME_DISK_EXTENTS {
  DWORD NumberOfDiskExtents;
  DISK_EXTENT Extents[ANYSIZE_ARRAY];
};
using PVOLUME_DISK_EXTENTS = VOLUME_DISK_EXTENTS*;
static_assert(sizeof(VOLUME_DISK_EXTENTS) == 32);

struct NTFS_VOLUME_DATA_BUFFER {
  LARGE_INTEGER VolumeSerialNumber;
  LARGE_INTEGER NumberSectors;
  LARGE_INTEGER TotalClusters;
  LARGE_INTEGER FreeClusters;
  LARGE_INTEGER TotalReserved;
  DWORD BytesPerSector;
  DWORD BytesPerCluster;
  DWORD BytesPerFileRecordSegment;
  DWORD ClustersPerFileRecordSegment;
  LARGE_INTEGER MftValidDataLength;
  LARGE_INTEGER MftStartLcn;
  LARGE_INTEGER Mft2StartLcn;
  LARGE_INTEGER MftZoneStart;
  LARGE_INTEGER MftZoneEnd;
};
using PNTFS_VOLUME_DATA_BUFFER = NTFS_VOLUME_DATA_BUFFER*;
static_assert(sizeof(NTFS_VOLUME_DATA_BUFFER) == 96 &&
              offsetof(NTFS_VOLUME_DATA_BUFFER, BytesPerCluster) == 44);
