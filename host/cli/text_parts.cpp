// Laid out by columns where the terminal is wide enough, one below the other where it is not. What
// a device calls itself must not steer a terminal.
#include "host/cli/text_parts.h"

#include <algorithm>
#include <array>
#include <map>

#include "host/core/report/health_text.h"
#include "host/core/report/plain_text.h"
#include "host/core/texts/clean_text.h"

namespace ostria::host {

Colour colourOf(ExitCode outcome) {
  switch (outcome) {
    case ExitCode::Passed:
      return Colour::Green;
    case ExitCode::Failed:
      return Colour::Red;
    case ExitCode::NotPerformed:
      return Colour::Grey;
    default:
      return Colour::Yellow;
  }
}

Colour colourOf(Verdict verdict) {
  return verdict == Verdict::NotKnown ? Colour::Grey : colourOf(exitCodeOf(verdict));
}

std::string capitals(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return text;
}

std::string connectionText(const DeviceInfo& device, const Texts& texts) {
  return texts.say("connection." + device.connection);
}

std::string line(const std::string& text, std::size_t indent, std::size_t hanging,
                 const TextStyle& style) {
  return wrapped(std::string(indent, ' ') + cleanText(text), style.width, hanging) + "\n";
}

std::string outcomeLine(const std::string& outcome, Colour colour, const std::string& text,
                        const TextStyle& style) {
  const std::string word = padded(capitals(outcome), kOutcomeColumns);
  const std::string plain = line(word + " " + text, 2, kOutcomeColumns + 3, style);
  return "  " + coloured(word, colour, style.colour) + plain.substr(2 + word.size());
}

std::string outcomeLine(ExitCode outcome, const std::string& text, const TextStyle& style) {
  return outcomeLine(style.texts.say(outcomeKey(outcome)), colourOf(outcome), text, style);
}

std::string detailLine(const std::string& text, const TextStyle& style) {
  const std::size_t indent = style.width != 0 && style.width < 60 ? 4 : kOutcomeColumns + 3;
  std::string out;
  std::size_t at = 0;
  // Tables of the module come as rows of cells.
  while (at <= text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string row;
    for (std::size_t cell = at; cell <= end;) {
      const std::size_t cellEnd = std::min(text.find('\t', cell), end);
      const std::string piece = harmless(text.substr(cell, cellEnd - cell));
      row += cellEnd < end ? padded(piece, 12) + " " : piece;
      cell = cellEnd + 1;
    }
    out += line(row, indent, indent, style);
    at = end + 1;
  }
  return out;
}

std::string propertyLine(const std::string& label, const std::string& value, std::size_t indent,
                         std::size_t columnsOfLabel, const TextStyle& style) {
  return line(padded(harmless(label) + ":", columnsOfLabel) + " " + harmless(value), indent,
              indent + 2, style);
}

// A row that is a reason for a verdict has its colour.
static std::string marked(const std::string& text, const SmartRow& row,
                          const std::vector<SmartRow>& rows, const TextStyle& style) {
  const Verdict verdict = verdictOf(row, rows);
  return verdict > Verdict::NotKnown ? coloured(text, colourOf(verdict), style.colour) : text;
}

std::string smartTable(const std::vector<SmartRow>& rows, const TextStyle& style) {
  const bool ata = std::any_of(rows.begin(), rows.end(),
                               [](const SmartRow& row) { return !row.threshold.empty(); });
  const bool narrow = style.width != 0 && style.width < 70;
  std::string out;
  if (ata && !narrow) {
    out += "    " + padded(style.texts.say("smart.id"), 4) +
           padded(style.texts.say("smart.attribute"), 36) +
           padded(style.texts.say("smart.value"), 6) + padded(style.texts.say("smart.worst"), 6) +
           padded(style.texts.say("smart.limit"), 6) + style.texts.say("smart.data") + "\n";
  }
  for (const SmartRow& row : rows) {
    const std::string name = harmless(row.name);
    if (!ata) {
      const std::string field = propertyLine(row.name, row.readable(), 4, narrow ? 0 : 40, style);
      out += marked(field, row, rows, style);
      continue;
    }
    std::string text =
        narrow ? style.texts.say("smart.narrow_row", {{"id", row.id},
                                                      {"name", name},
                                                      {"value", row.value},
                                                      {"worst", row.worst},
                                                      {"limit", row.threshold},
                                                      {"data", harmless(row.readable())}})
               : padded(row.id, 4) + padded(fitted(name, 35), 36) + padded(row.value, 6) +
                     padded(row.worst, 6) + padded(row.threshold, 6) + harmless(row.readable());
    if (row.isBelowThreshold()) {
      text += " " + style.texts.say("smart.below_limit");
    } else if (row.wasBelowThreshold()) {
      text += " " + style.texts.say("smart.was_below_limit");
    }
    out += marked(line(text, 4, 6, style), row, rows, style);
  }
  return out;
}

static std::string heading(const std::string& text, const TextStyle& style) {
  return coloured(wrapped(text, style.width, 2), Colour::Bold, style.colour) + "\n";
}

std::string nodeText(const DeviceInfo& device, const Texts& texts) {
  if (!device.names.node.empty()) {
    return device.names.node;
  }
  std::string text = device.raid.port.empty() ? "-" : device.raid.port;
  for (const RaidSet& set : device.raid.sets) {
    text += ", " + texts.say("raid.set", {{"number", std::to_string(set.number)}});
  }
  return text;
}

// Long names, and few of them: a column would be as wide as a line.
static std::string controllersText(const std::vector<DeviceInfo>& devices, const TextStyle& style) {
  std::map<std::string, std::string> behind;
  for (const DeviceInfo& device : devices) {
    if (!device.raid.controller.empty()) {
      std::string& numbers = behind[device.raid.controller];
      numbers += (numbers.empty() ? "" : ", ") + std::to_string(device.index);
    }
  }
  std::string out;
  for (const auto& [controller, numbers] : behind) {
    out += line(style.texts.say("list.behind", {{"controller", controller}, {"devices", numbers}}),
                0, 2, style);
  }
  return out;
}

std::string listText(const std::vector<DeviceInfo>& devices, const TextStyle& style) {
  std::vector<std::array<std::string, 8>> rows;
  rows.push_back({style.texts.say("list.number"), style.texts.say("list.node"),
                  style.texts.say("list.device"), style.texts.say("list.serial"),
                  style.texts.say("list.connection"), style.texts.say("list.bus"),
                  style.texts.say("list.protocol"), style.texts.say("list.health")});
  for (const DeviceInfo& device : devices) {
    rows.push_back({std::to_string(device.index), harmless(nodeText(device, style.texts)),
                    harmless(device.name.empty() ? device.id : device.name),
                    harmless(device.serial.empty() ? "-" : device.serial),
                    connectionText(device, style.texts), device.bus,
                    harmless(device.protocol.empty() ? "-" : device.protocol),
                    verdictText(device.health, style.texts)});
  }
  std::array<std::size_t, 8> widths{};
  for (const auto& row : rows) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      widths[c] = std::max(widths[c], columns(row[c]));
    }
  }
  std::size_t total = 0;
  for (const std::size_t width : widths) {
    total += width + 2;
  }
  std::string out;
  if (style.width != 0 && total - 2 > style.width) {
    for (std::size_t r = 1; r < rows.size(); ++r) {
      const auto& row = rows[r];
      out += line(row[0] + "  " + row[2], 0, 3, style);
      out +=
          line(row[1] + ", " + row[3] + ", " + row[4] + ", " + row[5] + ", " + row[6], 3, 3, style);
      out += coloured(line(row[7], 3, 3, style), colourOf(devices[r - 1].health.verdict),
                      style.colour);
    }
    return out + controllersText(devices, style);
  }
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::string text;
    for (std::size_t c = 0; c + 1 < rows[r].size(); ++c) {
      text += padded(rows[r][c], widths[c] + 2);
    }
    if (r == 0) {
      out += coloured(text + rows[r].back(), Colour::Bold, style.colour) + "\n";
    } else {
      out += text +
             coloured(rows[r].back(), colourOf(devices[r - 1].health.verdict), style.colour) + "\n";
    }
  }
  return out + controllersText(devices, style);
}

