// Stands alone because it needs Qt, which the sources that call the SDK do without.
#include "raid/registry_text.h"

#include <QString>

namespace ostria::storage {

std::string registryText(const std::wstring& value) {
  const std::wstring text = value.substr(0, value.find(L'\0'));
  return QString::fromStdWString(text).toUtf8().toStdString();
}

}  // namespace ostria::storage
