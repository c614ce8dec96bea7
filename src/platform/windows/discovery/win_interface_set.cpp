// One enumeration of SetupAPI: interfaces of a class, with path and registry properties.
#include "platform/windows/discovery/win_interface_set.h"

#include <cstddef>
#include <cstring>

#include "services/string_handler.h"

namespace ostria::storage {
namespace {

constexpr DWORD kMostBytes = 1 << 16;  // no path and no property comes near

std::wstring textOf(const std::vector<BYTE>& bytes, std::size_t from, std::size_t to) {
  std::wstring text((to - from) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data() + from, text.size() * sizeof(wchar_t));
  return text.substr(0, text.find(L'\0'));
}

}  // namespace

WinInterfaceSet::WinInterfaceSet(const WinDeviceScanFilter& filter)
    : set_(SetupDiGetClassDevsW(&filter.interfaceClass(), nullptr, nullptr,
                                DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {
  if (!valid()) {
    return;
  }
  SP_DEVICE_INTERFACE_DATA data{};
  data.cbSize = sizeof data;
  for (DWORD i = 0;
       SetupDiEnumDeviceInterfaces(set_.get(), nullptr, &filter.interfaceClass(), i, &data); ++i) {
    auto found = describe(data);
    if (found && IsEqualGUID(found->device.ClassGuid, filter.setupClass())) {
      interfaces_.push_back(std::move(*found));
    }
  }
}

std::optional<FoundInterface> WinInterfaceSet::describe(SP_DEVICE_INTERFACE_DATA& data) const {
  constexpr std::size_t kPathAt = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
  DWORD needed = 0;
  SetupDiGetDeviceInterfaceDetailW(set_.get(), &data, nullptr, 0, &needed, nullptr);
  if (needed < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) || needed > kMostBytes) {
    return std::nullopt;
  }
  std::vector<BYTE> block(needed);
  const DWORD fixedPart = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  std::memcpy(block.data(), &fixedPart, sizeof fixedPart);  // cbSize
  FoundInterface found;
  found.device.cbSize = sizeof found.device;
  if (!SetupDiGetDeviceInterfaceDetailW(
          set_.get(), &data, reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(block.data()),
          needed, nullptr, &found.device)) {
    return std::nullopt;
  }
  found.path = toNarrow(textOf(block, kPathAt, block.size()));
  return found;
}

std::optional<std::string> WinInterfaceSet::property(FoundInterface& device, DWORD property) const {
  DWORD type = 0;
  DWORD needed = 0;
  SetupDiGetDeviceRegistryPropertyW(set_.get(), &device.device, property, &type, nullptr, 0,
                                    &needed);
  if (needed == 0 || needed > kMostBytes) {
    return std::nullopt;
  }
  std::vector<BYTE> value(needed);
  if (!SetupDiGetDeviceRegistryPropertyW(set_.get(), &device.device, property, &type, value.data(),
                                         needed, nullptr)) {
    return std::nullopt;
  }
  if (type == REG_SZ || type == REG_MULTI_SZ) {
    return toNarrow(textOf(value, 0, value.size()));
  }
  DWORD number = 0;
  if (type != REG_DWORD || value.size() != sizeof number) {
    return std::nullopt;
  }
  std::memcpy(&number, value.data(), sizeof number);
  return std::to_string(number);
}

}  // namespace ostria::storage
