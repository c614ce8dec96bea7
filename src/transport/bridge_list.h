// The list behind the failover of every protocol.
#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage {

/// The bridges of one protocol, in the order in which they are tried. The order is the only
/// adaptive state of the transport: the bridge that worked moves to the front.
template <typename Bridge>
class BridgeList {
 public:
  using Pointer = std::shared_ptr<Bridge>;

  /// Appends the bridge unless the same object is in the list already.
  /// @return whether it was appended
  bool add(Pointer bridge) {
    if (bridge == nullptr ||
        std::find(bridges_.begin(), bridges_.end(), bridge) != bridges_.end()) {
      return false;
    }
    bridges_.push_back(std::move(bridge));
    return true;
  }

  bool empty() const { return bridges_.empty(); }
  std::size_t size() const { return bridges_.size(); }
  Bridge& operator[](std::size_t index) const { return *bridges_[index]; }

  /// Puts the bridge at `index` first; the others keep their order.
  void moveToFront(std::size_t index) {
    const auto begin = bridges_.begin();
    const auto worked = begin + static_cast<std::ptrdiff_t>(index);
    std::rotate(begin, worked, worked + 1);
  }

  /// Handle of the first bridge, none for an empty list.
  DeviceHandle deviceHandle() const {
    return bridges_.empty() ? DeviceHandle() : bridges_.front()->GetDeviceHandle();
  }

 private:
  std::vector<Pointer> bridges_;
};

}  // namespace ostria::storage
