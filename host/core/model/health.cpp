// Judges a drive. Each piece of evidence gives reasons of its own; the worst of them is the
// verdict, and a drive of which nothing was seen is not known rather than good.
#include "host/core/model/health.h"

#include <algorithm>
#include <array>

#include "host/core/model/health_rules.h"
#include "host/core/model/raw_values.h"

namespace ostria::host {
namespace {

const SmartRow* rowOf(const std::vector<SmartRow>& rows, std::uint32_t id) {
  const auto found = std::find_if(rows.begin(), rows.end(), [id](const SmartRow& row) {
    return row.number(&SmartRow::id) == id;
  });
  return found == rows.end() ? nullptr : &*found;
}

bool isTemperature(std::optional<std::uint64_t> id) {
  return std::find(std::begin(kTemperatureAttributes), std::end(kTemperatureAttributes), id) !=
         std::end(kTemperatureAttributes);
}

class Judge {
 public:
  explicit Judge(const HealthEvidence& evidence) : evidence_(evidence) {}

  Health make() {
    access();
    tests();
    predictions();
    if (evidence_.smart == DataState::Value && !evidence_.rows.empty()) {
      smart();
    }
    unknown();
    std::stable_sort(
        health_.reasons.begin(), health_.reasons.end(),
        [](const HealthReason& a, const HealthReason& b) { return a.verdict > b.verdict; });
    // What was not seen is no stain on a drive of which something was.
    const bool bad =
        !health_.reasons.empty() && health_.reasons.front().verdict > Verdict::NotKnown;
    if (bad) {
      health_.verdict = health_.reasons.front().verdict;
    } else {
      // A drive that has SMART and does not give it away may say anything there.
      health_.verdict =
          seen_ && evidence_.smart != DataState::Unreadable ? Verdict::Good : Verdict::NotKnown;
    }
    return std::move(health_);
  }

 private:
  void add(Verdict verdict, HealthSource source, const char* key, Arguments arguments = {},
           const char* advice = "", bool past = false) {
    health_.reasons.push_back({verdict, source, key, std::move(arguments), advice, past});
  }

  void access() {
    if (evidence_.asked && !evidence_.answers) {
      add(Verdict::NotAnswering, HealthSource::Device,
          evidence_.identified ? "health.no_answer" : "health.not_identified", {},
          "advice.connection");
    }
    const std::string& state = evidence_.controllerState;
    if (state == "dead") {
      add(Verdict::NotAnswering, HealthSource::Device, "health.controller_dead", {},
          "advice.connection");
    } else if (!state.empty() && state != "live") {
      add(Verdict::Watch, HealthSource::Device, "health.controller_state", {{"state", state}});
    }
  }

  void tests() {
    std::size_t passed = 0;
    for (const TestEvidence& test : evidence_.tests) {
      if (test.lost) {
        add(Verdict::NotAnswering, HealthSource::Test, "health.lost", {{"test", test.name}},
            "advice.connection");
      } else if (test.badSectors > 0) {
        add(Verdict::Replace, HealthSource::Test, "health.bad_sectors",
            {{"test", test.name}, {"count", std::to_string(test.badSectors)}}, "advice.back_up");
      } else if (test.outcome == ExitCode::Failed) {
        add(Verdict::Replace, HealthSource::Test, "health.test_failed", {{"test", test.name}},
            "advice.back_up");
      } else if (test.gaps) {
        // A cable, a reservation, a controller, or the drive itself: nobody knows yet.
        add(Verdict::Watch, HealthSource::Test, "health.gaps", {{"test", test.name}},
            "advice.connection");
      } else if (test.outcome == ExitCode::Warning) {
        add(Verdict::Watch, HealthSource::Test, "health.test_warning", {{"test", test.name}});
      } else if (test.outcome == ExitCode::Passed && !messages(test)) {
        ++passed;
      }
    }
    if (passed > 0) {
      seen_ = true;
      add(Verdict::Good, HealthSource::Test,
          passed == 1 ? "health.test_passed" : "health.tests_passed",
          {{"count", std::to_string(passed)}});
    }
  }

