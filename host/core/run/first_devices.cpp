// A number that the list does not reach may be a serial number; the scan then goes to the end of
// the list before it is resolved.
#include "host/core/run/first_devices.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace ostria::host {

void endWithNamedDevices(const std::vector<std::string>& names,
                         const std::function<std::string(const std::string&)>& idAt,
                         storage::ScanDemand& demand) {
  std::uint32_t count = 0;
  std::vector<std::string> ids;
  for (const std::string& name : names) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && end == name.data() + name.size()) {
      count = std::max(count, number == ~std::uint32_t{0} ? number : number + 1);
      continue;
    }
    std::string id = name.find('/') == std::string::npos ? std::string() : idAt(name);
    if (id.empty()) {
      return;
    }
    ids.push_back(std::move(id));
  }
  if (!names.empty()) {
    demand.count = count;
    demand.ids = std::move(ids);
  }
}

}  // namespace ostria::host
