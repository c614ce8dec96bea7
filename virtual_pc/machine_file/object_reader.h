// Strict reading of JSON objects: a key that nobody asks for is a mistake of the file's author.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ostria::virtual_pc {

/// What is wrong with a machine file, in one sentence with the location. Stays inside the reader.
class MachineFileError : public std::runtime_error {
 public:
  MachineFileError(const std::string& location, const std::string& what)
      : std::runtime_error(location.empty() ? what : location + ": " + what) {}
};

/// Strict reader of one JSON object: every key that is there must have been asked for by the time
/// `finish` is called. All readers throw `MachineFileError`.
class ObjectReader {
 public:
  ObjectReader(const nlohmann::json& value, std::string location);

  const std::string& location() const { return location_; }
  /// Location of a key, for messages.
  std::string locationOf(const std::string& key) const;
  [[noreturn]] void fail(const std::string& key, const std::string& what) const;

  bool has(const std::string& key) const { return value_.contains(key); }
  /// The name under which a key stands that had another one before; never both.
  std::string renamed(const std::string& key, const std::string& formerKey) const;
  /// Fails when the key is missing.
  void require(const std::string& key) const;

  std::string text(const std::string& key, std::string fallback, std::size_t longest = 260);
  bool flag(const std::string& key, bool fallback);
  std::uint64_t number(const std::string& key, std::uint64_t fallback, std::uint64_t lowest,
                       std::uint64_t highest);
  std::optional<std::uint64_t> optionalNumber(const std::string& key, std::uint64_t lowest,
                                              std::uint64_t highest);
  /// One of several words; the value that stands beside it.
  template <typename Value>
  Value choice(const std::string& key, Value fallback,
               std::span<const std::pair<const char*, Value>> words) {
    const std::string word = text(key, "");
    if (!has(key)) {
      return fallback;
    }
    std::string all;
    for (const auto& [name, value] : words) {
      if (word == name) {
        return value;
      }
      all += (all.empty() ? "" : ", ") + std::string(name);
    }
    fail(key, "\"" + word + "\" is none of " + all + ".");
  }
  /// A number that fits the field, with the field's own range unless given otherwise.
  template <typename Number>
  void into(const std::string& key, Number& field, std::uint64_t lowest = 0,
            std::uint64_t highest = std::numeric_limits<Number>::max()) {
    field = static_cast<Number>(number(key, field, lowest, highest));
  }

  std::optional<ObjectReader> object(const std::string& key);
  /// The objects of a list; empty when the key is missing.
  std::vector<ObjectReader> objects(const std::string& key);
  std::vector<std::uint64_t> numbers(const std::string& key, std::uint64_t lowest,
                                     std::uint64_t highest);
  std::vector<std::string> texts(const std::string& key, std::size_t longest = 260);

  /// Fails on the first key that nobody asked for.
  void finish() const;

 private:
  const nlohmann::json* find(const std::string& key);
  std::uint64_t checked(const nlohmann::json& value, const std::string& location,
                        std::uint64_t lowest, std::uint64_t highest) const;
  const nlohmann::json* list(const std::string& key);

  const nlohmann::json& value_;
  std::string location_;
  std::set<std::string> asked_;
};

}  // namespace ostria::virtual_pc
