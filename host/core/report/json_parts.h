// Small pieces that several JSON documents are made of.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/core/model/results.h"

namespace ostria::host {

/// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;

/// Null for no number.
void putNumber(Json& json, const std::string& name, std::optional<std::uint64_t> value);
/// Null for an empty text.
Json textOrNull(const std::string& text);
Json changesJson(const std::vector<Change>& changes);

}  // namespace ostria::host
