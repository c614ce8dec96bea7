// Classes, instances, paths and queries of the WMI repository.
#include "virtual_pc/system/services/wmi_repository.h"

#include <algorithm>
#include <cwctype>
#include <utility>

namespace ostria::virtual_pc {
namespace {

std::wstring trimmed(const std::wstring& text) {
  const auto first = text.find_first_not_of(L' ');
  if (first == std::wstring::npos) {
    return L"";
  }
  return text.substr(first, text.find_last_not_of(L' ') - first + 1);
}

std::wstring folded(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) {
    return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  });
  return text;
}

/// Position of a keyword with blanks around it, whatever the case of its letters.
std::size_t findKeyword(const std::wstring& text, const std::wstring& word) {
  return folded(text).find(L" " + word + L" ");
}

/// "name = value" with the value in quotes, or a bare number.
bool parseAssignment(const std::wstring& text, WmiPath& out) {
  std::wstring& name = out.key;
  std::wstring& value = out.value;
  const auto equals = text.find(L'=');
  if (equals == std::wstring::npos) {
    return false;
  }
  name = trimmed(text.substr(0, equals));
  value = trimmed(text.substr(equals + 1));
  if (value.size() >= 2 && (value.front() == L'\'' || value.front() == L'"')) {
    if (value.back() != value.front()) {
      return false;
    }
    value = value.substr(1, value.size() - 2);
    out.quoted = true;
  }
  const bool bareNumber =
      !value.empty() && value.find_first_not_of(L"-0123456789") == std::wstring::npos;
  return !name.empty() && (out.quoted || bareNumber);
}

}  // namespace

std::wstring wmiText(const WmiValue& value) {
  if (const auto* const text = std::get_if<std::wstring>(&value)) {
    return *text;
  }
  if (const auto* const number = std::get_if<std::int32_t>(&value)) {
    return std::to_wstring(*number);
  }
  if (const auto* const flag = std::get_if<bool>(&value)) {
    return *flag ? L"true" : L"false";
  }
  return L"";
}

bool sameWmiName(const std::wstring& a, const std::wstring& b) { return folded(a) == folded(b); }

const WmiProperty* WmiObject::find(const std::wstring& name) const {
  const auto found =
      std::find_if(properties.begin(), properties.end(),
                   [&](const WmiProperty& property) { return sameWmiName(property.name, name); });
  return found == properties.end() ? nullptr : &*found;
}

WmiProperty* WmiObject::find(const std::wstring& name) {
  return const_cast<WmiProperty*>(std::as_const(*this).find(name));
}

bool WmiObject::hasKeysOf(const WmiObject& other) const {
  return std::all_of(properties.begin(), properties.end(), [&](const WmiProperty& property) {
    const WmiProperty* const peer = other.find(property.name);
    return !property.key || (peer != nullptr && peer->value == property.value);
  });
}

WmiObject* WmiClass::findInstance(const std::wstring& property, const std::wstring& text) {
  for (WmiObject& instance : instances) {
    const WmiProperty* const found = instance.find(property);
    if (found != nullptr && sameWmiName(wmiText(found->value), text)) {
      return &instance;
    }
  }
  return nullptr;
}

WmiObject WmiClass::spawn() const {
  WmiObject instance = definition;
  instance.isInstance = true;
  return instance;
}

void WmiClass::addRow(const std::vector<std::pair<std::wstring, WmiValue>>& row) {
  WmiObject instance = spawn();
  for (const auto& [name, value] : row) {
    if (WmiProperty* const property = instance.find(name)) {
      property->value = value;
    }
  }
  instances.push_back(std::move(instance));
}

WmiClass* WmiNamespace::find(const std::wstring& className) {
  const auto found = std::find_if(classes_.begin(), classes_.end(), [&](const WmiClass& one) {
    return sameWmiName(one.definition.className, className);
  });
  return found == classes_.end() ? nullptr : &*found;
}

WmiClass& WmiNamespace::define(const std::wstring& className) {
  if (WmiClass* const present = find(className)) {
    return *present;
  }
  WmiClass& made = classes_.emplace_back();
  made.definition.className = className;
  return made;
}

WmiRepository::WmiRepository() {
  namespaces_[normalised(L"ROOT")];
  namespaces_[normalised(L"ROOT\\CIMV2")];
}

std::wstring WmiRepository::normalised(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return folded(std::move(path));
}

WmiNamespace* WmiRepository::find(const std::wstring& path) {
  const auto found = namespaces_.find(normalised(path));
  return found == namespaces_.end() ? nullptr : &found->second;
}

bool WmiRepository::create(const std::wstring& parent, const std::wstring& name) {
  if (name.empty() || find(parent) == nullptr) {
    return false;
  }
  namespaces_[normalised(parent + L"\\" + name)];
  return true;
}

std::optional<WmiPath> WmiPath::parse(const std::wstring& text) {
  WmiPath path;
  const auto point = text.find(L'.');
  path.className = text.substr(0, point);
  if (path.className.empty()) {
    return std::nullopt;
  }
  if (point != std::wstring::npos && !parseAssignment(text.substr(point + 1), path)) {
    return std::nullopt;
  }
  return path;
}

std::optional<WmiQuery> WmiQuery::parse(const std::wstring& text) {
  const std::wstring start = L"select ";
  const auto from = findKeyword(text, L"from");
  if (folded(text).compare(0, start.size(), start) != 0 || from == std::wstring::npos) {
    return std::nullopt;
  }
  WmiQuery query;
  std::wstring fields = text.substr(start.size(), from - start.size()) + L",";
  for (std::size_t comma; (comma = fields.find(L',')) != std::wstring::npos;) {
    const std::wstring field = trimmed(fields.substr(0, comma));
    if (field.empty()) {
      return std::nullopt;
    }
    query.fields.push_back(field);
    fields.erase(0, comma + 1);
  }
  const std::wstring rest = text.substr(from + 6);
  const auto where = findKeyword(rest, L"where");
  query.target.className = trimmed(rest.substr(0, where));
  if (query.target.className.empty()) {
    return std::nullopt;
  }
  if (where != std::wstring::npos && !parseAssignment(rest.substr(where + 7), query.target)) {
    return std::nullopt;
  }
  return query;
}

}  // namespace ostria::virtual_pc
