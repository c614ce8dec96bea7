// A setting that is a number but cannot be used, negative or too large for any type, is out of
// range: that is what the user has to correct. Anything else is no number.
#include "diagnostics/settings.h"

#include <charconv>

#include "services/config_file.h"

namespace ostria::storage {

Setting takeNumber(const std::map<std::string, std::string>& section, const char* key,
                   std::uint64_t most, std::uint64_t* value, ConfigurationError* error) {
  const auto found = section.find(key);
  if (found == section.end()) {
    return Setting::Absent;
  }
  const std::string& text = found->second;
  const bool negative = !text.empty() && text.front() == '-';
  const char* const begin = text.data() + (negative ? 1 : 0);
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto parsed = std::from_chars(begin, end, number);
  std::uint32_t code = 0;
  if (parsed.ec == std::errc::invalid_argument || parsed.ptr != end) {
    code = ConfigurationError::NotANumber;
  } else if (parsed.ec == std::errc::result_out_of_range || negative || number > most) {
    code = ConfigurationError::OutOfRange;
  } else {
    *value = number;
    return Setting::Taken;
  }
  if (error != nullptr) {
    *error = {0, code, 0, key, kStorageSection};
  }
  return Setting::Unusable;
}

}  // namespace ostria::storage
