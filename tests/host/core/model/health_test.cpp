// The verdict on a drive: good, watch, replace, not answering, not known, each with its reasons.
#include "host/core/model/health.h"

#include <gtest/gtest.h>

#include "host/core/model/raw_values.h"
#include "host/core/run/readable_rows.h"

namespace ostria::host::test {
namespace {

SmartRow attribute(const char* id, const char* value, const char* worst, const char* limit,
                   const char* raw) {
  SmartRow row;
  row.id = id;
  row.name = "A";
  row.value = value;
  row.worst = worst;
  row.threshold = limit;
  row.data = raw;
  return row;
}

SmartRow field(const char* offset, const char* data) {
  SmartRow row;
  row.id = offset;
  row.name = "F";
  row.data = data;
  return row;
}

// Each row alone, on a drive that is good otherwise.
TEST(HealthTest, EachRuleMakesItsVerdict) {
  const SmartRow good = attribute("1", "100", "100", "50", "123456789");
  const SmartRow worn = attribute("233", "1", "1", "0", "0");
  const SmartRow calm = field("0", "0");
  struct Row {
    std::vector<SmartRow> rows;
    bool solidState;
    Verdict verdict;
    const char* reason;
    bool past;
  };
  using enum Verdict;
  const std::vector<Row> rows = {
      {{good}, false, Good, "health.smart_good", false},
      {{attribute("5", "36", "36", "36", "0")}, false, Replace, "health.below_limit", false},
      {{attribute("5", "37", "36", "36", "0")}, false, Watch, "health.was_below_limit", true},
      {{attribute("5", "100", "100", "0", "0")}, false, Good, "health.smart_good", false},
      {{attribute("194", "40", "40", "45", "60")}, false, Watch, "health.below_limit", false},
      {{attribute("5", "100", "100", "36", "7")}, false, Watch, "health.reallocated", true},
      {{attribute("197", "100", "100", "0", "900")}, false, Watch, "health.pending", false},
      {{attribute("198", "100", "100", "0", "1")}, false, Watch, "health.uncorrectable", false},
      {{attribute("187", "1", "1", "0", "65535")}, false, Watch, "health.reported", true},
      {{attribute("199", "200", "200", "0", "1")}, false, Watch, "health.crc", true},
      {{attribute("233", "11", "11", "0", "0")}, true, Good, "health.smart_good", false},
      {{attribute("233", "10", "10", "0", "0")}, true, Watch, "health.wear", false},
      {{worn}, true, Replace, "health.wear", false},
      // On a disk the same number is something else, and life left of its own wins over another's.
      {{worn}, false, Good, "health.smart_good", false},
      {{worn, attribute("231", "99", "99", "0", "0")}, true, Good, "health.smart_good", false},
      {{calm, field("5", "89 %")}, true, Good, "health.smart_good", false},
      {{calm, field("5", "90 %")}, true, Watch, "health.wear", false},
      {{calm, field("5", "100 %")}, true, Replace, "health.wear", false},
      {{field("0", "2")}, true, Watch, "health.warning_temperature", false},
      {{field("0", "1")}, true, Replace, "health.warning_spare", false},
      {{field("0", "4")}, true, Replace, "health.warning_reliability", false},
      {{field("0", "8")}, true, Replace, "health.warning_read_only", false},
      {{field("0", "16")}, true, Replace, "health.warning_backup", false},
      {{field("0", "32")}, true, Replace, "health.warning_memory_region", false},
      {{field("0", "64")}, true, Replace, "health.warning_unknown", false},
      {{field("3", "10 %"), field("4", "10 %")}, true, Good, "health.smart_good", false},
      {{field("3", "9 %"), field("4", "10 %")}, true, Replace, "health.spare", false},
      {{calm, field("160", "9,000")}, true, Watch, "health.media_errors", true},
      {{calm, field("160", "~18446744073709551616")}, true, Watch, "health.media_errors", true},
      {{calm, field("176", "5,000")}, true, Good, "health.smart_good", false},
  };
  for (const Row& row : rows) {
    HealthEvidence evidence;
    evidence.smart = DataState::Value;
    evidence.solidState = row.solidState;
    evidence.rows = row.rows;
    const Health health = judge(evidence);
    EXPECT_EQ(health.verdict, row.verdict) << row.reason << row.rows.back().id;
    ASSERT_FALSE(health.reasons.empty());
    EXPECT_EQ(health.reasons.front().key, row.reason) << row.rows.back().id;
    EXPECT_EQ(health.reasons.front().past, row.past) << row.reason;
  }
}

TEST(HealthTest, WhatWasNotSeenIsNotGood) {
  HealthEvidence evidence;
  for (const DataState state :
       {DataState::NotSupported, DataState::Unreadable, DataState::Asleep}) {
    evidence.smart = state;
    EXPECT_EQ(judge(evidence).verdict, Verdict::NotKnown) << stateWord(state);
  }
  evidence.tests = {{"Seek", ExitCode::Passed, false, 0, {}}};
  evidence.smart = DataState::NotSupported;
  EXPECT_EQ(judge(evidence).verdict, Verdict::Good);
  evidence.smart = DataState::Unreadable;
  EXPECT_EQ(judge(evidence).verdict, Verdict::NotKnown);
  evidence.smart = DataState::NotSupported;
  const std::vector<std::pair<TestEvidence, Verdict>> rows = {
      {{"T", ExitCode::Failed, false, 0, {}}, Verdict::Replace},
      {{"T", ExitCode::Failed, true, 0, {}}, Verdict::NotAnswering},
      {{"T", ExitCode::Stopped, false, 2, {}}, Verdict::Replace},
      {{"T", ExitCode::Warning, false, 0, {}}, Verdict::Watch},
      {{"T", ExitCode::Passed, false, 0, {"SSD_HAS_REACHED_WEAROUT_LIMIT"}}, Verdict::Replace},
      {{"T", ExitCode::Passed, false, 0, {"SSD_IS_CLOSE_TO_WEAROUT_LIMIT"}}, Verdict::Watch},
      {{"T", ExitCode::NotPerformed, false, 0, {}}, Verdict::Good},
      {{"T", ExitCode::CouldNotStart, false, 0, {}, true}, Verdict::Watch},
  };
  for (const auto& [test, verdict] : rows) {
    HealthEvidence with = evidence;
    with.tests.push_back(test);
    EXPECT_EQ(judge(with).verdict, verdict) << static_cast<int>(test.outcome);
  }
  for (auto member : {&HealthEvidence::predictsFailure, &HealthEvidence::systemSeesFailure}) {
    HealthEvidence with;
    with.*member = true;
    EXPECT_EQ(judge(with).verdict, Verdict::Replace);
    with.*member = false;
    EXPECT_EQ(judge(with).verdict, Verdict::Good);
  }
  for (const auto& [state, verdict] : {std::pair("", Verdict::Good),
                                       {"live", Verdict::Good},
                                       {"resetting", Verdict::Watch},
                                       {"dead", Verdict::NotAnswering}}) {
    evidence.controllerState = state;
    EXPECT_EQ(judge(evidence).verdict, verdict) << state;
  }
  evidence.controllerState.clear();
  evidence.failedSelfTest = "7";
  EXPECT_EQ(judge(evidence).verdict, Verdict::Replace);
  evidence.asked = true;
  evidence.answers = false;
  EXPECT_EQ(judge(evidence).verdict, Verdict::NotAnswering);
}

// Raw values as drives have reported them, and what their makers mean by them.
TEST(HealthTest, RawValuesAreReadByTheirPacking) {
  const Texts texts;
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"190", "522125343", "31 °C (lowest 31, highest 31)"},
      {"194", "622264353", "33 °C (lowest 23, highest 37)"},
      {"194", "34", "34 °C"},
      {"194", "84148258", "34 °C"},  // a count above it, not a range
      {"188", "196611", "3 (3 above 5 s)"},
      {"9", "12345", "12345 h"},
      {"9", "3825217851", "12603 h"},
      {"240", "1929445346", "65506 h"},
      {"5", "900", "900"},
      {"3", "27722041", "313 (average 423)"},
      {"197", "65535", "65535"},
      {"12", "x", "x"},
  };
  for (const auto& [id, raw, expected] : rows) {
    std::vector<SmartRow> one = {attribute(id, "100", "100", "0", raw)};
    makeReadable(one, false, texts);
    EXPECT_EQ(one[0].readable(), expected) << id;
  }
  std::vector<SmartRow> life = {attribute("231", "97", "97", "0", "97")};
  makeReadable(life, false, texts);
  EXPECT_EQ(life[0].name, "A");
  makeReadable(life, true, texts);
  EXPECT_EQ(life[0].name, "Share of Life Left");
  std::vector<SmartRow> fields = {field("32", "3,030 [1.44 GB]"), field("1", "39 ºC")};
  makeReadable(fields, true, texts);
  EXPECT_EQ(fields[0].readable(), "3,030 [1.55 GB]");
  EXPECT_EQ(fields[1].readable(), "39 °C");
  EXPECT_EQ(sizeText(20003880960.0), "20.0 GB");
  EXPECT_EQ(sizeText(999), "999 bytes");
  EXPECT_EQ(sizeText(9.99e14), "999 TB");
  EXPECT_EQ(sizeText(999.6e9), "1.00 TB");
}

}  // namespace
}  // namespace ostria::host::test
