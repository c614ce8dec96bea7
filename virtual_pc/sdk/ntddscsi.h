// The part of the SDK header of this name that the Windows-bound classes use: SCSI and ATA
// pass-through.
#pragma once

#include <winioctl.h>

#define IOCTL_SCSI_BASE FILE_DEVICE_CONTROLLER
#define IOCTL_SCSI_PASS_THROUGH \
  CTL_CODE(IOCTL_SCSI_BASE, 0x0401, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS)
#define IOCTL_SCSI_MINIPORT \
  CTL_CODE(IOCTL_SCSI_BASE, 0x0402, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS)
#define IOCTL_ATA_PASS_THROUGH \
  CTL_CODE(IOCTL_SCSI_BASE, 0x040b, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS)

static_assert(IOCTL_ATA_PASS_THROUGH == 0x4D02C && IOCTL_SCSI_PASS_THROUGH == 0x4D004 &&
              IOCTL_SCSI_MINIPORT == 0x4D008);

#define SCSI_IOCTL_DATA_OUT 0
#define SCSI_IOCTL_DATA_IN 1
#define SCSI_IOCTL_DATA_UNSPECIFIED 2

struct SCSI_PASS_THROUGH {
  USHORT Length;
  UCHAR ScsiStatus;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  UCHAR CdbLength;
  UCHAR SenseInfoLength;
  UCHAR DataIn;
  ULONG DataTransferLength;
  ULONG TimeOutValue;
  ULONG_PTR DataBufferOffset;
  ULONG SenseInfoOffset;
  UCHAR Cdb[16];
};
using PSCSI_PASS_THROUGH = SCSI_PASS_THROUGH*;
static_assert(sizeof(SCSI_PASS_THROUGH) == 56 && offsetof(SCSI_PASS_THROUGH, Cdb) == 36);

#define ATA_FLAGS_DRDY_REQUIRED 0x01
#define ATA_FLAGS_DATA_IN 0x02
#define ATA_FLAGS_DATA_OUT 0x04
#define ATA_FLAGS_48BIT_COMMAND 0x08
#define ATA_FLAGS_USE_DMA 0x10

struct ATA_PASS_THROUGH_EX {
  USHORT Length;
  USHORT AtaFlags;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  UCHAR ReservedAsUchar;
  ULONG DataTransferLength;
  ULONG TimeOutValue;
  ULONG ReservedAsUlong;
  ULONG_PTR DataBufferOffset;
  UCHAR PreviousTaskFile[8];
  UCHAR CurrentTaskFile[8];
};
using PATA_PASS_THROUGH_EX = ATA_PASS_THROUGH_EX*;
static_assert(sizeof(ATA_PASS_THROUGH_EX) == 48 &&
              offsetof(ATA_PASS_THROUGH_EX, CurrentTaskFile) == 40);

struct SRB_IO_CONTROL {
  ULONG HeaderLength;
  UCHAR Signature[8];
  ULONG Timeout;
  ULONG ControlCode;
  ULONG ReturnCode;
  ULONG Length;
};
using PSRB_IO_CONTROL = SRB_IO_CONTROL*;
static_assert(sizeof(SRB_IO_CONTROL) == 28);

struct SCSI_ADDRESS {
  ULONG Length;
  UCHAR PortNumber;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
};
using PSCSI_ADDRESS = SCSI_ADDRESS*;
