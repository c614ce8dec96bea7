// Numbers that are not known are null, and never left out.
#include "host/core/report/json_parts.h"

namespace ostria::host {
namespace {

// Readers that keep numbers as binary64 lose digits above this.
constexpr std::uint64_t kExactLimit = std::uint64_t{1} << 53;

}  // namespace

void putNumber(Json& json, const std::string& name, std::optional<std::uint64_t> value) {
  if (!value) {
    json[name] = nullptr;
    return;
  }
  json[name] = *value;
  if (*value > kExactLimit) {
    json[name + "_text"] = std::to_string(*value);
  }
}

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json changesJson(const std::vector<Change>& changes) {
  Json list = Json::array();
  for (const Change& change : changes) {
    list.push_back({{"name", change.name}, {"before", change.before}, {"now", change.now}});
  }
  return list;
}

}  // namespace ostria::host
