#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "base/byte_order.h"
#include "inventory/storage_component.h"
#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/nvme/nvme_protocol.h"
#include "virtual_pc/drives/nvme_drive.h"

namespace ostria::storage::test {

/// A bridge straight to a drive model, without an operating system between. Carries a command
/// whatever the controller makes of it, as the real ones do.
class NvmeDriveBridge : public NvmeBridge {
 public:
  NvmeDriveBridge(virtual_pc::NvmeDrive& drive, virtual_pc::Clock& clock)
      : NvmeBridge(DeviceHandle(1)), drive_(drive), clock_(clock) {}

  ProtocolResult Send(NvmeCmd& command) override {
    virtual_pc::NvmeExchange exchange;
    exchange.admin = command.ioQueue == 0;
    exchange.opcode = static_cast<std::uint8_t>(command.opcode);
    exchange.namespaceId = command.namespaceId;
    exchange.cdw = {command.cdw10, command.cdw11, command.cdw12,
                    command.cdw13, command.cdw14, command.cdw15};
    exchange.direction = command.transferBytes != 0 ? virtual_pc::DataDirection::In
                                                    : virtual_pc::DataDirection::None;
    exchange.data.resize(command.transferBytes);
    drive_.execute(exchange);
    if (exchange.delivery != virtual_pc::Delivery::Answered ||
        exchange.durationMicroseconds == virtual_pc::kNever) {
      return ProtocolResult::Failure;
    }
    clock_.advance(exchange.durationMicroseconds);
    std::copy_n(exchange.data.begin(), exchange.transferred,
                static_cast<std::uint8_t*>(command.data));
    return ProtocolResult::Success;
  }

 private:
  virtual_pc::NvmeDrive& drive_;
  virtual_pc::Clock& clock_;
};

/// An NVMe drive on the bench: the model, and a component that speaks to it.
class NvmeBench {
 public:
  explicit NvmeBench(virtual_pc::NvmeTraits traits = {}, std::uint64_t sectors = 1'000'000)
      : medium(sectors, 512), drive(std::move(traits), medium, clock) {
    auto owned = std::make_unique<NvmeProtocol>(DeviceHandle(1), "");
    protocol = owned.get();
    protocol->SetProtocolKind(ProtocolKind::Nvme);
    protocol->AddBridge(std::make_shared<NvmeDriveBridge>(drive, clock));
    StorageProtocolProperties properties;
    (void)protocol->GetProperties(&properties);
    component = std::make_unique<StorageComponent>(std::move(owned));
    component->setConnection(DeviceConnection::Internal);
    component->setBusKind(StorageBusKind::Nvme);
  }

  /// Lets the pass-through fail for a log from now on.
  void breakLog(std::uint8_t page) {
    virtual_pc::FaultRule rule;
    rule.command = std::uint8_t{2};
    rule.detail = page;
    rule.times = 0;
    rule.action = virtual_pc::TransportFault{};
    drive.faults().add(rule);
  }

  virtual_pc::Clock clock;
  virtual_pc::BlockMedium medium;
  virtual_pc::NvmeDrive drive;
  NvmeProtocol* protocol = nullptr;  ///< the component's
  std::unique_ptr<StorageComponent> component;
};

}  // namespace ostria::storage::test
