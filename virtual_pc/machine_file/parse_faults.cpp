// Bad sectors and planned faults. Codes of a fault are read in the command set of the drive.
#include <array>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::array<std::pair<const char*, BadSectorKind>, 6> kKinds{{
    {"medium", BadSectorKind::Medium},
    {"interface", BadSectorKind::Interface},
    {"rejected", BadSectorKind::Rejected},
    {"hang", BadSectorKind::Hang},
    {"transient", BadSectorKind::Transient},
    {"slow", BadSectorKind::Slow},
}};

constexpr std::array<std::pair<const char*, WriteEffect>, 3> kEffects{{
    {"heals", WriteEffect::Heals},
    {"stays", WriteEffect::Stays},
    {"fails", WriteEffect::Fails},
}};

/// What a write does to a sector of this kind unless the file says otherwise.
WriteEffect usualEffect(BadSectorKind kind) {
  switch (kind) {
    case BadSectorKind::Medium:
    case BadSectorKind::Transient:
      return WriteEffect::Heals;
    case BadSectorKind::Slow:
      return WriteEffect::Stays;
    case BadSectorKind::Interface:
    case BadSectorKind::Rejected:
    case BadSectorKind::Hang:
      break;
  }
  return WriteEffect::Fails;
}

std::vector<std::uint64_t> parseCodes(ObjectReader& in) {
  std::vector<std::uint64_t> codes = in.numbers("codes", 0, 255);
  if (codes.size() > 3) {
    in.fail("codes", "there are at most 3 of them.");
  }
  return codes;
}

/// The device's own error in the codes of its command set; what the file leaves out stays usual.
FaultAction parseDeviceError(ObjectReader& in, CommandSet commandSet) {
  const std::vector<std::uint64_t> codes = parseCodes(in);
  const auto code = [&codes](std::size_t index, std::uint8_t usual) {
    return index < codes.size() ? static_cast<std::uint8_t>(codes[index]) : usual;
  };
  switch (commandSet) {
    case CommandSet::Ata: {
      const AtaFault usual;
      return AtaFault{code(0, usual.error), code(1, usual.status)};
    }
    case CommandSet::Scsi:
      return SenseFault{code(0, SenseFault().key), code(1, 0), code(2, 0)};
    case CommandSet::Nvme:
      return NvmeFault{code(0, NvmeFault().type), code(1, 0)};
  }
  return AtaFault{};
}

FaultAction parseScsiStatus(ObjectReader& in, CommandSet commandSet) {
  if (commandSet != CommandSet::Scsi) {
    in.fail("action", "only a SCSI device ends a command with a SCSI status.");
  }
  in.require("status");
  ScsiStatusFault out;
  in.into("status", out.status);
  std::vector<std::uint64_t> codes = parseCodes(in);
  if (!codes.empty()) {
    codes.resize(3);
    out.sense = SenseFault{static_cast<std::uint8_t>(codes[0]), static_cast<std::uint8_t>(codes[1]),
                           static_cast<std::uint8_t>(codes[2])};
    out.descriptor = in.flag("descriptor", false);
  }
  return out;
}

/// A reader of an action that has no keys of its own.
template <typename Fault>
FaultAction parsePlain(ObjectReader& /*in*/, CommandSet /*commandSet*/) {
  return Fault{};
}

FaultAction parseTransport(ObjectReader& in, CommandSet /*commandSet*/) {
  TransportFault out;
  in.into("error", out.error, 1, 65535);
  return out;
}

FaultAction parseShort(ObjectReader& in, CommandSet /*commandSet*/) {
  ShortFault out;
  in.into("bytes", out.bytes);
  return out;
}

FaultAction parseSlow(ObjectReader& in, CommandSet /*commandSet*/) {
  SlowFault out;
  in.into("milliseconds", out.milliseconds, 0, 86'400'000);
  return out;
}

using ActionParser = FaultAction (*)(ObjectReader& in, CommandSet commandSet);
constexpr std::array<std::pair<const char*, ActionParser>, 8> kActions{{
    {"device_error", parseDeviceError},
    {"scsi_status", parseScsiStatus},
    {"transport", parseTransport},
    {"vanish", parsePlain<VanishFault>},
    {"short", parseShort},
    {"garbage", parsePlain<GarbageFault>},
    {"hang", parsePlain<HangFault>},
    {"slow", parseSlow},
}};

/// Whether an action ends the command itself, and so can say how long that takes.
bool reportsError(const FaultAction& action) {
  return std::holds_alternative<AtaFault>(action) || std::holds_alternative<SenseFault>(action) ||
         std::holds_alternative<ScsiStatusFault>(action) ||
         std::holds_alternative<NvmeFault>(action) ||
         std::holds_alternative<TransportFault>(action);
}

constexpr std::array<std::pair<const char*, bool>, 2> kQueues{{{"admin", true}, {"io", false}}};

}  // namespace

std::vector<BadSectors> parseBadSectors(ObjectReader& in, const std::string& key,
                                        std::uint64_t driveSectors) {
  std::vector<BadSectors> out;
  for (ObjectReader& row : in.objects(key)) {
    BadSectors run;
    row.require("lba");
    row.into("lba", run.lba, 0, driveSectors - 1);
    row.into("count", run.count, 1, std::min<std::uint64_t>(driveSectors - run.lba, 1'000'000));
    run.kind = row.choice<BadSectorKind>("kind", BadSectorKind::Medium, kKinds);
    run.onWrite = row.choice<WriteEffect>("on_write", usualEffect(run.kind), kEffects);
    if (run.kind == BadSectorKind::Transient) {
      row.into("failures", run.failures, 1);
    }
    if (run.kind == BadSectorKind::Slow) {
      run.delayMicroseconds = row.number("delay_milliseconds", 2000, 0, 86'400'000) * 1000;
    }
    row.finish();
    out.push_back(run);
  }
  return out;
}

std::vector<FaultRule> parseFaults(ObjectReader& in, const std::string& key,
                                   CommandSet commandSet) {
  std::vector<FaultRule> out;
  for (ObjectReader& row : in.objects(key)) {
    FaultRule rule;
    row.require("action");
    const auto parseAction = row.choice<ActionParser>("action", parseDeviceError, kActions);
    if (const auto command = row.optionalNumber("command", 0, 255)) {
      rule.command = static_cast<std::uint8_t>(*command);
    }
    if (const auto detail = row.optionalNumber("detail", 0, 255)) {
      rule.detail = static_cast<std::uint8_t>(*detail);
    }
    row.into("occurrence", rule.occurrence, 1);
    row.into("times", rule.times);
    rule.action = parseAction(row, commandSet);
    if (reportsError(rule.action)) {
      row.into("milliseconds", rule.milliseconds, 0, 86'400'000);
    }
    if (commandSet == CommandSet::Nvme && row.has("queue")) {
      rule.adminQueue = row.choice<bool>("queue", false, kQueues);
    }
    row.finish();
    out.push_back(rule);
  }
  return out;
}

}  // namespace ostria::virtual_pc
