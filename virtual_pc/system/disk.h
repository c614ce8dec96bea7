// A physical disk of the system, and the requests that it takes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/drive.h"
#include "virtual_pc/system/kernel_object.h"
#include "virtual_pc/system/port.h"

namespace ostria::virtual_pc {

class Machine;

/// How a transfer of whole sectors through the system's own disk driver ended.
struct SectorResult {
  std::uint32_t error = 0;  ///< the system's error code
  std::size_t bytes = 0;
  std::uint64_t durationMicroseconds = 0;
};

/// A disk of the system: physical drive number n.
class DiskObject : public IoObject {
 public:
  DiskObject(Machine& machine, std::uint32_t number, Drive& drive, LayoutDescription layout,
             PortObject& port);

  void control(IoRequest& request) override;
  void read(IoRequest& request) override;
  void write(IoRequest& request) override;
  std::uint32_t alignment() const override { return drive_.medium->sectorBytes(); }
  std::uint64_t size() const override {
    return drive_.medium->sectors() * drive_.medium->sectorBytes();
  }

  std::uint32_t number() const { return number_; }
  Drive& drive() { return drive_; }
  PortObject& port() { return port_; }
  std::uint8_t target() const { return target_; }
  /// Bus number behind the port, by which a port's own requests name the disk.
  std::uint8_t pathId() const { return pathId_; }
  void setPathId(std::uint8_t id) { pathId_ = id; }
  const LayoutDescription& layout() const { return layout_; }
  /// The largest transfer that the adapter takes in one request.
  std::uint64_t largestTransfer() const;
  const PartitionDescription* partition(std::uint32_t number) const;
  bool present() const;
  std::string interfacePath() const;
  std::string instanceId() const;

  /// Adds answers to control codes that are tried before the disk's own; each says whether it took
  /// the request.
  void addHandler(std::function<bool(DiskObject&, IoRequest&)> handler) {
    handlers_.push_back(std::move(handler));
  }

  /// Whole sectors, in the requests that the disk driver makes of them.
  SectorResult readSectors(std::uint64_t lba, std::uint64_t count, std::uint8_t* out);
  SectorResult writeSectors(std::uint64_t lba, std::uint64_t count, const std::uint8_t* in);
  /// Sends a SCSI command for the host, as pass-through does; ends at `timeoutMicroseconds`.
  std::uint32_t send(ScsiExchange& exchange, std::uint64_t timeoutMicroseconds);
  std::uint32_t send(AtaExchange& exchange, std::uint64_t timeoutMicroseconds);
  std::uint32_t send(NvmeExchange& exchange, std::uint64_t timeoutMicroseconds);

 private:
  SectorResult transfer(std::uint64_t lba, std::uint64_t count, bool writing,
                        std::vector<std::uint8_t>* data);
  std::uint32_t verdict(Exchange& exchange, std::uint64_t timeoutMicroseconds) const;
  void scsiPassThrough(IoRequest& request);
  void ataPassThrough(IoRequest& request);
  void queryProperty(IoRequest& request);
  void deviceDescriptor(IoRequest& request) const;
  void predictFailure(IoRequest& request);
  void driveLayout(IoRequest& request) const;
  void geometry(IoRequest& request) const;
  void capacity(IoRequest& request) const;

  Machine& machine_;
  std::uint32_t number_;
  Drive& drive_;
  LayoutDescription layout_;
  PortObject& port_;
  std::uint8_t target_;
  std::uint8_t pathId_ = 0;
  std::vector<std::function<bool(DiskObject&, IoRequest&)>> handlers_;
};

}  // namespace ostria::virtual_pc
