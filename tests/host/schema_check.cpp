// Checks a JSON document against docs/output.schema.json, as far as that schema uses the standard.
#include "tests/host/schema_check.h"

#include <algorithm>
#include <fstream>
#include <regex>

#include "tests/support/source_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;

bool isOfType(const json& value, const std::string& type) {
  return (type == "object" && value.is_object()) || (type == "array" && value.is_array()) ||
         (type == "string" && value.is_string()) || (type == "boolean" && value.is_boolean()) ||
         (type == "integer" && value.is_number_integer()) ||
         (type == "number" && value.is_number()) || (type == "null" && value.is_null());
}

class Checker {
 public:
  explicit Checker(const json& root) : root_(root) {}

  std::string check(const json& value, const json& schema, const std::string& at) const {
    for (const auto& [word, rule] : schema.items()) {
      std::string complaint = checkWord(value, schema, word, rule, at);
      if (!complaint.empty()) {
        return complaint;
      }
    }
    return {};
  }

 private:
  std::string checkWord(const json& value, const json& schema, const std::string& word,
                        const json& rule, const std::string& at) const {
    if (word == "$ref") {
      const auto path = rule.get<std::string>().substr(1);
      return check(value, root_.at(json::json_pointer(path)), at);
    }
    bool good = true;
    if (word == "type") {
      const json types = rule.is_array() ? rule : json::array({rule});
      good = std::any_of(types.begin(), types.end(),
                         [&](const json& type) { return isOfType(value, type); });
    } else if (word == "const") {
      good = value == rule;
    } else if (word == "enum") {
      good = std::find(rule.begin(), rule.end(), value) != rule.end();
    } else if (word == "pattern") {
      good = std::regex_search(value.get<std::string>(), std::regex(rule.get<std::string>()));
    } else if (word == "required") {
      for (const json& name : rule) {
        if (!value.contains(name)) {
          return at + " lacks " + name.get<std::string>();
        }
      }
    } else if (word == "properties") {
      // Readers have to put up with keys that they do not know; this program documents each.
      for (const auto& [name, unused] : value.items()) {
        if (schema.contains("type") && !rule.contains(name)) {
          return at + " has an unknown " + name;
        }
      }
      for (const auto& [name, inner] : rule.items()) {
        if (!value.contains(name)) {
          continue;
        }
        std::string complaint = check(value.at(name), inner, at + "/" + name);
        if (!complaint.empty()) {
          return complaint;
        }
      }
    } else if (word == "items") {
      for (std::size_t i = 0; i < value.size(); ++i) {
        std::string complaint = check(value[i], rule, at + "/" + std::to_string(i));
        if (!complaint.empty()) {
          return complaint;
        }
      }
    } else if (word == "allOf") {
      for (const json& inner : rule) {
        std::string complaint = check(value, inner, at);
        if (!complaint.empty()) {
          return complaint;
        }
      }
    } else if (word == "if") {
      if (check(value, rule, at).empty()) {
        return check(value, schema.at("then"), at);
      }
    } else if (word != "then" && word != "$schema" && word != "$id" && word != "title" &&
               word != "$defs") {
      return "the schema uses " + word + ", which this check does not know";
    }
    return good ? std::string() : at + " breaks " + word + ": " + value.dump();
  }

  const json& root_;
};

}  // namespace

std::string schemaComplaint(const json& document) {
  std::ifstream file(::ostria::storage::test::sourceFile("docs/output.schema.json"));
  const json schema = json::parse(file);
  return Checker(schema).check(document, schema, "document");
}

}  // namespace ostria::host::test
