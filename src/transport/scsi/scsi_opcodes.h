// Operation codes of SPC, SBC and SAT: byte 0 of a CDB. Who builds commands and who judges them
// (what may pass where nothing may be written, what a recording keeps) share the names.
#pragma once

#include <cstdint>

namespace ostria::storage::scsi {

enum Opcode : std::uint8_t {
  TestUnitReady = 0x00,
  RequestSense = 0x03,
  Read6 = 0x08,
  Inquiry = 0x12,
  ModeSelect6 = 0x15,
  ModeSense6 = 0x1A,
  StartStopUnit = 0x1B,
  SendDiagnostic = 0x1D,
  ReadCapacity10 = 0x25,
  Read10 = 0x28,
  Write10 = 0x2A,
  Verify10 = 0x2F,
  ReadDefectData10 = 0x37,
  LogSense = 0x4D,
  ModeSelect10 = 0x55,
  ModeSense10 = 0x5A,
  AtaPassThrough16 = 0x85,
  Read16 = 0x88,
  Write16 = 0x8A,
  ServiceActionIn16 = 0x9E,
  ReportLuns = 0xA0,
  AtaPassThrough12 = 0xA1,
  MaintenanceIn = 0xA3,
  Read12 = 0xA8,
  Write12 = 0xAA,
  ReadDefectData12 = 0xB7,
};

}  // namespace ostria::storage::scsi
