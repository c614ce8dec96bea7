// What a file system checker prints is for people; percentages are picked out of it by the forms
// that the checkers of the field use.
#include "tools/checker_output.h"

#include "services/number_handler.h"

namespace ostria::storage {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The last "n%" of a status line such as "Stage: 21%; Total: 10%", which is that of the whole; -1
/// for a line with a single one, which may be a sentence about the volume.
int statusPercent(const std::string& line) {
  int found = 0;
  int last = -1;
  for (std::size_t sign = line.find('%'); sign != std::string::npos;
       sign = line.find('%', sign + 1)) {
    std::size_t start = sign;
    while (start > 0 && isDigit(line[start - 1])) {
      --start;
    }
    if (start != sign) {
      ++found;
      last = parseIntOrZero(line.substr(start, sign - start));
    }
  }
  return found > 1 || line.find("Total:") != std::string::npos ? last : -1;
}

}  // namespace

int parseCheckerPercent(std::string line) {
  if (line.size() > 1 && line[0] == ' ' && isDigit(line[1])) {
    line.erase(0, 1);
  }
  if (line.empty() || !isDigit(line[0])) {
    return statusPercent(line);
  }
  return parseIntOrZero(line.substr(0, line.find(' ')));
}

std::string cleanCheckerText(const std::string& text) {
  const std::string lineEnd = "\r\n";
  std::string out;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(lineEnd, start)) != std::string::npos;
       start = end + lineEnd.size()) {
    std::string piece = text.substr(start, end - start);
    if (piece.empty()) {
      continue;
    }
    if (piece.find('\n') == std::string::npos) {
      piece += '\n';
    }
    std::erase(piece, '\r');
    out += piece;
  }
  return out;
}

std::optional<int> CheckerOutput::accept(char byte) {
  line_ += byte;
  if (byte != '\n' && byte != '\r') {
    afterReturn_ = false;
    return std::nullopt;
  }
  // The line feed of a pair ends no line of its own.
  const bool secondOfPair = byte == '\n' && afterReturn_;
  afterReturn_ = byte == '\r';

  std::optional<int> report;
  const int percent = parseCheckerPercent(line_);
  if (percent >= lastPercent_ && percent <= 100) {
    lastPercent_ = percent;
    sawPercent_ = true;
    report = percent;
  }
  if (percent == -1) {
    if (!secondOfPair) {
      ++otherLines_;
    }
    text_ += convert_(line_);
  }
  line_.clear();
  return report;
}

}  // namespace ostria::storage
