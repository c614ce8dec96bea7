// A result takes a line or two: run, time, outcome, test, drive. Everything in it may be a device's
// own words.
#include "host/cli/history_text.h"

#include "host/core/report/health_text.h"
#include "host/core/report/plain_text.h"

namespace ostria::host {
namespace {

// Outcomes and verdicts are kept as words that are the ends of keys. A file may hold anything.
std::string said(const char* room, const std::string& word, const Texts& texts) {
  if (word.empty()) {
    return texts.say("compare.absent");
  }
  const std::string key = room + word;
  const std::string text = texts.say(key);
  return harmless(text == key ? word : text);
}

std::string driveText(const std::string& model, const std::string& serial) {
  return harmless(serial.empty() ? model : model + ", " + serial);
}

std::string runText(const KeptRun& run, const TextStyle& style) {
  return style.texts.say(
      run.virtualPc ? "history.virtual_run" : "history.run",
      {{"run", std::to_string(run.number)}, {"time", run.started}, {"machine", run.machine}});
}

}  // namespace

std::string historyText(const std::vector<HistoryRecord>& records, const TextStyle& style) {
  if (records.empty()) {
    return style.texts.say("history.empty") + "\n";
  }
  std::string out;
  std::int64_t run = 0;
  for (const HistoryRecord& record : records) {
    if (record.run != run) {
      KeptRun head;
      head.number = run = record.run;
      head.started = record.result.time;
      head.machine = record.machine;
      head.virtualPc = record.virtualPc;
      out += line(harmless(runText(head, style)), 0, 2, style);
    }
    const std::string word = said("outcome.", record.result.outcome, style.texts);
    out +=
        line(harmless(record.result.time) + "  " + padded(capitals(word), kOutcomeColumns) + " " +
                 harmless(record.result.name) + ", " + driveText(record.model, record.serial),
             2, 4, style);
    if (!record.result.text.empty()) {
      out += line(harmless(record.result.text), 4, 4, style);
    }
  }
  return out;
}

std::string comparisonText(const Comparison& comparison, const TextStyle& style) {
  const Texts& texts = style.texts;
  std::string out = line(harmless(runText(comparison.before, style)), 0, 2, style) +
                    line(harmless(runText(comparison.now, style)), 0, 2, style);
  for (const DriveComparison& drive : comparison.drives) {
    const std::string changes = changesText(drive.changes, texts);
    out +=
        line(texts.say("compare.change", {{"what", driveText(drive.model, drive.serial)},
                                          {"before", said("verdict.", drive.verdictBefore, texts)},
                                          {"now", said("verdict.", drive.verdictNow, texts)}}),
             2, 4, style) +
        (changes.empty() ? "" : line(changes, 4, 4, style));
  }
  for (const ResultComparison& result : comparison.results) {
    out += line(texts.say("compare.change", {{"what", harmless(result.name) + ", " +
                                                          driveText(result.model, result.serial)},
                                             {"before", said("outcome.", result.before, texts)},
                                             {"now", said("outcome.", result.now, texts)}}),
                2, 4, style);
  }
  return out;
}

}  // namespace ostria::host
