// Reader of config.ini, line by line. The rules for a line stand in config_line.cpp.
#include "services/config_file.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTextStream>
#include <algorithm>
#include <string_view>
#include <utility>

#include "services/config_line.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

using namespace config_file_error;

// The file lies in the working directory and may be anybody's. No settings come near this bound.
constexpr qint64 kMaxFileBytes = 1 << 20;

std::string capitals(std::string_view name) {
  std::string text(name);
  getLocalStringHandler().toUpperCase(text);
  return text;
}

class Parser {
 public:
  Parser(ConfigurationMap& contents, ConfigurationError& error)
      : contents_(contents), error_(error) {}

  /// @return whether the reading goes on
  bool acceptLine(std::string_view line) {
    line = line.substr(0, line.find(';'));
    if (config_line::isBlank(line)) {
      return true;
    }
    if (const std::uint32_t code = config_line::brokenRule(line); code != 0) {
      return fail(code);
    }

    // A line may do both: open a section and set a key in it.
    if (const auto name = config_line::sectionName(line)) {
      section_ = capitals(*name);
      const auto [section, isNew] = contents_.try_emplace(section_);
      if (!isNew) {
        return fail(kSectionTwice);
      }
      keys_ = &section->second;
      behind_ = keys_->end();
    }
    if (const auto setting = config_line::keyAndValue(line)) {
      std::string key = capitals(setting->key);
      if (keys_ == nullptr) {
        keys_ = &contents_[section_];
        behind_ = keys_->end();
      }
      // Keys mostly stand in their order: the first guess is behind the one before.
      const std::size_t before = keys_->size();
      behind_ = keys_->try_emplace(behind_, std::move(key), setting->value);
      if (keys_->size() == before) {
        return fail(kKeyTwice, behind_->first);
      }
      ++behind_;
    }
    return true;
  }

 private:
  bool fail(std::uint32_t code, const std::string& key = {}) {
    error_.code = code;
    error_.section = section_;
    error_.key = key;
    return false;
  }

  ConfigurationMap& contents_;
  ConfigurationError& error_;
  std::string section_;  ///< empty before the first one
  ConfigurationMap::mapped_type* keys_ = nullptr;
  ConfigurationMap::mapped_type::iterator behind_;  ///< of `keys_`, behind the latest key
};

bool isAscii(const QByteArray& text) {
  // Without an early end, as nearly all files are, the loop takes many bytes at a time.
  unsigned all = 0;
  for (const char c : text) {
    all |= static_cast<unsigned char>(c);
  }
  return all < 0x80;
}

/// The usual file: its bytes are its characters, so nothing has to be converted there and back.
bool acceptAscii(const QByteArray& text, Parser& parser, ConfigurationError& error) {
  std::string_view rest(text.constData(), static_cast<std::size_t>(text.size()));
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    ++error.reserved1;
    if (!parser.acceptLine(rest.substr(0, end))) {
      return false;
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return true;
}

bool acceptUnicode(const QByteArray& text, Parser& parser, ConfigurationError& error) {
  QTextStream stream(text);
  stream.setCodec("UTF-8");
  for (QString line; stream.readLineInto(&line);) {
    ++error.reserved1;
    if (!parser.acceptLine(line.toStdString())) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool readConfigurationFile(const std::string& path, ConfigurationMap& contents,
                           ConfigurationError& error) {
  contents.clear();
  error = {};
  QFile file(QString::fromStdString(path));
  // What is no regular file could block or never end.
  const QFileInfo info(file);
  if (!info.isFile() || info.size() > kMaxFileBytes ||
      !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
    error.code = kNotReadable;
    return false;
  }
  const QByteArray text = file.readAll();
  Parser parser(contents, error);
  const bool accepted =
      isAscii(text) ? acceptAscii(text, parser, error) : acceptUnicode(text, parser, error);
  if (accepted) {
    error = {};
  }
  return accepted;
}

}  // namespace ostria::storage
