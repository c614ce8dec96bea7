// Each function takes plain text and escapes it itself: nothing that a device reports reaches the
// document in another way.
#include "host/core/report/html_parts.h"

#include <algorithm>
#include <charconv>

#include "host/core/report/read_texts.h"
#include "host/core/texts/clean_text.h"

namespace ostria::host {
namespace {

constexpr std::size_t kMapColumns = 64;
constexpr std::size_t kMapRows = 12;
constexpr std::size_t kCell = 10;

// A horizontal bar of `part` out of 100 with a mark at `limit`, none when that is 0.
std::string bar(unsigned part, unsigned limit, bool bad) {
  part = std::min(part, 100u);
  std::string svg =
      "<svg class=\"bar\" viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" aria-hidden=\"true\">"
      "<rect width=\"100\" height=\"10\" class=\"f-back\"/><rect width=\"" +
      std::to_string(part) + "\" height=\"10\" class=\"" + (bad ? "f-bad" : "f-good") + "\"/>";
  if (limit > 0 && limit < 100) {
    svg +=
        "<rect x=\"" + std::to_string(limit) + "\" width=\"1.5\" height=\"10\" class=\"f-ink\"/>";
  }
  return svg + "</svg>";
}

}  // namespace

std::string htmlEscaped(std::string_view text) {
  std::string out;
  for (const char c : cleanText(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

int leadingNumber(const std::string& text) {
  int number = -1;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string badge(const std::string& word, const std::string& text) {
  return "<span class=\"badge " + word + "\">" + htmlEscaped(text) + "</span>";
}

std::string badge(ExitCode outcome, const Texts& texts) {
  return badge(outcomeWord(outcome), texts.say(outcomeKey(outcome)));
}

std::string headCell(const std::string& title, bool number) {
  return (number ? "<th class=\"number\">" : "<th>") + htmlEscaped(title) + "</th>";
}

std::string definition(const std::string& label, const std::string& value) {
  if (value.empty()) {
    return {};
  }
  return "<dt>" + htmlEscaped(label) + "</dt><dd>" + htmlEscaped(value) + "</dd>\n";
}

std::string cell(const std::string& value, bool number) {
  return (number ? "<td class=\"number\">" : "<td>") + htmlEscaped(value) + "</td>";
}

std::string smartTableHtml(const std::vector<SmartRow>& rows, const Texts& texts) {
  const bool ata = std::any_of(rows.begin(), rows.end(),
                               [](const SmartRow& row) { return !row.threshold.empty(); });
  std::string html = "<div class=\"wide\"><table><thead><tr>";
  const std::string gauge = "<th class=\"gauge\"></th>";
  html += ata ? headCell(texts.say("smart.id")) + headCell(texts.say("smart.attribute")) + gauge +
                    headCell(texts.say("smart.value"), true) +
                    headCell(texts.say("smart.worst"), true) +
                    headCell(texts.say("smart.limit"), true)
              : headCell(texts.say("smart.field")) + gauge;
  html += headCell(texts.say("smart.data"), true);
  html += "</tr></thead><tbody>\n";
  for (const SmartRow& row : rows) {
    const Verdict verdict = verdictOf(row, rows);
    const bool bad = verdict == Verdict::Replace;
    const char* mark = row.isBelowThreshold()    ? "smart.below_limit"
                       : row.wasBelowThreshold() ? "smart.was_below_limit"
                                                 : nullptr;
    html += bad                         ? "<tr class=\"bad\">"
            : verdict == Verdict::Watch ? "<tr class=\"watch\">"
                                        : "<tr>";
    if (ata) {
      const int value = std::max(leadingNumber(row.value), 0);
      const int limit = std::max(leadingNumber(row.threshold), 0);
      html += cell(row.id, true) +
              cell(row.name + (mark != nullptr ? " (" + texts.say(mark) + ")" : "")) +
              "<td class=\"gauge\">" +
              bar(static_cast<unsigned>(value), static_cast<unsigned>(limit), bad) + "</td>" +
              cell(row.value, true) + cell(row.worst, true) + cell(row.threshold, true) +
              cell(row.readable(), true);
    } else {
      const int part = row.data.ends_with(" %") ? leadingNumber(row.data) : -1;
      html += cell(row.name) + "<td class=\"gauge\">" +
              (part >= 0 ? bar(static_cast<unsigned>(part), 0, verdict > Verdict::NotKnown)
                         : std::string()) +
              "</td>" + cell(row.readable(), true);
    }
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

std::string surfaceMapHtml(const std::vector<SectorRange>& ranges, std::uint64_t totalSectors,
                           bool complete, const Texts& texts) {
  constexpr std::size_t kCells = kMapColumns * kMapRows;
  const std::string width = std::to_string(kMapColumns * kCell);
  const std::string height = std::to_string(kMapRows * kCell);
  const auto bad = badCells(ranges, totalSectors, kCells);
  const std::string fill = complete ? "good" : "unread";
  std::string html = "<svg class=\"map\" role=\"img\" aria-label=\"" +
                     htmlEscaped(texts.say("map.label", {{"bad", std::to_string(bad.size())},
                                                         {"cells", std::to_string(kCells)}})) +
                     "\" viewBox=\"0 0 " + width + " " + height + "\"><defs><pattern id=\"" + fill +
                     "\" width=\"10\" height=\"10\" "
                     "patternUnits=\"userSpaceOnUse\"><rect width=\"9\" height=\"9\" "
                     "class=\"" +
                     (complete ? "f-t0" : "f-unread") + "\"/></pattern></defs><rect width=\"" +
                     width + "\" height=\"" + height + "\" fill=\"url(#" + fill + ")\"/>\n";
  for (const std::size_t index : bad) {
    const std::uint64_t first = firstSectorOf(index, totalSectors, kCells);
    const std::uint64_t next = firstSectorOf(index + 1, totalSectors, kCells);
    html +=
        "<rect x=\"" + std::to_string(index % kMapColumns * kCell) + "\" y=\"" +
        std::to_string(index / kMapColumns * kCell) +
        "\" width=\"9\" height=\"9\" class=\"f-bad\"><title>" +
        htmlEscaped(texts.say("map.cell", {{"first", std::to_string(first)},
                                           {"last", std::to_string(next == 0 ? 0 : next - 1)}})) +
        "</title></rect>\n";
  }
  html += "</svg><p class=\"soft\">" +
          htmlEscaped(texts.say(
              "map.legend",
              {{"count", std::to_string(std::max<std::uint64_t>(totalSectors / kCells, 1))}}));
  if (!complete) {
    html += " " + htmlEscaped(texts.say("map.incomplete"));
  }
  return html + "</p>\n";
}

namespace {

// The class of the style sheet for a cell of the map.
// A large read takes long on a sound drive, too: up to the time of a usual one all is green.
std::string fillOf(char cell, const ReadTimes& reads) {
  if (cell == '.' || cell == 'x') {
    return cell == '.' ? "f-unread" : "f-bad";
  }
  const char usual = static_cast<char>('0' + reads.usualClass());
  return std::string("f-t") + (cell > usual ? cell : cell == usual && usual != '0' ? '1' : '0');
}

std::string nameOf(char cell, const Texts& texts) {
  if (cell == '.' || cell == 'x') {
    return texts.say(cell == '.' ? "map.unread" : "map.bad");
  }
  return readClassName(static_cast<std::size_t>(cell - '0'), texts);
}

}  // namespace

std::string readMapHtml(const ReadTimes& reads, const Texts& texts) {
  constexpr std::size_t kCells = kMapColumns * kMapRows;
  if (reads.map.size() != kCells) {
    return {};
  }
  const auto bad = std::count(reads.map.begin(), reads.map.end(), 'x');
  const std::string label =
      texts.say("map.read_times") + ". " +
      texts.say("map.label", {{"bad", std::to_string(bad)}, {"cells", std::to_string(kCells)}});
  std::string html = "<svg class=\"map\" role=\"img\" aria-label=\"" + htmlEscaped(label) +
                     "\" viewBox=\"0 0 " + std::to_string(kMapColumns * kCell) + " " +
                     std::to_string(kMapRows * kCell) + "\">\n";
  // Cells of one kind that lie side by side are one stretch: a map of a sound disk is short.
  for (std::size_t index = 0, end = 0; index < kCells; index = end) {
    end = index + 1;
    while (end % kMapColumns != 0 && reads.map[end] == reads.map[index]) {
      ++end;
    }
    const std::uint64_t first = firstSectorOf(index, reads.sectors, kCells);
    const std::uint64_t next = firstSectorOf(end, reads.sectors, kCells);
    html +=
        "<rect x=\"" + std::to_string(index % kMapColumns * kCell) + "\" y=\"" +
        std::to_string(index / kMapColumns * kCell) + "\" width=\"" +
        std::to_string((end - index) * kCell - 1) + "\" height=\"9\" class=\"" +
        fillOf(reads.map[index], reads) + "\"><title>" +
        htmlEscaped(texts.say("map.cell", {{"first", std::to_string(first)},
                                           {"last", std::to_string(next == 0 ? 0 : next - 1)}}) +
                    ": " + nameOf(reads.map[index], texts)) +
        "</title></rect>\n";
  }
  html += "</svg><p class=\"soft\">";
  for (const char cell : std::string_view("012345x.")) {
    if (reads.map.find(cell) != std::string::npos) {
      html += "<svg class=\"key\" aria-hidden=\"true\"><rect class=\"" + fillOf(cell, reads) +
              "\"/></svg>" + htmlEscaped(nameOf(cell, texts)) + " &ensp; ";
    }
  }
  return html + "</p>\n";
}

std::string readTimesHtml(const ReadTimes& reads, const Texts& texts) {
  std::string html = "<div class=\"wide\"><table><thead><tr>" + headCell(texts.say("reads.class")) +
                     "<th class=\"gauge\"></th>" + headCell(texts.say("reads.count"), true) +
                     "</tr></thead><tbody>\n";
  for (std::size_t i = 0; i < reads.classes.size(); ++i) {
    const double part = static_cast<double>(reads.classes[i]) * 100 /
                        static_cast<double>(std::max<std::uint64_t>(reads.reads, 1));
    html += "<tr>" + cell(nameOf(static_cast<char>('0' + i), texts)) + "<td class=\"gauge\">" +
            bar(static_cast<unsigned>(part), 0, false) + "</td>" +
            cell(std::to_string(reads.classes[i]), true) + "</tr>\n";
  }
  html += "</tbody></table></div>\n<p class=\"soft\">" + htmlEscaped(readsTitle(reads, texts)) +
          "<br>" + htmlEscaped(texts.say("reads.slowest"));
  for (const SlowRead& read : reads.slowest) {
    html += " " +
            htmlEscaped(texts.say("reads.slow_short",
                                  {{"milliseconds", std::to_string(read.microseconds / 1000)},
                                   {"first", std::to_string(read.first)}})) +
            (&read == &reads.slowest.back() ? "" : ",");
  }
  return html + "</p>\n";
}

std::string messageHtml(const std::string& text) {
  const bool table = text.find('\t') != std::string::npos;
  if (!table) {
    return "<p>" + htmlEscaped(text) + "</p>";
  }
  std::string html = "<table>";
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    html += "<tr>";
    for (std::size_t begin = at; begin <= end;) {
      const std::size_t stop = std::min(text.find('\t', begin), end);
      html += cell(text.substr(begin, stop - begin));
      begin = stop + 1;
    }
    html += "</tr>";
    at = end + 1;
  }
  return html + "</table>";
}

std::string sectionsHtml(const std::vector<ShownSection>& sections) {
  std::string html;
  for (std::size_t first = 0; first < sections.size();) {
    std::size_t end = first;
    std::vector<std::string> labels;
    while (end < sections.size() && sections[end].title == sections[first].title) {
      for (const ShownProperty& row : sections[end++].properties) {
        if (std::find(labels.begin(), labels.end(), row.label) == labels.end()) {
          labels.push_back(row.label);
        }
      }
    }
    html += "<h3>" + htmlEscaped(sections[first].title) + "</h3>\n";
    if (end - first == 1) {
      html += "<dl>";
      for (const ShownProperty& row : sections[first].properties) {
        html += definition(row.label, row.value);
      }
      html += "</dl>\n";
    } else {
      html += "<div class=\"wide\"><table class=\"stack\"><thead><tr>";
      for (const std::string& label : labels) {
        html += headCell(label);
      }
      html += "</tr></thead><tbody>\n";
      for (std::size_t i = first; i < end; ++i) {
        html += "<tr>";
        for (const std::string& label : labels) {
          const auto& properties = sections[i].properties;
          const auto row = std::find_if(properties.begin(), properties.end(),
                                        [&](const ShownProperty& p) { return p.label == label; });
          html += "<td data-label=\"" + htmlEscaped(label) + "\">" +
                  htmlEscaped(row == properties.end() ? std::string() : row->value) + "</td>";
        }
        html += "</tr>\n";
      }
      html += "</tbody></table></div>\n";
    }
    first = end;
  }
  return html;
}

}  // namespace ostria::host
