#pragma once

#include <memory>
#include <utility>

#include "base/kinds.h"

namespace ostria::storage {

/// A new protocol of that kind with one bridge.
template <typename Protocol, typename Bridge>
std::unique_ptr<Protocol> protocolOver(std::shared_ptr<Bridge> bridge, ProtocolKind kind) {
  auto protocol = std::make_unique<Protocol>();
  protocol->AddBridge(std::move(bridge));
  protocol->SetProtocolKind(kind);
  return protocol;
}

}  // namespace ostria::storage