  bool messages(const TestEvidence& test) {
    bool any = false;
    for (const MessageRule& rule : kMessageRules) {
      if (std::find(test.messageKeys.begin(), test.messageKeys.end(), rule.key) !=
          test.messageKeys.end()) {
        add(rule.verdict, HealthSource::Test, "health.test_says",
            {{"test", test.name}, {"message", std::string(rule.key)}},
            rule.verdict == Verdict::Replace ? "advice.replace" : "advice.plan");
        any = true;
      }
    }
    return any;
  }

  void predictions() {
    const auto say = [&](const std::optional<bool>& fails, HealthSource source, const char* bad,
                         const char* good) {
      if (!fails) {
        return;
      }
      seen_ = true;
      add(*fails ? Verdict::Replace : Verdict::Good, source, *fails ? bad : good, {},
          *fails ? "advice.back_up" : "");
    };
    say(evidence_.predictsFailure, HealthSource::DrivePrediction, "health.predicts",
        "health.status_good");
    say(evidence_.systemSeesFailure, HealthSource::SystemPrediction, "health.system_predicts",
        "health.system_good");
    if (evidence_.failedSelfTest) {
      add(Verdict::Replace, HealthSource::SelfTestLog, "health.self_test",
          {{"result", *evidence_.failedSelfTest}}, "advice.back_up");
    }
  }

  void smart() {
    const std::size_t before = health_.reasons.size();
    const bool ata = !evidence_.rows.front().threshold.empty();
    if (ata) {
      attributes();
    } else {
      nvme();
    }
    seen_ = true;
    wear();
    if (health_.reasons.size() == before) {
      add(Verdict::Good, ata ? HealthSource::SmartAttribute : HealthSource::NvmeLog,
          "health.smart_good");
    }
  }

  void attributes() {
    for (const SmartRow& row : evidence_.rows) {
      limit(row);
    }
    counts(kAtaCounts, HealthSource::SmartAttribute);
    if (const SmartRow* hours = rowOf(evidence_.rows, kPowerOnHoursAttribute)) {
      health_.powerOnHours = countOf(*hours);
    }
    for (const LifeAttribute& life : kLifeAttributes) {
      const SmartRow* row = evidence_.solidState ? rowOf(evidence_.rows, life.id) : nullptr;
      const auto value = row != nullptr ? row->number(&SmartRow::value) : std::nullopt;
      if (!value || *value > 100 || *value < static_cast<std::uint64_t>(life.lowest)) {
        continue;
      }
      health_.wearPercent = *value <= static_cast<std::uint64_t>(life.usedUp) ? 100 : 100 - *value;
      break;
    }
  }

  void limit(const SmartRow& row) {
    const bool temperature = isTemperature(row.number(&SmartRow::id));
    const Arguments arguments = {
        {"name", row.name}, {"value", row.value}, {"worst", row.worst}, {"limit", row.threshold}};
    if (row.isBelowThreshold()) {
      add(temperature ? Verdict::Watch : Verdict::Replace, HealthSource::SmartAttribute,
          "health.below_limit", arguments, temperature ? "advice.cooling" : "advice.back_up");
    } else if (row.wasBelowThreshold()) {
      add(Verdict::Watch, HealthSource::SmartAttribute, "health.was_below_limit", arguments,
          temperature ? "advice.cooling" : "", true);
    }
  }

  template <std::size_t Size>
  void counts(const CountRule (&rules)[Size], HealthSource source) {
    for (const CountRule& rule : rules) {
      const SmartRow* row = rowOf(evidence_.rows, rule.id);
      const auto count = row != nullptr ? countOf(*row) : std::nullopt;
      if (count && *count > 0) {
        add(Verdict::Watch, source, rule.key, {{"count", std::to_string(*count)}}, rule.advice,
            rule.past);
      }
    }
  }

  std::optional<std::uint64_t> field(std::uint32_t offset) const {
    const SmartRow* row = rowOf(evidence_.rows, offset);
    return row != nullptr ? countOf(*row) : std::nullopt;
  }

