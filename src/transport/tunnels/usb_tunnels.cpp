// Rows only; what each way is and why it exists stands beside its bridge.
#include "transport/tunnels/usb_tunnels.h"

#include "transport/tunnels/jmicron_bridge.h"
#include "transport/tunnels/sat_bridge.h"
#include "transport/tunnels/sunplus_bridge.h"

namespace ostria::storage {

namespace {

template <typename Bridge>
std::shared_ptr<AtaBridge> makeOver(const std::shared_ptr<ScsiBridge>& scsi) {
  return std::make_shared<Bridge>(scsi);
}

constexpr UsbTunnel kTunnels[] = {
    {makeOver<SatBridgeWithCkCondition>, true},
    {makeOver<SatBridgeWithoutCkCond>, true},
    {makeOver<JMicronBridge>, false},
    {makeOver<SunplusBridge>, false},
};

}  // namespace

std::span<const UsbTunnel> usbTunnels() { return kTunnels; }

}  // namespace ostria::storage
