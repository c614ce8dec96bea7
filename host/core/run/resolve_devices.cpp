// Nodes are taken as they are. A number that no drive has in the list may still be a serial number.
#include "host/core/run/resolve_devices.h"

#include <algorithm>
#include <charconv>

namespace ostria::host {
namespace {

bool isNumber(const std::string& text, const DeviceKey& device) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return !text.empty() && error == std::errc() && end == text.data() + text.size() &&
         number == device.index;
}

bool isLink(const std::string& text, const std::vector<std::string>& links) {
  return std::any_of(links.begin(), links.end(), [&](const std::string& link) {
    return text == link || text == link.substr(link.rfind('/') + 1);
  });
}

// What goes to another drive that takes the place of this one.
bool isItsPlace(const DeviceKey& device, const std::string& text) {
  const DeviceNames& names = device.names;
  return isNumber(text, device) || isLink(text, names.byPath) ||
         (!names.node.empty() && (text == names.node || "/dev/" + text == names.node));
}

bool isItsOwnName(const DeviceKey& device, const std::string& text) {
  return isLink(text, device.names.byId) || isSerial(text, device.serial) ||
         isWwn(text, device.names.wwn);
}

bool isCalled(const DeviceKey& device, const std::string& text, const std::string& resolved) {
  return isItsPlace(device, text) || isItsOwnName(device, text) ||
         (!device.names.node.empty() && resolved == device.names.node);
}

bool hasAnOwnName(const DeviceKey& device) {
  return !device.serial.empty() || !device.names.wwn.empty() || !device.names.byId.empty();
}

std::string candidate(const DeviceKey& device) {
  std::string text = std::to_string(device.index) + " (" + device.model;
  return text + (device.names.node.empty() ? "" : ", " + device.names.node) + ")";
}

UsageError unknown(const std::string& text, std::size_t count) {
  if (text.find_first_not_of("0123456789") != std::string::npos) {
    return {"usage.unknown_name", {{"text", text}}};
  }
  if (count == 0) {
    return {"usage.no_device_at_all", {{"device", text}}};
  }
  if (count == 1) {
    return {"usage.one_device", {{"device", text}}};
  }
  return {"usage.unknown_device", {{"device", text}, {"last", std::to_string(count - 1)}}};
}

}  // namespace

OrUsageError<std::vector<std::uint32_t>> resolveDevices(
    const std::vector<std::string>& wanted, const std::vector<DeviceKey>& devices,
    const std::function<std::string(const std::string&)>& resolve, NamesTaken taken) {
  std::vector<std::uint32_t> out;
  for (const std::string& text : wanted) {
    const std::string resolved = text.find('/') == std::string::npos ? text : resolve(text);
    std::vector<const DeviceKey*> found;
    for (const DeviceKey& device : devices) {
      if (isCalled(device, text, resolved)) {
        found.push_back(&device);
      }
    }
    if (found.empty()) {
      return unknown(text, devices.size());
    }
    if (found.size() > 1) {
      std::string list;
      for (const DeviceKey* device : found) {
        list += (list.empty() ? "" : ", ") + candidate(*device);
      }
      return UsageError{"usage.ambiguous_device", {{"text", text}, {"candidates", list}}};
    }
    const DeviceKey& device = *found.front();
    if (taken == NamesTaken::OwnOnly && isItsPlace(device, text) && !isItsOwnName(device, text) &&
        hasAnOwnName(device)) {
      return UsageError{"usage.place_assumed", {{"text", text}}};
    }
    const std::uint32_t index = device.index;
    if (std::find(out.begin(), out.end(), index) != out.end()) {
      return UsageError{"usage.device_twice", {{"device", text}}};
    }
    out.push_back(index);
  }
  return out;
}

}  // namespace ostria::host
