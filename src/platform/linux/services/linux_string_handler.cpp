// Conversions to and from wide text, which has 32 bits here.
#include <QString>

#include "services/string_handler_imp.h"

namespace ostria::storage {
namespace {

/// Nothing of the text services differs here; the conversions to and from wide text do.
class LinuxStringHandlerImp final : public StringHandlerImp {};

}  // namespace

StringHandler& getLocalStringHandler() {
  static auto* const kHandler = new LinuxStringHandlerImp;
  return *kHandler;
}

std::wstring toWide(const std::string& text) { return QString::fromStdString(text).toStdWString(); }

std::string toNarrow(const std::wstring& text) {
  return QString::fromStdWString(text).toStdString();
}

}  // namespace ostria::storage
