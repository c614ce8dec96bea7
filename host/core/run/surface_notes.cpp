// The tests of the surface name blocks whose ends overlap, say nothing of what they found when they
// are stopped, and end at their first error without a word on the rest of the disk.
#include "host/core/run/surface_notes.h"

#include <algorithm>
#include <charconv>

#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

constexpr const char* kErrorLimit = "ERROR_LIMIT";
constexpr const char* kStopRange = "STOP_RANGE";

std::uint64_t leadingNumber(const std::string& text, std::uint64_t otherwise) {
  std::uint64_t number = otherwise;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// As it was given, else as the test has it by itself.
std::uint64_t parameterOf(storage::Test& test, const TestRun& run, const std::string& key,
                          std::uint64_t otherwise) {
  for (const auto& [name, value] : run.parameters) {
    if (name == key) {
      return leadingNumber(value, otherwise);
    }
  }
  for (const storage::TestParameter& parameter : test.parameters()) {
    if (parameter.key == key) {
      return leadingNumber(parameter.defaultValue, otherwise);
    }
  }
  return otherwise;
}

// Whether the test had sectors before it when it met its limit.
bool endedEarly(storage::Test& test, const TestRun& run) {
  const ReadTimes& reads = *run.reads;
  const double stop = static_cast<double>(parameterOf(test, run, kStopRange, 100));
  // Percents are whole, so the end of an area is known to one of them.
  return (static_cast<double>(reads.position) + 1) * 100 <
         static_cast<double>(reads.sectors) * (stop - (stop < 100 ? 1 : 0));
}

}  // namespace

std::string lookAtSurface(storage::Test& test, TestRun& run, const Texts& texts) {
  if (run.test.id != storage::ids::kFullDiskScan && run.test.id != storage::ids::kLinearRead) {
    return {};
  }
  // What a device that is gone refused is no bad block.
  if (run.reads && !run.lost) {
    run.badRanges = run.reads->bad;
  }
  if (run.badRanges.empty()) {
    for (const Message& message : run.messages) {
      const auto found = rangesOf(message.key);
      run.badRanges.insert(run.badRanges.end(), found.begin(), found.end());
    }
    run.badRanges = withoutOverlap(std::move(run.badRanges));
  }
  if (!run.reads || run.lost) {
    return {};
  }
  const std::string percent = percentText(run.reads->percentRead());
  const std::string count = std::to_string(run.reads->badBlocks);
  if (run.outcome == ExitCode::Stopped) {
    std::string note = texts.say("note.read_so_far", {{"percent", percent}});
    if (run.reads->badBlocks > 0) {
      run.outcome = ExitCode::Failed;
      note = texts.say("note.stopped_by_user") + " " + note + " " +
             texts.say("note.bad_so_far", {{"count", count}});
    }
    return note;
  }
  const std::uint64_t limit = parameterOf(test, run, kErrorLimit, 0);
  if (run.outcome != ExitCode::Failed || limit == 0 || run.reads->badBlocks < limit ||
      !endedEarly(test, run)) {
    return {};
  }
  return texts.say(limit == 1 ? "note.first_error" : "note.error_limit",
                   {{"count", count}, {"percent", percent}});
}

}  // namespace ostria::host
