// Text for people, laid out by columns. UTF-8 is counted by code points: the texts here hold no
// combining or double-width characters, and a device's name is escaped first.
#include "host/core/report/plain_text.h"

#include <algorithm>

#include "host/core/texts/clean_text.h"

namespace ostria::host {
namespace {

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u; }

// The first `width` columns of the text, in bytes.
std::size_t bytesOf(std::string_view text, std::size_t width) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at + 1;
    while (next < text.size() && isContinuation(text[next])) {
      ++next;
    }
    if (width-- == 0) {
      return at;
    }
    at = next;
  }
  return at;
}

}  // namespace

std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

std::string fitted(std::string_view text, std::size_t width) {
  if (columns(text) <= width) {
    return std::string(text);
  }
  if (width == 0) {
    return {};
  }
  return std::string(text.substr(0, bytesOf(text, width - 1))) + "~";
}

std::string padded(std::string text, std::size_t width) {
  const std::size_t have = columns(text);
  if (have < width) {
    text.append(width - have, ' ');
  }
  return text;
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
  if (width == 0) {
    return std::string(text);
  }
  if (indent + 10 > width) {
    indent = 0;
  }
  std::string out;
  std::size_t room = width;
  bool lineIsEmpty = true;
  const auto newLine = [&] {
    out += '\n';
    out.append(indent, ' ');
    room = width - indent;
    lineIsEmpty = true;
  };
  std::size_t at = 0;
  while (at < text.size()) {
    // Blanks in front of a word belong to it while it fits on the line.
    const std::size_t wordBegin = std::min(text.find_first_not_of(' ', at), text.size());
    const std::size_t wordEnd = std::min(text.find_first_of(" \n", wordBegin), text.size());
    std::string_view piece = text.substr(at, wordEnd - at);
    if (columns(piece) > room && !lineIsEmpty) {
      newLine();
      piece = text.substr(wordBegin, wordEnd - wordBegin);
    }
    while (columns(piece) > room) {
      const std::size_t bytes = bytesOf(piece, room);
      out += piece.substr(0, bytes);
      piece.remove_prefix(bytes);
      newLine();
    }
    out += piece;
    room -= columns(piece);
    lineIsEmpty = lineIsEmpty && piece.empty();
    at = wordEnd;
    if (at < text.size() && text[at] == '\n') {
      newLine();
      ++at;
    }
  }
  return out;
}

std::string harmless(std::string_view text) {
  std::string line(text);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t' || c == '\r'; }, ' ');
  return cleanText(line);
}

}  // namespace ostria::host
