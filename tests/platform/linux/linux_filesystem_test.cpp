// Timed reads and writes by io_uring and by threads: a late answer never reaches the caller's
// memory.
#include "platform/linux/io/linux_filesystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <thread>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/left_behind.h"
#include "services/volume_access.h"
#include "tests/support/temporary_folder.h"

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;

class LinuxFilesystemTest : public testing::TestWithParam<TimedTransfer::Engine> {
 protected:
  /// A file that nothing can be read from before something was written: a drive that hangs.
  FdOwner openFifo() const {
    const std::string path = folder.file("fifo");
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return FdOwner(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  }
  void waitForTheRest() {
    for (int i = 0; i < 1000 && filesystem.outstandingTransfers() != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(filesystem.outstandingTransfers(), 0u);
  }

  LinuxFilesystem filesystem{GetParam()};
  TemporaryFolder folder;
};

INSTANTIATE_TEST_SUITE_P(BothEngines, LinuxFilesystemTest,
                         testing::Values(TimedTransfer::Engine::Ring,
                                         TimedTransfer::Engine::Thread));

/// Pages of a file that the system keeps in memory.
long pagesKept(int file, std::size_t bytes) {
  void* const mapped = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file, 0);
  std::vector<unsigned char> pages(bytes / 4096);
  const bool known = mapped != MAP_FAILED && ::mincore(mapped, bytes, pages.data()) == 0;
  ::munmap(mapped, bytes);
  return known ? std::count_if(pages.begin(), pages.end(), [](unsigned char p) { return p & 1; })
               : -1;
}

TEST(VolumeAccess, WhatIsReadBackComesFromTheMedium) {
  TemporaryFolder folder;
  const FdOwner file(::open((folder.file("kept")).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const std::vector<char> written(64 * 4096, 'x');
  ASSERT_EQ(::write(file.get(), written.data(), written.size()),
            static_cast<ssize_t>(written.size()));
  ASSERT_EQ(pagesKept(file.get(), written.size()), 64);
  struct statfs about = {};
  if (::fstatfs(file.get(), &about) != 0 || about.f_type == TMPFS_MAGIC) {
    GTEST_SKIP() << "the files of this folder lie in memory";
  }
  EXPECT_TRUE(dropCachedContent(handleOfDescriptor(file.get()), "/"));
  EXPECT_EQ(pagesKept(file.get(), written.size()), 0);
  EXPECT_FALSE(dropCachedContent(handleOfDescriptor(file.get()), folder.file("not-mounted")));
}

TEST_P(LinuxFilesystemTest, ScratchFileReadsBackAndLeavesNoName) {
  DeviceHandle file;
  ASSERT_EQ(filesystem.createFile(folder.file("scratch"), &file, true), 0);
  EXPECT_EQ(folder.entries(), 0u);
  const std::uint64_t far = std::uint64_t{6} << 30;
  ASSERT_EQ(filesystem.setFileSize(file, far + 8192), 0);
  struct stat status = {};
  ASSERT_EQ(::fstat(descriptorOf(file), &status), 0);
  EXPECT_LT(status.st_blocks * 512, 1 << 20) << "the size must not be written";

  // The caller's memory has no alignment.
  std::vector<char> out(4097, 'x'), in(4097, 'y');
  std::uint64_t done = 0;
  EXPECT_EQ(filesystem.writeAt(file, far, 4096, &done, 30, out.data() + 1),
            ProtocolResult::Success);
  EXPECT_EQ(done, 4096u);
  EXPECT_EQ(filesystem.readAt(file, far, 4096, &done, 30, in.data() + 1), ProtocolResult::Success);
  EXPECT_EQ(std::string(in.data(), 4097), "y" + std::string(4096, 'x'));

  done = 99;
  EXPECT_EQ(filesystem.readAt(file, far + 4096, 8192, &done, 30, in.data()),
            ProtocolResult::MediumError)
      << "a short read is no success";
  EXPECT_EQ(done, 4096u);
  EXPECT_EQ(filesystem.closeFile(file), 0);
  EXPECT_EQ(filesystem.closeFile(DeviceHandle()), 1);
}

TEST_P(LinuxFilesystemTest, HangingReadGivesTheMemoryBackUntouched) {
  const FdOwner fifo = openFifo();
  std::string memory(512, 'm');
  std::uint64_t done = 77;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(filesystem.readAt(handleOfDescriptor(fifo.get()), 0, 512, &done, 1, memory.data()),
            ProtocolResult::ReadTimeout);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(990));
  EXPECT_LT(waited, std::chrono::seconds(10));
  EXPECT_EQ(done, 77u);

  // The device comes back late: the request may end, but not in the caller's memory.
  ASSERT_EQ(::write(fifo.get(), std::string(512, 'L').data(), 512), 512);
  waitForTheRest();
  EXPECT_EQ(memory, std::string(512, 'm'));
}

TEST_P(LinuxFilesystemTest, LostReadKeepsTheMemoryThatItStillWritesTo) {
  const FdOwner fifo = openFifo();
  const DeviceHandle handle = handleOfDescriptor(fifo.get());
  TransferBuffer buffer;
  ASSERT_TRUE(buffer.make(512));
  std::uint8_t* const before = buffer.data();
  const std::weak_ptr<void> memory = buffer.share();
  std::uint64_t done = 0;
  ASSERT_EQ(::write(fifo.get(), std::string(512, 'D').data(), 512), 512);
  EXPECT_EQ(filesystem.readInto(handle, 0, 512, &done, 30, buffer), ProtocolResult::Success);
  EXPECT_EQ(buffer.data(), before) << "a read that ended leaves the memory in use";
  EXPECT_EQ(std::string(before, before + 512), std::string(512, 'D'));
  EXPECT_EQ(filesystem.readInto(handle, 0, 513, &done, 30, buffer), ProtocolResult::Failure);

  EXPECT_EQ(filesystem.readInto(handle, 0, 512, &done, 1, buffer), ProtocolResult::ReadTimeout);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(filesystem.readInto(handle, 0, 512, &done, 1, buffer), ProtocolResult::Failure);
  EXPECT_FALSE(memory.expired()) << "the kernel still writes there";
  ASSERT_TRUE(buffer.renew());
  EXPECT_NE(buffer.data(), before);

  // The device comes back late: the lost read takes the data, and its memory goes with it.
  ASSERT_EQ(::write(fifo.get(), std::string(512, 'L').data(), 512), 512);
  waitForTheRest();
  for (int i = 0; i < 1000 && !memory.expired(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(memory.expired());
  EXPECT_EQ(std::string(buffer.data(), buffer.data() + 512), std::string(512, '\0'));
}

TEST_P(LinuxFilesystemTest, TimeoutOfZeroEndsAtOnceAndAFullPipeTimesOutAsAWrite) {
  int ends[2] = {};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  FdOwner reader(ends[0]), writer(ends[1]);
  const int capacity = ::fcntl(writer.get(), F_GETPIPE_SZ);
  const std::string block(static_cast<std::size_t>(capacity), 'w');
  ASSERT_EQ(::write(writer.get(), block.data(), block.size()), capacity);
  std::uint64_t done = 0;
  EXPECT_EQ(filesystem.writeAt(handleOfDescriptor(writer.get()), 0, 512, &done, 0, block.data()),
            ProtocolResult::WriteTimeout);
  std::string drained(block.size(), ' ');
  ASSERT_EQ(::read(reader.get(), drained.data(), drained.size()), capacity);
  waitForTheRest();
}

TEST_P(LinuxFilesystemTest, WhatCannotBeIssuedIsAFailureAndLeavesTheCount) {
  folder.write("read-only", "text");
  FdOwner file(::open((folder.file("read-only")).c_str(), O_RDONLY | O_CLOEXEC));
  char buffer[512] = {};
  std::uint64_t done = 5;
  EXPECT_EQ(filesystem.writeAt(handleOfDescriptor(file.get()), 0, 512, &done, 30, buffer),
            ProtocolResult::Failure);
  EXPECT_EQ(filesystem.readAt(DeviceHandle(), 0, 512, &done, 30, buffer), ProtocolResult::Failure);
  EXPECT_EQ(filesystem.readAt(handleOfDescriptor(file.get()), 0, 512, &done, 30, nullptr),
            ProtocolResult::Failure);
  EXPECT_EQ(done, 5u);

  // A full volume is no error of its medium.
  const FdOwner full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(filesystem.writeAt(handleOfDescriptor(full.get()), 0, 512, &done, 30, buffer),
            ProtocolResult::VolumeFull);
  EXPECT_EQ(done, 0u);
}

TEST(LinuxFilesystem, NamedFileIsForOneAloneAndEmptiedOnlyByItsOwner) {
  LinuxFilesystem filesystem;
  TemporaryFolder folder;
  const std::string path = folder.file("named");
  DeviceHandle first, second;
  ASSERT_EQ(filesystem.createFile(path, &first, false), 0);
  ASSERT_EQ(filesystem.setFileSize(first, 4096), 0);
  EXPECT_EQ(filesystem.createFile(path, &second, false), 1);
  EXPECT_EQ(fs::file_size(path), 4096u);
  EXPECT_EQ(filesystem.closeFile(first), 0);

  fs::create_symlink("named", folder.file("link"));
  EXPECT_EQ(filesystem.createFile(folder.file("link"), &second, false), 1);
  EXPECT_EQ(fs::file_size(path), 4096u);
  EXPECT_EQ(filesystem.createFile(folder.file("missing/file"), &second, true), 1);
}

TEST(LinuxFilesystem, DirectoriesAreMadeListedAndRemovedWhole) {
  LinuxFilesystem filesystem;
  TemporaryFolder folder;
  std::vector<std::string> made, names;
  ASSERT_EQ(filesystem.createDirectories(folder.file("a/b/c"), made), 0);
  EXPECT_EQ(made, (std::vector{folder.file("a"), folder.file("a/b"), folder.file("a/b/c")}));
  ASSERT_EQ(filesystem.createDirectories(folder.file("a/b"), made), 0);
  EXPECT_TRUE(made.empty());

  std::ofstream(folder.file("a/one.txt")) << "1";
  std::ofstream(folder.file("a/two.log")) << "2";
  EXPECT_EQ(filesystem.listDirectory(folder.file("a/*.txt"), names), 0);
  EXPECT_EQ(names, std::vector{folder.file("a/one.txt")});
  EXPECT_EQ(filesystem.listDirectory(folder.file("none/*"), names), 1);
  EXPECT_TRUE(names.empty());
  EXPECT_EQ(filesystem.listDirectory("", names), 1);

  // What was made on the way to a failure goes away again.
  EXPECT_EQ(filesystem.createDirectories(folder.file("new"), made), 0);
  std::ofstream(folder.file("new/file")) << "in the way";
  EXPECT_EQ(filesystem.createDirectories(folder.file("new/file/x"), made), 1);
  EXPECT_TRUE(made.empty());

  fs::create_directory_symlink(folder.file("a"), folder.file("new/link"));
  EXPECT_EQ(filesystem.removeTree(folder.file("new/link")), 1);
  EXPECT_EQ(filesystem.removeTree(folder.file("new")), 0);
  EXPECT_TRUE(fs::exists(folder.file("a/one.txt")));
  EXPECT_FALSE(fs::exists(folder.file("new")));
}

/// Transfers that end with the given errors, in order, and then well.
class FailingFilesystem final : public LinuxFilesystem {
 public:
  std::deque<int> errors;

  std::uint32_t read() {
    std::uint64_t done = 0;
    char buffer[512];
    return static_cast<std::uint32_t>(readAt(handleOfDescriptor(0), 0, 512, &done, 1, buffer));
  }

 protected:
  TransferOutcome move(const TransferRequest& request, std::uint32_t) override {
    TransferOutcome outcome;
    outcome.kind = TransferOutcome::Kind::Finished;
    if (errors.empty()) {
      outcome.bytes = request.length;
    } else {
      outcome.error = errors.front();
      errors.pop_front();
    }
    return outcome;
  }
};

TEST(LinuxFilesystem, OnlyTheMediumIsBlamedForTheMedium) {
  FailingFilesystem filesystem;
  const auto after = [&](std::deque<int> errors) {
    filesystem.errors = std::move(errors);
    return filesystem.read();
  };
  EXPECT_EQ(after({ENODATA}), 75u);
  EXPECT_EQ(after({EIO, EIO}), 75u);
  EXPECT_EQ(after({EIO}), 0u);
  EXPECT_EQ(after({EIO, ETIMEDOUT}), 34u);
  for (const int error : {ETIMEDOUT, ENOLINK, EREMOTEIO, EBADE, EILSEQ, EAGAIN, EINTR, ECANCELED,
                          ECONNRESET, EBUSY}) {
    EXPECT_EQ(after({error}), 34u) << error;
  }
  for (const int error : {ENXIO, ENODEV, EINVAL, EPERM}) {
    EXPECT_EQ(after({error}), 1u) << error;
  }
}

TEST(LinuxFilesystem, WorkThatDoesNotEndIsLeftBehind) {
  const auto release = std::make_shared<std::promise<void>>();
  const auto left = std::make_shared<std::atomic<bool>>(false);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(runWithin(std::chrono::milliseconds(50), [release, left] {
    release->get_future().wait();
    *left = true;
  }));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  release->set_value();
  for (int i = 0; i < 500 && !*left; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(*left);
  EXPECT_TRUE(runWithin(std::chrono::seconds(30), [] { throw std::runtime_error("probe"); }));
}

TEST(LinuxFilesystem, PathsThatCannotBeUsed) {
  LinuxFilesystem filesystem;
  using Paths = std::vector<std::string>;
  for (const std::string& bad : Paths{"a", std::string(256, 'a'), "/a/ \t/b", {"/a\0b", 4}}) {
    EXPECT_TRUE(filesystem.isInvalidPath(bad)) << bad;
  }
  for (const std::string& good :
       Paths{"/a", std::string(255, 'a'), "/a b/c ", "/COM1/x", "/a//b"}) {
    EXPECT_FALSE(filesystem.isInvalidPath(good)) << good;
  }
}

TEST(LinuxFilesystem, ProgramAndCurrentDirectoryStayValid) {
  LinuxFilesystem filesystem;
  const char* directory = filesystem.getProgramDirectory();
  EXPECT_EQ(
      std::string(directory) + "/" + fs::path(filesystem.getProgramPath()).filename().string(),
      fs::read_symlink("/proc/self/exe").string());
  const char* current = filesystem.getCurrentDirectory();
  EXPECT_EQ(fs::path(current), fs::current_path());
  EXPECT_EQ(filesystem.getCurrentDirectory(), current);
}

}  // namespace
}  // namespace ostria::storage::test
