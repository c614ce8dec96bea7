// The repository of the WMI service.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ostria::virtual_pc {

// What the WMI service of a virtual PC knows: namespaces, classes with their instances, and
// methods. Names compare without regard to the case of letters. It lives in memory and ends with
// the PC.

using WmiValue = std::variant<std::monostate, bool, std::int32_t, std::wstring,
                              std::vector<std::wstring>, std::vector<std::int32_t>>;

/// Text by which values compare in paths and conditions; empty for none and for arrays.
std::wstring wmiText(const WmiValue& value);

bool sameWmiName(const std::wstring& a, const std::wstring& b);

struct WmiProperty {
  std::wstring name;
  std::int32_t type = 0;  ///< a CIM type number
  bool key = false;
  WmiValue value;
};

/// A class definition, an instance, or the parameters of a method.
struct WmiObject {
  std::wstring className;
  bool isInstance = false;
  std::vector<WmiProperty> properties;

  WmiProperty* find(const std::wstring& name);
  const WmiProperty* find(const std::wstring& name) const;
  /// Whether all key properties have the same values.
  bool hasKeysOf(const WmiObject& other) const;
};

struct WmiMethod {
  WmiObject in;
  /// Runs the method. @return its "ReturnValue"
  std::function<std::int32_t(const WmiObject& in)> run;
};

struct WmiClass {
  WmiObject definition;
  std::vector<WmiObject> instances;
  std::map<std::wstring, WmiMethod> methods;

  /// The instance whose property has this text, or null.
  WmiObject* findInstance(const std::wstring& property, const std::wstring& text);
  /// A new instance without values.
  WmiObject spawn() const;
  /// Appends an instance; names that the definition lacks are left out.
  void addRow(const std::vector<std::pair<std::wstring, WmiValue>>& row);
};

class WmiNamespace {
 public:
  WmiClass* find(const std::wstring& className);
  /// The class, made without properties if it is not there.
  WmiClass& define(const std::wstring& className);

 private:
  std::list<WmiClass> classes_;  ///< a class stays where it is: objects point to it
};

class WmiRepository {
 public:
  /// With the namespaces ROOT and ROOT\CIMV2.
  WmiRepository();

  /// Null for a namespace that does not exist.
  WmiNamespace* find(const std::wstring& path);
  bool create(const std::wstring& parent, const std::wstring& name);

 private:
  static std::wstring normalised(std::wstring path);

  std::map<std::wstring, WmiNamespace> namespaces_;
};

/// "Class", "Class.Key=5" or "Class.Key='text'".
struct WmiPath {
  std::wstring className;
  std::wstring key;
  std::wstring value;
  bool quoted = false;  ///< the value stands in quotes

  static std::optional<WmiPath> parse(const std::wstring& text);
};

/// "SELECT a, b FROM Class" with an optional "WHERE c = value".
struct WmiQuery {
  std::vector<std::wstring> fields;
  WmiPath target;  ///< the class, and the condition as key and value

  static std::optional<WmiQuery> parse(const std::wstring& text);
};

}  // namespace ostria::virtual_pc
