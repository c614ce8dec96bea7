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

constexpr std::array<std::pair<const char*, FaultAction>, 7> kActions{{
    {"device_error", FaultAction::DeviceError},
    {"transport", FaultAction::Transport},
    {"vanish", FaultAction::Vanish},
    {"short", FaultAction::Short},
    {"garbage", FaultAction::Garbage},
    {"hang", FaultAction::Hang},
    {"slow", FaultAction::Slow},
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

/// The numbers that go with an action, under names of their own.
void parseNumbers(ObjectReader& in, FaultRule* rule) {
  switch (rule->action) {
    case FaultAction::DeviceError: {
      const auto codes = in.numbers("codes", 0, 255);
      if (codes.size() > 3) {
        in.fail("codes", "there are at most 3 of them.");
      }
      rule->first = codes.empty() ? 4 : static_cast<std::uint32_t>(codes[0]);
      if (codes.size() > 1) {
        rule->second = static_cast<std::uint32_t>(codes[1]);
      }
      if (codes.size() > 2) {
        rule->third = static_cast<std::uint32_t>(codes[2]);
      }
      break;
    }
    case FaultAction::Transport:
      rule->first = 1117;
      in.into("error", rule->first, 1, 65535);
      break;
    case FaultAction::Short:
      in.into("bytes", rule->first);
      break;
    case FaultAction::Slow:
      rule->first = 1000;
      in.into("milliseconds", rule->first, 0, 86'400'000);
      break;
    case FaultAction::Vanish:
    case FaultAction::Garbage:
    case FaultAction::Hang:
      break;
  }
}

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

std::vector<FaultRule> parseFaults(ObjectReader& in, const std::string& key) {
  std::vector<FaultRule> out;
  for (ObjectReader& row : in.objects(key)) {
    FaultRule rule;
    row.require("action");
    rule.action = row.choice<FaultAction>("action", FaultAction::DeviceError, kActions);
    if (const auto command = row.optionalNumber("command", 0, 255)) {
      rule.command = static_cast<std::uint8_t>(*command);
    }
    if (const auto detail = row.optionalNumber("detail", 0, 255)) {
      rule.detail = static_cast<std::uint8_t>(*detail);
    }
    row.into("occurrence", rule.occurrence, 1);
    row.into("times", rule.times);
    parseNumbers(row, &rule);
    row.finish();
    out.push_back(rule);
  }
  return out;
}

}  // namespace ostria::virtual_pc
