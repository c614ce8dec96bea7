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
    const Bytes& other = corpus[below(corpus.size())];
    switch (random() % 5) {
      case 0:
        bytes.insert(bytes.begin() + at, 1 + below(16), static_cast<std::uint8_t>(random()));
        break;
      case 1:
        bytes.erase(bytes.begin() + at, bytes.begin() + at +
                                            static_cast<std::ptrdiff_t>(below(
                                                bytes.size() - static_cast<std::size_t>(at) + 1)));
        break;
      case 2:
        bytes.insert(bytes.begin() + at,
                     other.begin() + static_cast<std::ptrdiff_t>(below(other.size() + 1)),
                     other.end());
        break;
      default:
        if (!bytes.empty()) {
          bytes[below(bytes.size())] =
              static_cast<std::uint8_t>(random() % 4 == 0 ? 255 : random());
        }
        break;
    }
  }
  bytes.resize(std::min(bytes.size(), kMostBytes));
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Bytes> corpus;
  int first = 1;
  const long seconds = argc > 2 ? std::strtol(argv[1], nullptr, 10) : 0;
  first += seconds > 0 ? 1 : 0;
  for (int i = first; i < argc; ++i) {
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