  void nvme() {
    const std::uint64_t warning = field(kNvmeCriticalWarning).value_or(0);
    for (const WarningBit& bit : kWarningBits) {
      if ((warning >> bit.bit & 1u) != 0) {
        add(bit.verdict, HealthSource::NvmeLog, bit.key, {}, bit.advice);
      }
    }
    if ((warning & ~std::uint64_t{kKnownWarningBits}) != 0) {
      add(Verdict::Replace, HealthSource::NvmeLog, "health.warning_unknown",
          {{"value", std::to_string(warning)}});
    }
    health_.sparePercent = field(kNvmeSpare);
    const auto threshold = field(kNvmeSpareThreshold);
    if (health_.sparePercent && threshold && *health_.sparePercent < *threshold) {
      add(Verdict::Replace, HealthSource::NvmeLog, "health.spare",
          {{"spare", std::to_string(*health_.sparePercent)}, {"limit", std::to_string(*threshold)}},
          "advice.replace");
    }
    counts(kNvmeCounts, HealthSource::NvmeLog);
    health_.wearPercent = field(kNvmePercentageUsed);
    health_.powerOnHours = field(kNvmePowerOnHours);
  }

  void wear() {
    if (!health_.wearPercent || *health_.wearPercent < kWatchWearPercent) {
      return;
    }
    const bool over = *health_.wearPercent >= kReplaceWearPercent;
    const bool ata = !evidence_.rows.front().threshold.empty();
    add(over ? Verdict::Replace : Verdict::Watch,
        ata ? HealthSource::SmartAttribute : HealthSource::NvmeLog, "health.wear",
        {{"percent", std::to_string(*health_.wearPercent)}},
        over ? "advice.replace" : "advice.plan");
  }

  void unknown() {
    static constexpr std::array<const char*, 4> kKeys = {"health.no_rows", "health.not_supported",
                                                         "health.unreadable", "health.asleep"};
    const bool rows = evidence_.smart == DataState::Value && !evidence_.rows.empty();
    const bool silent = evidence_.asked && !evidence_.answers;
    // A drive without attributes whose own status was read has been asked what it can be asked.
    if (!rows && !silent && !(evidence_.smart == DataState::NotSupported && seen_)) {
      add(Verdict::NotKnown, HealthSource::Device,
          kKeys[static_cast<std::size_t>(evidence_.smart)]);
    }
  }

  const HealthEvidence& evidence_;
  Health health_;
  bool seen_ = false;
};

}  // namespace

Verdict verdictOf(const SmartRow& row, const std::vector<SmartRow>& rows) {
  HealthEvidence alone;
  alone.solidState = true;
  alone.smart = DataState::Value;
  alone.rows = {row};
  // Spare space means nothing without its threshold.
  if (row.threshold.empty() && row.number(&SmartRow::id) == kNvmeSpare) {
    if (const SmartRow* threshold = rowOf(rows, kNvmeSpareThreshold)) {
      alone.rows.push_back(*threshold);
    }
  }
  return judge(alone).verdict;
}

Health judge(const HealthEvidence& evidence) { return Judge(evidence).make(); }

ExitCode exitCodeOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Watch:
      return ExitCode::Warning;
    case Verdict::Replace:
    case Verdict::NotAnswering:
      return ExitCode::Failed;
    default:
      return ExitCode::Passed;
  }
}

const char* verdictWord(Verdict verdict) {
  static constexpr std::array<const char*, 5> kWords = {"good", "not_known", "watch", "replace",
                                                        "not_answering"};
  return kWords[static_cast<std::size_t>(verdict)];
}

const char* sourceWord(HealthSource source) {
  static constexpr std::array<const char*, 7> kWords = {"device",           "test",
                                                        "smart_attribute",  "nvme_log",
                                                        "drive_prediction", "system_prediction",
                                                        "self_test_log"};
  return kWords[static_cast<std::size_t>(source)];
}

const char* stateWord(DataState state) {
  static constexpr std::array<const char*, 4> kWords = {"value", "not_supported", "unreadable",
                                                        "asleep"};
  return kWords[static_cast<std::size_t>(state)];
}

}  // namespace ostria::host
