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
constexpr std::size_t maxLineBytes = 1024;
constexpr qint64 maxFileBytes = 1 << 20;

struct MalformedLine {
  std::uint32_t code;
  std::regex pattern;
  char allowedWith;  ///< a line that holds this character is not malformed; 0 for none
};

bool holds(const std::string& line, char c) { return line.find(c) != std::string::npos; }

/// The first rule that the line falls under, or 0 for a line in order.
std::uint32_t classify(const std::string& line) {
  static const std::array<MalformedLine, 10> rules = {{
      {RepeatedOpenBracket, std::regex(R"((\[\s*\w+\[)|(\[\[))"), 0},
      {RepeatedCloseBracket, std::regex(R"((\]\s*\w+\])|(\]\]))"), 0},
      {RepeatedEquals, std::regex(R"((=\s*\w+=)|(==))"), 0},
      {EqualsAtBracket, std::regex(R"(((=\w+(\[|\]))|((\[|\]))\w+=)|(\[=)|(\]=)|(=\[)|(=\]))"), 0},
      {BracketNotClosed, std::regex(R"((\[\]{0}[\w]+)|(\]{0}[\w]+\[+))"), ']'},
      {BracketNotOpened, std::regex(R"((\[{0}[\w]+\]+)|(\]\[{0}[\w]+))"), '['},
      {BracketsReversed, std::regex(R"((\]\w+\[)|(\]\[))"), 0},
      {EmptySection, std::regex(R"(\[\s*\]+)"), 0},
      {NoKey, std::regex(R"(^\s*=\s*[\w]+)"), 0},
      {NoValue, std::regex(R"(^[\w]+\s*=\s*$)"), 0},
  }};
  if (line.find_first_of("[]=") == std::string::npos) return NeitherSectionNorKey;
  for (const MalformedLine& rule : rules) {
    if (rule.allowedWith != 0 && holds(line, rule.allowedWith)) continue;
    if (std::regex_search(line, rule.pattern)) return rule.code;
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
    static const std::regex blank(R"(^\s*$)");
    static const std::regex sectionLine(R"(\[([\w\s*]+)\])");
    static const std::regex keyLine(R"(([\w]+)\s*=\s*([^]+)$)");

    if (const auto comment = line.find(';'); comment != std::string::npos) line.resize(comment);
    if (line.size() > maxLineBytes) return fail(LineTooLong);
    if (std::regex_search(line, blank)) return true;
    if (const std::uint32_t code = classify(line); code != 0) return fail(code);

    std::smatch match;
    if (std::regex_search(line, match, sectionLine)) {
      section_ = capitals(match[1]);
      if (!contents_.try_emplace(section_).second) return fail(SectionTwice);
    }
    if (std::regex_search(line, match, keyLine)) {
      const std::string key = capitals(match[1]);
      if (!contents_[section_].try_emplace(key, match[2]).second) return fail(KeyTwice, key);
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
  if (!QFileInfo(file).isFile() || file.size() > maxFileBytes ||
      !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
    error.code = NotReadable;
    return false;
  }
  QTextStream stream(&file);
  stream.setCodec("UTF-8");
  Parser parser(contents, error);
  for (QString line; stream.readLineInto(&line);) {
    ++error.reserved1;
    if (!parser.acceptLine(line.toStdString())) return false;
  }
  error = {};
  return true;
}

}  // namespace ostria::storage
