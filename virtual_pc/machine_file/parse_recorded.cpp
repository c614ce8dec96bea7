// The `recorded` object: pages of a real drive as hex text. A file may be anybody's, so each page,
// and how many there are, has a bound.
#include <algorithm>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::size_t kMostAnswers = 512;  // of a command set
constexpr std::size_t kMostBytes = 65536;  // of an answer
constexpr std::size_t kMostSense = 252;

constexpr std::uint8_t kIdentifyDevice = 0xEC;
constexpr std::uint8_t kReadLogExt = 0x2F;
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kCheckPowerMode = 0xE5;

// Commands that ask about a device. Answers to others would be data of the medium, or would stand
// for something that the drive has not done.
constexpr std::uint8_t kAtaCommands[] = {kIdentifyDevice, kReadLogExt, kSmart, kCheckPowerMode};
constexpr std::uint8_t kSmartQuestions[] = {0xD0, 0xD1, 0xD5, 0xDA};
constexpr std::uint8_t kScsiCommands[] = {0x03, 0x12, 0x1A, 0x25, 0x4D, 0x5A, 0x9E};
constexpr std::uint8_t kNvmeCommands[] = {0x02, 0x06};

template <typename Codes>
bool holds(const Codes& codes, std::uint8_t code) {
  return std::ranges::find(codes, code) != std::end(codes);
}

int digitOf(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char small = static_cast<char>(c | 0x20);
  return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

std::vector<std::uint8_t> bytesOf(const ObjectReader& in, const std::string& key,
                                  const std::string& text) {
  std::vector<std::uint8_t> out;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = digitOf(text[i]);
    const int low = i + 1 < text.size() ? digitOf(text[i + 1]) : -1;
    if (high < 0 || low < 0) {
      in.fail(key, "pairs of hexadecimal digits are needed.");
    }
    out.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  return out;
}

/// A page stands in lines; their length is the writer's choice.
RecordedData parseData(ObjectReader& in) {
  RecordedData out;
  for (const std::string& line : in.texts("data", 2 * kMostBytes)) {
    const std::vector<std::uint8_t> bytes = bytesOf(in, "data", line);
    out.head.insert(out.head.end(), bytes.begin(), bytes.end());
    if (out.head.size() > kMostBytes) {
      in.fail("data", "an answer has at most " + std::to_string(kMostBytes) + " bytes.");
    }
  }
  out.bytes =
      static_cast<std::uint32_t>(in.number("bytes", out.head.size(), out.head.size(), kMostBytes));
  return out;
}

std::uint32_t parseTransport(ObjectReader& in) {
  return static_cast<std::uint32_t>(in.optionalNumber("transport_error", 1, 65535).value_or(0));
}

RecordedAta parseAta(ObjectReader& in) {
  RecordedAta out;
  in.require("command");
  in.into("command", out.command);
  in.into("features", out.features);
  if (!holds(kAtaCommands, out.command) ||
      (out.command == kSmart && !holds(kSmartQuestions, out.features))) {
    in.fail("command", "this command does not ask about a drive.");
  }
  in.into("lba_low", out.lbaLow);
  in.into("lba_mid", out.lbaMid);
  out.data = parseData(in);
  in.into("error", out.error);
  in.into("status", out.status);
  in.into("count", out.count);
  if (const auto signature = in.optionalNumber("signature", 0, 0xFFFF)) {
    out.signature = static_cast<std::uint16_t>(*signature);
  }
  out.transportError = parseTransport(in);
  in.finish();
  return out;
}

RecordedScsi parseScsi(ObjectReader& in) {
  RecordedScsi out;
  in.require("cdb");
  const std::vector<std::uint8_t> cdb = bytesOf(in, "cdb", in.text("cdb", "", 32));
  if (cdb.empty() || !holds(kScsiCommands, cdb[0])) {
    in.fail("cdb", "this command does not ask about a drive.");
  }
  std::ranges::copy(cdb, out.cdb.begin());
  out.data = parseData(in);
  in.into("status", out.status);
  out.sense = bytesOf(in, "sense", in.text("sense", "", 2 * kMostSense));
  out.transportError = parseTransport(in);
  in.finish();
  return out;
}

RecordedNvme parseNvmeAnswer(ObjectReader& in) {
  RecordedNvme out;
  in.require("opcode");
  in.require("select");
  in.into("opcode", out.opcode);
  if (!holds(kNvmeCommands, out.opcode)) {
    in.fail("opcode", "this command does not ask about a drive.");
  }
  in.into("select", out.select);
  in.into("namespace", out.namespaceId);
  in.into("identifier", out.identifier);
  out.data = parseData(in);
  in.into("status_type", out.statusType, 0, 7);
  in.into("status_code", out.statusCode);
  in.finish();
  return out;
}

template <typename Answer>
std::vector<Answer> parseAnswers(ObjectReader& in, const std::string& key,
                                 Answer (*parse)(ObjectReader& in)) {
  std::vector<Answer> out;
  for (ObjectReader& row : in.objects(key)) {
    out.push_back(parse(row));
    if (out.size() > kMostAnswers) {
      in.fail(key, "there is room for " + std::to_string(kMostAnswers) + ".");
    }
  }
  return out;
}

}  // namespace

RecordedAnswers parseRecorded(ObjectReader& in) {
  RecordedAnswers out;
  out.ata = parseAnswers(in, "ata", parseAta);
  out.scsi = parseAnswers(in, "scsi", parseScsi);
  out.nvme = parseAnswers(in, "nvme", parseNvmeAnswer);
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