std::string deviceHeading(const DeviceInfo& device, const TextStyle& style) {
  return heading(
      style.texts.say("device.title",
                      {{"device", std::to_string(device.index)},
                       {"name", harmless(device.name.empty() ? device.id : device.name)}}),
      style);
}

std::string healthText(const DeviceInfo& device, const std::string& title, const TextStyle& style) {
  std::string out = outcomeLine(verdictText(device.health, style.texts),
                                colourOf(device.health.verdict), harmless(title), style);
  for (const HealthReason& reason : reasonsOf(device.health)) {
    out += detailLine(reasonText(reason, style.texts), style);
  }
  for (const std::string& text :
       {sinceLastTimeText(device, style.texts), adviceText(device.health, style.texts)}) {
    out += text.empty() ? "" : detailLine(text, style);
  }
  return out;
}

static const char* smartStateKey(DataState state) {
  switch (state) {
    case DataState::NotSupported:
      return "smart.not_supported";
    case DataState::Unreadable:
      return "smart.unreadable";
    case DataState::Asleep:
      return "smart.asleep";
    case DataState::Value:
      break;
  }
  return "smart.no_attributes";
}

std::string detailsText(const DeviceInfo& device, const TextStyle& style) {
  std::size_t width = 0;
  for (const ShownProperty& row : device.properties) {
    width = std::max(width, columns(row.label) + 1);
  }
  if (style.width != 0 && style.width < 60) {
    width = 0;
  }
  std::string out = deviceHeading(device, style);
  const std::string numbers = numbersText(device, style.texts);
  out +=
      healthText(device,
                 numbers.empty() ? style.texts.say("health.title")
                                 : style.texts.say("health.title_numbers", {{"numbers", numbers}}),
                 style);
  out += propertyLine(style.texts.say("list.connection"),
                      connectionText(device, style.texts) + ", " + device.bus, 2, width, style);
  const auto name = [&](const char* key, const std::string& value) {
    if (!value.empty()) {
      out += propertyLine(style.texts.say(key), value, 2, width, style);
    }
  };
  name("list.node", device.names.node);
  name("names.wwn", device.names.wwn);
  name("raid.controller", device.raid.controller);
  name("raid.port", device.raid.port);
  name("raid.sets", raidSetsText(device.raid, style.texts));
  for (const ShownProperty& row : device.properties) {
    if (!row.value.empty()) {
      out += propertyLine(row.label, row.value, 2, width, style);
    }
  }
  for (const ShownSection& section : device.sections) {
    out += line(section.title, 2, 2, style);
    for (const ShownProperty& row : section.properties) {
      if (row.value.empty()) {
        continue;
      }
      out += propertyLine(row.label, row.value, 4, width == 0 ? 0 : width - 2, style);
    }
  }
  if (!device.evidence.rows.empty()) {
    out += "  " + style.texts.say("smart.title") + "\n" + smartTable(device.evidence.rows, style);
  } else {
    out += "  " + style.texts.say(smartStateKey(device.evidence.smart)) + "\n";
  }
  if (!device.logPage.empty()) {
    out += "  " + style.texts.say("smart.vendor_log") + "\n" + smartTable(device.logPage, style);
  }
  out += "  " + style.texts.say("device.tests") + "\n";
  for (const NamedTest& test : device.applicableTests) {
    out +=
        line(style.texts.say(test.id.category == 2 ? "device.extended_test" : "device.quick_test",
                             {{"test", test.name}}),
             4, 6, style);
  }
  return out;
}

}  // namespace ostria::host
