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
  return value.type_name() == type || (type == "integer" && value.is_number_integer());
}

class Checker {
 public:
  explicit Checker(const json& root) : root_(root) {}

  void check(const json& value, const json& schema, const std::string& at) {
    for (const auto& [word, rule] : schema.items()) {
      checkWord(value, schema, word, rule, at);
    }
  }
  const std::string& complaint() const { return complaint_; }

 private:
  void checkWord(const json& value, const json& schema, const std::string& word, const json& rule,
                 const std::string& at) {
    bool good = true;
    if (word == "$ref") {
      check(value, root_.at(json::json_pointer(rule.get<std::string>().substr(1))), at);
    } else if (word == "type") {
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
        expect(value.contains(name), at + " lacks " + name.get<std::string>());
      }
    } else if (word == "properties") {
      for (const auto& [name, inner] : value.items()) {
        if (rule.contains(name)) {
          check(inner, rule.at(name), at + "/" + name);
        } else {
          // Readers have to put up with keys that they do not know; this program documents each.
          expect(!schema.contains("type"), at + " has an unknown " + name);
        }
      }
    } else if (word == "items") {
      for (std::size_t i = 0; i < value.size(); ++i) {
        check(value[i], rule, at + "/" + std::to_string(i));
      }
    } else if (word == "allOf") {
      for (const json& inner : rule) {
        check(value, inner, at);
      }
    } else if (word == "if") {
      Checker condition(root_);
      condition.check(value, rule, at);
      if (condition.complaint().empty()) {
        check(value, schema.at("then"), at);
      }
    } else {
      constexpr const char* kSilent[] = {"then", "$schema", "$id", "title", "$defs"};
      expect(std::find(std::begin(kSilent), std::end(kSilent), word) != std::end(kSilent),
             "the schema uses " + word + ", which this check does not know");
    }
    expect(good, at + " breaks " + word + ": " + value.dump());
  }
  /// Keeps the first complaint.
  void expect(bool good, const std::string& complaint) {
    if (!good && complaint_.empty()) {
      complaint_ = complaint;
    }
  }

  const json& root_;
  std::string complaint_;
};

}  // namespace

std::string schemaComplaint(const json& document) {
  std::ifstream file(::ostria::storage::test::sourceFile("docs/output.schema.json"));
  const json schema = json::parse(file);
  Checker checker(schema);
  checker.check(document, schema, "document");
  return checker.complaint();
}

}  // namespace ostria::host::test
