// Reasons are keys with numbers; here they become sentences. The key of a module's message among
// the arguments becomes its text, too.
#include "host/core/report/health_text.h"

#include <algorithm>

#include "host/core/model/raw_values.h"

namespace ostria::host {

std::string verdictText(const Health& health, const Texts& texts) {
  const bool asleep =
      health.verdict == Verdict::NotKnown &&
      std::any_of(health.reasons.begin(), health.reasons.end(),
                  [](const HealthReason& reason) { return reason.key == "health.asleep"; });
  return texts.say(std::string("verdict.") + (asleep ? "asleep" : verdictWord(health.verdict)));
}

std::string bareReasonText(const HealthReason& reason, const Texts& texts) {
  Arguments arguments = reason.arguments;
  for (auto& [name, value] : arguments) {
    if (name == "message") {
      value = texts.message(value);
    }
  }
  return texts.say(reason.key, arguments);
}

std::string reasonText(const HealthReason& reason, const Texts& texts) {
  return texts.say(reason.past ? "health.reason_past" : "health.reason",
                   {{"text", bareReasonText(reason, texts)},
                    {"source", texts.say(std::string("source.") + sourceWord(reason.source))}});
}

std::vector<HealthReason> reasonsOf(const Health& health) {
  std::vector<HealthReason> out;
  const bool bad = health.verdict > Verdict::NotKnown;
  for (const HealthReason& reason : health.reasons) {
    if (!bad || reason.verdict > Verdict::NotKnown) {
      out.push_back(reason);
    }
  }
  return out;
}

std::string adviceText(const Health& health, const Texts& texts) {
  std::string out;
  std::vector<std::string> said;
  for (const HealthReason& reason : health.reasons) {
    // A drive that is to be replaced needs no plan to do so.
    if (reason.advice.empty() || std::find(said.begin(), said.end(), reason.advice) != said.end() ||
        (health.verdict == Verdict::Replace && reason.verdict != Verdict::Replace)) {
      continue;
    }
    said.push_back(reason.advice);
  }
  // To back up and replace says all that to replace does.
  if (std::find(said.begin(), said.end(), "advice.back_up") != said.end()) {
    std::erase(said, "advice.replace");
  }
  for (const std::string& key : said) {
    out += (out.empty() ? "" : " ") + texts.say(key);
  }
  return out;
}

std::string raidSetsText(const RaidLocation& location, const Texts& texts) {
  std::string out;
  for (const RaidSet& set : location.sets) {
    out +=
        (out.empty() ? "" : ", ") +
        texts.say("raid.set_level", {{"number", std::to_string(set.number)}, {"level", set.level}});
  }
  return out;
}

std::string numbersText(const DeviceInfo& device, const Texts& texts) {
  std::string out;
  const auto add = [&](const std::string& text) { out += (out.empty() ? "" : ", ") + text; };
  if (device.health.powerOnHours) {
    add(texts.say("health.numbers_hours", {{"hours", groupedNumber(*device.health.powerOnHours)}}));
  }
  if (device.health.wearPercent) {
    add(texts.say("health.numbers_wear",
                  {{"percent", std::to_string(*device.health.wearPercent)}}));
  }
  if (device.temperatureCelsius) {
    add(texts.say("health.numbers_celsius",
                  {{"celsius", std::to_string(*device.temperatureCelsius)}}));
  }
  return out;
}

std::vector<const DeviceInfo*> worstFirst(const Session& session) {
  std::vector<const DeviceInfo*> out;
  for (const DeviceInfo& device : session.devices) {
    out.push_back(&device);
  }
  std::stable_sort(out.begin(), out.end(), [](const DeviceInfo* a, const DeviceInfo* b) {
    return a->health.verdict > b->health.verdict;
  });
  return out;
}

std::string changesText(const std::vector<Change>& changes, const Texts& texts) {
  std::string out;
  for (const Change& change : changes) {
    const bool grows = change.now > change.before;
    const std::string number =
        (grows ? "+" : "-") +
        std::to_string(grows ? change.now - change.before : change.before - change.now);
    out += (out.empty() ? "" : ", ") + texts.say("trend." + change.name, {{"change", number}});
  }
  return out;
}

std::string sinceLastTimeText(const DeviceInfo& device, const Texts& texts) {
  if (!device.sinceLastTime) {
    return {};
  }
  const SinceLastTime& since = *device.sinceLastTime;
  const std::string day = since.time.substr(0, since.time.find('T'));
  return since.changes.empty()
             ? texts.say("since.unchanged", {{"time", day}, {"run", std::to_string(since.run)}})
             : texts.say("since.changed", {{"time", day},
                                           {"run", std::to_string(since.run)},
                                           {"changes", changesText(since.changes, texts)}});
}

}  // namespace ostria::host
