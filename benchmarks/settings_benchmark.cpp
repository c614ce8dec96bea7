// The reader of settings beside reading the lines alone.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "services/config_file.h"

namespace ostria::storage {
namespace {

/// Processor time: neither side waits for anything, and a slice that another program gets in
/// between would count for one of them.
std::chrono::nanoseconds threadTime() {
  timespec now = {};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

// A configuration file of 100 settings: the reader with its rules for malformed lines, beside
// reading the lines alone. "ratio" is the first time over the second.
void readSettings(benchmark::State& state) {
  std::string folder = (std::filesystem::temp_directory_path() / "settings-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) {
    state.SkipWithError("no temporary folder");
    return;
  }
  const std::filesystem::path path = folder + "/config.ini";
  {
    std::ofstream file(path);
    file << "[STORAGE]\n";
    for (int i = 0; i < 100; ++i) {
      file << "SETTING_" << i << " = " << i << " ; a comment\n";
    }
  }
  std::chrono::nanoseconds lines{};
  std::chrono::nanoseconds settings{};
  for ([[maybe_unused]] auto unused : state) {
    const auto begin = threadTime();
    std::ifstream file(path);
    std::size_t bytes = 0;
    for (std::string line; std::getline(file, line);) {
      bytes += line.size();
    }
    benchmark::DoNotOptimize(bytes);
    const auto middle = threadTime();
    ConfigurationMap contents;
    ConfigurationError error;
    if (!readConfigurationFile(path.string(), contents, error)) {
      state.SkipWithError("the file was refused");
      break;
    }
    const auto end = threadTime();
    lines += middle - begin;
    settings += end - middle;
    state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
  }
  state.counters["ratio"] =
      static_cast<double>(settings.count()) / static_cast<double>(lines.count());
  std::filesystem::remove_all(folder);
}

BENCHMARK(readSettings)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace ostria::storage
