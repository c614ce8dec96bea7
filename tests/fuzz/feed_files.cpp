// Stands for the fuzzer where there is none: gives each file of the folders named to the target,
// or, with a number of seconds in front, changed copies of them for so long, without looking at
// what they reach.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes);

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Some bytes replaced, put in, taken out, or taken from another file.
Bytes changed(Bytes bytes, const std::vector<Bytes>& corpus, std::mt19937& random) {
  constexpr std::size_t kMostBytes = 4096;
  const auto below = [&](std::size_t end) { return end == 0 ? 0 : random() % end; };
  for (auto left = 1 + below(8); left > 0; --left) {
    const auto at = static_cast<std::ptrdiff_t>(below(bytes.size() + 1));
    const auto rest = bytes.size() - static_cast<std::size_t>(at);
    const auto kind = random() % 5;
    if (kind < 2 && rest != 0) {  // taken out, or replaced
      bytes.erase(
          bytes.begin() + at,
          bytes.begin() + at + static_cast<std::ptrdiff_t>(kind == 0 ? 1 + below(rest) : 1));
    }
    if (kind == 4) {
      const Bytes& other = corpus[below(corpus.size())];
      const auto from = static_cast<std::ptrdiff_t>(below(other.size() + 1));
      bytes.insert(bytes.begin() + at, other.begin() + from, other.end());
    } else if (kind != 0) {
      const auto value = static_cast<std::uint8_t>(random() % 4 == 0 ? 255 : random());
      bytes.insert(bytes.begin() + at, kind == 1 ? 1 : 1 + below(16), value);
    }
  }
  bytes.resize(std::min(bytes.size(), kMostBytes));
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Bytes> corpus;
  const long seconds = argc > 2 ? std::strtol(argv[1], nullptr, 10) : 0;
  for (int i = seconds > 0 ? 2 : 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      corpus.push_back(read(entry.path()));
      LLVMFuzzerTestOneInput(corpus.back().data(), corpus.back().size());
    }
  }
  if (corpus.empty()) {
    return 1;
  }
  unsigned long executions = corpus.size();
  std::mt19937 random(std::random_device{}());
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (seconds > 0 && std::chrono::steady_clock::now() < end) {
    const Bytes input = changed(corpus[random() % corpus.size()], corpus, random);
    // What ends the process is left behind.
    std::ofstream("last_input", std::ios::binary)
        .write(reinterpret_cast<const char*>(input.data()),
               static_cast<std::streamsize>(input.size()));
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++executions;
  }
  std::printf("%lu executions\n", executions);
  return 0;
}
