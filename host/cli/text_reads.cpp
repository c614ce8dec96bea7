// A class without reads is left out, and the slowest are named where a person would call them slow.
#include "host/cli/text_reads.h"

#include <algorithm>

#include "host/cli/text_parts.h"
#include "host/core/report/plain_text.h"
#include "host/core/report/read_texts.h"

namespace ostria::host {
namespace {

constexpr std::size_t kBarColumns = 20;
constexpr std::size_t kShownSlowest = 3;
constexpr std::size_t kShownRanges = 20;

std::string histogramText(const ReadTimes& reads, const TextStyle& style) {
  std::string out = detailLine(readsTitle(reads, style.texts), style);
  for (std::size_t i = 0; i < reads.classes.size(); ++i) {
    const std::uint64_t count = reads.classes[i];
    if (count == 0) {
      continue;
    }
    const auto length = static_cast<std::size_t>(static_cast<double>(count) * kBarColumns /
                                                 static_cast<double>(reads.reads));
    out +=
        detailLine(padded(readClassName(i, style.texts), 18) + padded(std::to_string(count), 10) +
                       std::string(std::max<std::size_t>(length, 1), '#'),
                   style);
  }
  return out;
}

std::string classesText(const ReadTimes& reads, const TextStyle& style) {
  std::string text = readsTitle(reads, style.texts);
  const char* between = " ";
  for (std::size_t i = 0; i < reads.classes.size(); ++i) {
    if (reads.classes[i] > 0) {
      text += between + readClassName(i, style.texts) + " " + std::to_string(reads.classes[i]);
      between = ", ";
    }
  }
  return detailLine(text, style);
}

}  // namespace

std::string readsText(const ReadTimes& reads, bool histogram, const TextStyle& style) {
  std::string out = histogram ? histogramText(reads, style) : classesText(reads, style);
  for (std::size_t i = 0; i < std::min(reads.slowest.size(), kShownSlowest); ++i) {
    const SlowRead& read = reads.slowest[i];
    if (reads.isSlow(read)) {
      out += detailLine(
          style.texts.say("reads.slow", {{"milliseconds", std::to_string(read.microseconds / 1000)},
                                         {"first", std::to_string(read.first)},
                                         {"last", std::to_string(read.first + read.count - 1)}}),
          style);
    }
  }
  return out;
}

std::string rangesText(const std::vector<SectorRange>& ranges, const TextStyle& style) {
  if (ranges.empty()) {
    return {};
  }
  std::string text = style.texts.say("ranges.title");
  for (std::size_t i = 0; i < std::min(ranges.size(), kShownRanges); ++i) {
    text += (i == 0 ? " " : ", ") + std::to_string(ranges[i].first);
    if (ranges[i].second != ranges[i].first) {
      text += " - " + std::to_string(ranges[i].second);
    }
  }
  if (ranges.size() > kShownRanges) {
    text += " " + style.texts.say("sectors.more",
                                  {{"count", std::to_string(ranges.size() - kShownRanges)}});
  }
  return detailLine(text, style);
}

}  // namespace ostria::host
