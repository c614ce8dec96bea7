#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace ostria::host::test {

/// What is wrong with a document by docs/output.schema.json, or an empty text. Knows the words of
/// JSON Schema that the file uses, and complains about any other.
std::string schemaComplaint(const nlohmann::json& document);

}  // namespace ostria::host::test
