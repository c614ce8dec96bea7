// Reads of the product beside pread of the same file, in one run, so that the ratio does not
// depend on the machine.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "platform/linux/io/linux_filesystem.h"

namespace ostria::storage {
namespace {

constexpr std::uint64_t kFileBytes = 64 << 20;
constexpr std::uint64_t kChunk = 1 << 20;
constexpr std::size_t kAlignment = 4096;
constexpr std::uint32_t kTimeoutSeconds = 30;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<void, Free>;

Buffer makeBuffer(std::uint64_t bytes) { return Buffer(std::aligned_alloc(kAlignment, bytes)); }

// A file of written blocks, open twice: by the product, and plainly with the same flags.
class ReadFile {
 public:
  explicit ReadFile(TimedTransfer::Engine engine) : product_(engine) {
    const char* folder = std::getenv("OSTRIA_BENCHMARK_FOLDER");
    const std::string path = std::string(folder != nullptr ? folder : ".") + "/read_benchmark." +
                             std::to_string(getpid());
    if (product_.createFile(path, &handle_, false) != 0) {
      return;
    }
    open_ = true;
    plain_ = open(path.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC);
    // Both have it open, and nobody will find it left behind.
    unlink(path.c_str());
    ready_ = plain_ >= 0 && fill();
  }
  ~ReadFile() {
    if (plain_ >= 0) {
      close(plain_);
    }
    if (open_) {
      product_.closeFile(handle_);
    }
  }
  ReadFile(const ReadFile&) = delete;
  ReadFile& operator=(const ReadFile&) = delete;

  bool isReady() const { return ready_; }
  bool readByProduct(std::uint64_t at, std::uint64_t bytes, void* buffer) {
    std::uint64_t done = 0;
    return product_.readAt(handle_, at, bytes, &done, kTimeoutSeconds, buffer) ==
           ProtocolResult::Success;
  }
  bool readPlainly(std::uint64_t at, std::uint64_t bytes, void* buffer) const {
    return pread(plain_, buffer, bytes, static_cast<off_t>(at)) == static_cast<ssize_t>(bytes);
  }

 private:
  bool fill() {
    const Buffer chunk = makeBuffer(kChunk);
    std::memset(chunk.get(), 0x5A, kChunk);
    for (std::uint64_t at = 0; at < kFileBytes; at += kChunk) {
      std::uint64_t done = 0;
      if (product_.writeAt(handle_, at, kChunk, &done, kTimeoutSeconds, chunk.get()) !=
          ProtocolResult::Success) {
        return false;
      }
    }
    return true;
  }

  LinuxFilesystem product_;
  DeviceHandle handle_{};
  bool open_ = false;
  int plain_ = -1;
  bool ready_ = false;
};

template <typename Work>
double secondsOf(Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// One random block after the other, each read by both, so that whatever else the machine does meets
// both alike. The time shown is the product's; "ratio" is its time over that of pread.
void readBeside(benchmark::State& state, TimedTransfer::Engine engine) {
  ReadFile file(engine);
  if (!file.isReady()) {
    state.SkipWithError("no file for unbuffered reads here; see OSTRIA_BENCHMARK_FOLDER");
    return;
  }
  const auto bytes = static_cast<std::uint64_t>(state.range(0));
  const Buffer buffer = makeBuffer(bytes);
  std::mt19937_64 random(1);
  std::uniform_int_distribution<std::uint64_t> block(0, kFileBytes / bytes - 1);
  double product = 0;
  double plain = 0;
  bool productFirst = false;
  for ([[maybe_unused]] auto unused : state) {
    const std::uint64_t at = block(random) * bytes;
    bool good = true;
    const auto byProduct = [&] {
      const double seconds =
          secondsOf([&] { good &= file.readByProduct(at, bytes, buffer.get()); });
      product += seconds;
      state.SetIterationTime(seconds);
    };
    productFirst = !productFirst;
    if (productFirst) {
      byProduct();
    }
    plain += secondsOf([&] { good &= file.readPlainly(at, bytes, buffer.get()); });
    if (!productFirst) {
      byProduct();
    }
    if (!good) {
      state.SkipWithError("a read failed");
      return;
    }
  }
  const auto reads = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
  state.counters["pread_us"] = plain / reads * 1e6;
  state.counters["ratio"] = product / plain;
}

void sizes(benchmark::internal::Benchmark* row) {
  row->Arg(4 << 10)->Arg(64 << 10)->Arg(1 << 20)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(readBeside, ring, TimedTransfer::Engine::Ring)->Apply(sizes);
BENCHMARK_CAPTURE(readBeside, thread, TimedTransfer::Engine::Thread)->Apply(sizes);

}  // namespace
}  // namespace ostria::storage
