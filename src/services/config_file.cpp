#include "services/config_file.h"

#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTextStream>
#include <algorithm>
#include <array>
#include <cctype>
#include <regex>

namespace ostria::storage {
namespace {

using namespace config_file_error;

// The matcher of std::regex recurses with the length of the text: a long line would overrun the
// stack. No setting comes near these bounds.
constexpr std::size_t kMaxLineBytes = 1024;
constexpr qint64 kMaxFileBytes = 1 << 20;

struct MalformedLine {
  std::uint32_t code;
  std::regex pattern;
  char allowedWith;  ///< a line that holds this character is not malformed; 0 for none
};

bool holds(const std::string& line, char c) { return line.find(c) != std::string::npos; }

/// The first rule that the line falls under, or 0 for a line in order.
std::uint32_t classify(const std::string& line) {
  static const std::array<MalformedLine, 10> kRules = {{
      {kRepeatedOpenBracket, std::regex(R"((\[\s*\w+\[)|(\[\[))"), 0},
      {kRepeatedCloseBracket, std::regex(R"((\]\s*\w+\])|(\]\]))"), 0},
      {kRepeatedEquals, std::regex(R"((=\s*\w+=)|(==))"), 0},
      {kEqualsAtBracket, std::regex(R"(((=\w+(\[|\]))|((\[|\]))\w+=)|(\[=)|(\]=)|(=\[)|(=\]))"), 0},
      {kBracketNotClosed, std::regex(R"((\[\]{0}[\w]+)|(\]{0}[\w]+\[+))"), ']'},
      {kBracketNotOpened, std::regex(R"((\[{0}[\w]+\]+)|(\]\[{0}[\w]+))"), '['},
      {kBracketsReversed, std::regex(R"((\]\w+\[)|(\]\[))"), 0},
      {kEmptySection, std::regex(R"(\[\s*\]+)"), 0},
      {kNoKey, std::regex(R"(^\s*=\s*[\w]+)"), 0},
      {kNoValue, std::regex(R"(^[\w]+\s*=\s*$)"), 0},
  }};
  if (line.find_first_of("[]=") == std::string::npos) {
    return kNeitherSectionNorKey;
  }
  for (const MalformedLine& rule : kRules) {
    if (rule.allowedWith != 0 && holds(line, rule.allowedWith)) {
      continue;
    }
    if (std::regex_search(line, rule.pattern)) {
      return rule.code;
    }
  }
  return 0;
}

std::string capitals(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

class Parser {
 public:
  Parser(ConfigurationMap& contents, ConfigurationError& error)
      : contents_(contents), error_(error) {}

  /// @return whether the reading goes on
  bool acceptLine(std::string line) {
    static const std::regex kBlank(R"(^\s*$)");
    static const std::regex kSectionLine(R"(\[([\w\s*]+)\])");
    static const std::regex kKeyLine(R"(([\w]+)\s*=\s*([^]+)$)");

    if (const auto comment = line.find(';'); comment != std::string::npos) {
      line.resize(comment);
    }
    if (line.size() > kMaxLineBytes) {
      return fail(kLineTooLong);
    }
    if (std::regex_search(line, kBlank)) {
      return true;
    }
    if (const std::uint32_t code = classify(line); code != 0) {
      return fail(code);
    }

    std::smatch match;
    if (std::regex_search(line, match, kSectionLine)) {
      section_ = capitals(match[1]);
      if (!contents_.try_emplace(section_).second) {
        return fail(kSectionTwice);
      }
    }
    if (std::regex_search(line, match, kKeyLine)) {
      const std::string key = capitals(match[1]);
      if (!contents_[section_].try_emplace(key, match[2]).second) {
        return fail(kKeyTwice, key);
      }
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
  std::string section_;
};

}  // namespace

bool readConfigurationFile(const std::string& path, ConfigurationMap& contents,
                           ConfigurationError& error) {
  contents.clear();
  error = {};
  QFile file(QString::fromStdString(path));
  // What is no regular file could block or never end.
  if (!QFileInfo(file).isFile() || file.size() > kMaxFileBytes ||
      !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
    error.code = kNotReadable;
    return false;
  }
  QTextStream stream(&file);
  stream.setCodec("UTF-8");
  Parser parser(contents, error);
  for (QString line; stream.readLineInto(&line);) {
    ++error.reserved1;
    if (!parser.acceptLine(line.toStdString())) {
      return false;
    }
  }
  error = {};
  return true;
}

}  // namespace ostria::storage
