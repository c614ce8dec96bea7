// A read of many sectors takes long on a sound drive, so the times come with size and speed. Reads
// of one sector are seeks, whose speed says nothing.
#include "host/core/report/read_texts.h"

#include <cmath>

namespace ostria::host {

std::string readsTitle(const ReadTimes& reads, const Texts& texts) {
  if (reads.sectorsPerRead() <= 1) {
    return texts.say("reads.title_single");
  }
  return texts.say("reads.title",
                   {{"sectors", std::to_string(reads.sectorsPerRead())},
                    {"megabytes", std::to_string(std::llround(reads.bytesPerSecond() / 1e6))}});
}

std::string readClassName(std::size_t index, const Texts& texts) {
  const bool last = index == ReadTimes::kLimits.size();
  return texts.say(
      last ? "reads.from" : "reads.below",
      {{"milliseconds", std::to_string(ReadTimes::kLimits[last ? index - 1 : index])}});
}

}  // namespace ostria::host
