// The module knows what a test takes, and the texts what it is. How long it lasts and whether it
// writes nobody tells a host, so the table here does.
#include "host/cli/explain.h"

#include <algorithm>

#include "host/cli/chosen_tests.h"
#include "host/core/report/plain_text.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

namespace ids = storage::ids;

constexpr std::size_t kWidth = 78;

struct Duration {
  storage::Identifier id;
  const char* key;
};

// What is not listed lasts as long as a few reads.
const Duration kDurations[] = {
    {ids::kTargetedRead, "lasts.minute"},        {ids::kQuickRandomSeek, "lasts.minute"},
    {ids::kQuickFunnelSeek, "lasts.minute"},     {ids::kShortSelfTest, "lasts.short_self_test"},
    {ids::kDriveSelfTest, "lasts.routine"},      {ids::kDefaultSelfTest, "lasts.routine"},
    {ids::kDeviceRead, "lasts.amount"},          {ids::kExtendedRandomSeek, "lasts.minutes"},
    {ids::kExtendedFunnelSeek, "lasts.minutes"}, {ids::kExtendedSelfTest, "lasts.whole"},
    {ids::kDeviceWrite, "lasts.free_space"},     {ids::kFullDiskScan, "lasts.whole"},
    {ids::kLinearRead, "lasts.range"},           {ids::kConveyanceSelfTest, "lasts.minutes"},
};

// Tests that no letter chooses.
struct Enabling {
  storage::Identifier id;
  const char* setting;
};
const Enabling kEnabling[] = {
    {ids::kSmartHealth, "ENABLE_SMART_HEALTH_TEST"},
    {ids::kNvmeHealthPrediction, "ENABLE_NVME_HEALTH_PREDICTION_TEST"},
};

struct Setting {
  const char* key;
  const char* text;
};
constexpr Setting kSettings[] = {
    {"ENABLE_SMART_HEALTH_TEST", "setting.smart_health"},
    {"ENABLE_NVME_HEALTH_PREDICTION_TEST", "setting.nvme_prediction"},
    {"SEC_NUM", "setting.routine"},
    {"SEC_COUNT", "setting.routine_count"},
    {"INITIAL_SIZE", "setting.initial_size"},
    {"CENTRAL_SIZE", "setting.central_size"},
    {"FINAL_SIZE", "setting.final_size"},
    {"WHOLE_DISK_READ", "setting.whole_disk"},
    {"ENABLE_OSTRIA_DRIVE_INFO", "setting.drive_info"},
};

struct Operation {
  const char* word;
  const char* text;
};
constexpr Operation kOperations[] = {
    {"recover scan", "operation.scan"},
    {"recover repair", "operation.repair"},
    {"recover filesystem", "operation.filesystem"},
    {"recover filterDevices", "operation.filter_devices"},
    {"smart", "operation.smart"},
    {"metrics", "operation.metrics"},
    {"jobs", "operation.jobs"},
    {"wake", "operation.wake"},
    {"capture", "operation.capture"},
};

std::string paragraph(const std::string& text, std::size_t indent) {
  return wrapped(std::string(indent, ' ') + text, kWidth, indent) + "\n";
}

std::string parameterText(const storage::TestParameter& parameter, const Texts& texts) {
  std::string range = parameter.range;
  std::erase_if(range, [](char c) { return c == '[' || c == ']'; });
  const std::size_t colon = range.find(':');
  return paragraph(
      texts.say("explain.parameter",
                {{"key", parameter.key},
                 {"low", range.substr(0, colon)},
                 {"high", colon == std::string::npos ? range : range.substr(colon + 1)},
                 {"value", parameter.defaultValue},
                 {"text", texts.text(parameter.descriptionKey)}}),
      4);
}

std::string testText(const CatalogueDiagnostic& diagnostic, const CatalogueTest& test,
                     const Texts& texts) {
  std::string out = texts.text(test.nameKey);
  if (test.shortName.empty()) {
    const auto enabling = std::find_if(std::begin(kEnabling), std::end(kEnabling),
                                       [&](const Enabling& row) { return row.id == test.id; });
    out += enabling == std::end(kEnabling)
               ? ""
               : " (" + texts.say("explain.enabled_by", {{"setting", enabling->setting}}) + ")";
  } else {
    out += " (-" + diagnostic.shortName + test.shortName + ", --" + diagnostic.longName + "=" +
           test.longName + ")";
  }
  out = paragraph(out, 0) + paragraph(texts.explanation(test.nameKey), 2);
  const auto duration = std::find_if(std::begin(kDurations), std::end(kDurations),
                                     [&](const Duration& row) { return row.id == test.id; });
  out += paragraph(texts.say(duration == std::end(kDurations) ? "lasts.moment" : duration->key), 2);
  out += paragraph(
      texts.say(test.id == ids::kDeviceWrite ? "explain.writes" : "explain.writes_nothing"), 2);
  if (test.test != nullptr && test.takesParameters) {
    for (const storage::TestParameter& parameter : test.test->defaultParameters()) {
      out += parameterText(parameter, texts);
    }
  }
  return out;
}

/// Empty for a word that means nothing here.
std::string explainWord(const std::string& word, const Catalogue& catalogue, const Texts& texts) {
  std::string out;
  for (const CatalogueDiagnostic& diagnostic : catalogue.diagnostics) {
    for (const CatalogueTest& test : diagnostic.tests) {
      const bool named =
          !test.shortName.empty() && (word == test.shortName || word == test.longName ||
                                      isNamedAsInHelp(catalogue, test, word));
      if (named || word == "tests") {
        out += (out.empty() ? "" : "\n") + testText(diagnostic, test, texts);
      }
    }
  }
  for (const Operation& operation : kOperations) {
    const std::string_view whole = operation.word;
    if (word == whole || whole.starts_with(word + " ") || whole.ends_with(" " + word)) {
      out += (out.empty() ? "" : "\n") + paragraph(operation.word, 0) +
             paragraph(texts.say(operation.text), 2);
    }
  }
  if (word == "settings") {
    out += texts.say("setting.title") + "\n";
    for (const Setting& setting : kSettings) {
      out += paragraph(std::string(setting.key) + ": " + texts.say(setting.text), 2);
    }
  }
  return out;
}

}  // namespace

OrUsageError<std::string> explain(const std::vector<std::string>& words, const Catalogue& catalogue,
                                  const Texts& texts) {
  std::string all;
  for (const std::string& word : words) {
    const std::string text = explainWord(word, catalogue, texts);
    if (text.empty()) {
      return UsageError{"usage.unknown_topic", {{"word", word}}};
    }
    all += (all.empty() ? "" : "\n") + text;
  }
  return all;
}

}  // namespace ostria::host
