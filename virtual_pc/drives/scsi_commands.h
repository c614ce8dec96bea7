// The SCSI commands that a device of this PC knows (SPC-4, SBC-3, SAT), by byte 0 of the CDB. The
// product has a list of its own, as with the ATA commands.
#pragma once

#include <cstdint>

namespace ostria::virtual_pc::scsi {

enum Command : std::uint8_t {
  TestUnitReady = 0x00,
  RequestSense = 0x03,
  Inquiry = 0x12,
  ModeSelect6 = 0x15,
  ModeSense6 = 0x1A,
  SendDiagnostic = 0x1D,
  ReadCapacity10 = 0x25,
  Read10 = 0x28,
  Write10 = 0x2A,
  SynchronizeCache = 0x35,
  LogSense = 0x4D,
  ModeSelect10 = 0x55,
  ModeSense10 = 0x5A,
  AtaPassThrough16 = 0x85,
  Read16 = 0x88,
  Write16 = 0x8A,
  ServiceActionIn16 = 0x9E,  ///< READ CAPACITY (16) is one
  AtaPassThrough12 = 0xA1,
  Read12 = 0xA8,
  Write12 = 0xAA,
};

}  // namespace ostria::virtual_pc::scsi
