// The parameter table that a tool and its host share.

#include "ostria/storage/tool.h"

#include <utility>

namespace ostria::storage {

void Tool::setParameter(std::string name, const std::vector<std::string>& values) {
  parameters[std::move(name)] = values;
}

std::vector<std::string>* Tool::getParameter(std::string name) {
  const auto found = parameters.find(name);
  return found == parameters.end() ? nullptr : &found->second;
}

void Tool::setDevices(const std::vector<SystemComponent*>& chosen) { devices = chosen; }

}  // namespace ostria::storage
