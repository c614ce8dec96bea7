// The strict reader of one JSON object: every key is asked for, or the file is refused.
#include "virtual_pc/machine_file/object_reader.h"

namespace ostria::virtual_pc {

ObjectReader::ObjectReader(const nlohmann::json& value, std::string location)
    : value_(value), location_(std::move(location)) {
  if (!value.is_object()) {
    throw MachineFileError(location_,
                           std::string("an object is needed here, not ") + value.type_name() + ".");
  }
}

std::string ObjectReader::locationOf(const std::string& key) const {
  return location_.empty() ? key : location_ + "." + key;
}

void ObjectReader::fail(const std::string& key, const std::string& what) const {
  throw MachineFileError(locationOf(key), what);
}

std::string ObjectReader::renamed(const std::string& key, const std::string& formerKey) const {
  if (has(key) && has(formerKey)) {
    fail(formerKey, "this is the former name of " + key + ", which is there too.");
  }
  return has(formerKey) ? formerKey : key;
}

void ObjectReader::require(const std::string& key) const {
  if (!has(key)) {
    fail(key, "this key is missing.");
  }
}

const nlohmann::json* ObjectReader::find(const std::string& key) {
  asked_.insert(key);
  const auto found = value_.find(key);
  return found == value_.end() ? nullptr : &*found;
}

std::string ObjectReader::text(const std::string& key, std::string fallback, std::size_t longest) {
  const nlohmann::json* value = find(key);
  if (value == nullptr) {
    return fallback;
  }
  if (!value->is_string()) {
    fail(key, std::string("a text is needed, not ") + value->type_name() + ".");
  }
  const auto& text = value->get_ref<const std::string&>();
  if (text.size() > longest) {
    fail(key, "the text is longer than " + std::to_string(longest) + " characters.");
  }
  return text;
}

bool ObjectReader::flag(const std::string& key, bool fallback) {
  const nlohmann::json* value = find(key);
  if (value == nullptr) {
    return fallback;
  }
  if (!value->is_boolean()) {
    fail(key, std::string("true or false is needed, not ") + value->type_name() + ".");
  }
  return value->get<bool>();
}

std::uint64_t ObjectReader::checked(const nlohmann::json& value, const std::string& location,
                                    std::uint64_t lowest, std::uint64_t highest) const {
  if (!value.is_number_integer()) {
    throw MachineFileError(location, std::string("a whole number is needed, not ") +
                                         (value.is_number() ? "a fraction" : value.type_name()) +
                                         ".");
  }
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() < lowest) {
    throw MachineFileError(location, value.dump() + " is below " + std::to_string(lowest) + ".");
  }
  const auto number = value.get<std::uint64_t>();
  if (number > highest) {
    throw MachineFileError(location, value.dump() + " is above " + std::to_string(highest) + ".");
  }
  return number;
}

std::uint64_t ObjectReader::number(const std::string& key, std::uint64_t fallback,
                                   std::uint64_t lowest, std::uint64_t highest) {
  const nlohmann::json* value = find(key);
  return value != nullptr ? checked(*value, locationOf(key), lowest, highest) : fallback;
}

std::optional<std::uint64_t> ObjectReader::optionalNumber(const std::string& key,
                                                          std::uint64_t lowest,
                                                          std::uint64_t highest) {
  const nlohmann::json* value = find(key);
  if (value == nullptr) {
    return std::nullopt;
  }
  return checked(*value, locationOf(key), lowest, highest);
}

std::optional<ObjectReader> ObjectReader::object(const std::string& key) {
  const nlohmann::json* value = find(key);
  if (value == nullptr) {
    return std::nullopt;
  }
  return ObjectReader(*value, locationOf(key));
}

const nlohmann::json* ObjectReader::list(const std::string& key) {
  const nlohmann::json* value = find(key);
  if ((value != nullptr) && !value->is_array()) {
    fail(key, std::string("a list is needed, not ") + value->type_name() + ".");
  }
  return value;
}

std::vector<ObjectReader> ObjectReader::objects(const std::string& key) {
  std::vector<ObjectReader> out;
  const nlohmann::json* value = list(key);
  if (value == nullptr) {
    return out;
  }
  for (std::size_t i = 0; i < value->size(); ++i) {
    out.emplace_back((*value)[i], locationOf(key) + "[" + std::to_string(i) + "]");
  }
  return out;
}

std::vector<std::uint64_t> ObjectReader::numbers(const std::string& key, std::uint64_t lowest,
                                                 std::uint64_t highest) {
  std::vector<std::uint64_t> out;
  const nlohmann::json* value = list(key);
  if (value == nullptr) {
    return out;
  }
  for (std::size_t i = 0; i < value->size(); ++i) {
    out.push_back(
        checked((*value)[i], locationOf(key) + "[" + std::to_string(i) + "]", lowest, highest));
  }
  return out;
}

std::vector<std::string> ObjectReader::texts(const std::string& key, std::size_t longest) {
  std::vector<std::string> out;
  const nlohmann::json* value = list(key);
  if (value == nullptr) {
    return out;
  }
  for (const nlohmann::json& entry : *value) {
    if (!entry.is_string() || entry.get_ref<const std::string&>().size() > longest) {
      fail(key, "texts of at most " + std::to_string(longest) + " bytes are needed.");
    }
    out.push_back(entry.get<std::string>());
  }
  return out;
}

void ObjectReader::finish() const {
  for (const auto& [key, value] : value_.items()) {
    if (!asked_.contains(key)) {
      fail(key, "this key is not known here.");
    }
  }
}

}  // namespace ostria::virtual_pc
