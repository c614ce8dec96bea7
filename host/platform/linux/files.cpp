// Root writes reports into folders of others, who may put a link, a pipe or a disk where the file
// is to be. So the folder is opened once, what lies in it is looked at without following it, and a
// new file of our own takes the name only when it is complete.
#include "host/platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>

namespace ostria::host {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close() {
    if (number_ >= 0) {
      ::close(number_);
    }
    number_ = -1;
  }
  void reset(int number) {
    close();
    number_ = number;
  }

 private:
  int number_;
};

UsageError because(const char* key, const std::string& path, int error) {
  return {key, {{"file", path}, {"reason", std::generic_category().message(error)}}};
}

bool isTrusted(const struct stat& status) {
  return (status.st_uid == 0 || status.st_uid == geteuid()) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

class DirectoryFile final : public WholeFile {
 public:
  DirectoryFile(int folder, std::string name, Readers readers)
      : folder_(folder), name_(std::move(name)), mode_(readers == Readers::Owner ? 0600 : 0644) {}
  ~DirectoryFile() override { drop(); }

  // The random part keeps others from being there first; O_EXCL is what counts.
  bool create() {
    std::random_device random;
    for (int attempt = 0; attempt < 16 && !file_.isOpen(); ++attempt) {
      partial_ = "." + name_.substr(0, 200) + "." + std::to_string(random()) + ".partial";
      file_.reset(openat(folder_.get(), partial_.c_str(),
                         O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
      if (!file_.isOpen() && errno != EEXIST) {
        break;
      }
    }
    return file_.isOpen();
  }

  void drop() {
    if (file_.isOpen()) {
      unlinkat(folder_.get(), partial_.c_str(), 0);
      file_.close();
    }
  }

  void write(std::string_view text) override {
    if (!file_.isOpen() && !failed_) {
      failed_ = !create();
    }
    while (!text.empty() && !failed_) {
      const ssize_t written = ::write(file_.get(), text.data(), text.size());
      if (written > 0) {
        text.remove_prefix(static_cast<std::size_t>(written));
      } else if (written == 0 || errno != EINTR) {
        failed_ = true;
      }
    }
  }

  bool keep() override {
    write({});
    // The mask of the caller does not decide who reads it.
    if (failed_ || fchmod(file_.get(), mode_) != 0 || fsync(file_.get()) != 0 || !mayReplace() ||
        renameat(folder_.get(), partial_.c_str(), folder_.get(), name_.c_str()) != 0) {
      drop();
      return false;
    }
    file_.close();
    return true;
  }

  // A link, a pipe or a disk of that name was put there by somebody else.
  bool mayReplace() const {
    struct stat status {};
    if (fstatat(folder_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return errno == ENOENT;
    }
    return S_ISREG(status.st_mode);
  }

 private:
  Descriptor folder_;
  Descriptor file_{-1};
  std::string name_;
  mode_t mode_;
  std::string partial_;
  bool failed_ = false;
};

}  // namespace

OrUsageError<std::string> readRegularFile(const std::string& path, const FileDemands& demands) {
  // Without O_NONBLOCK a pipe would hold the program for ever.
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const Descriptor file(open(path.c_str(), demands.trusted ? flags | O_NOFOLLOW : flags));
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      return UsageError{kFileMissing, {{"file", path}}};
    }
    return errno == ELOOP ? UsageError{"file.not_trusted", {{"file", path}}}
                          : because("file.unreadable", path, errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return UsageError{"file.not_regular", {{"file", path}}};
  }
  if (demands.trusted && !isTrusted(status)) {
    return UsageError{"file.not_trusted", {{"file", path}}};
  }
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t count = read(file.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return because("file.unreadable", path, errno);
    }
    if (count == 0) {
      return content;
    }
    content.append(buffer, static_cast<std::size_t>(count));
    // It may grow while it is read.
    if (content.size() > demands.mostBytes) {
      return UsageError{"file.too_large",
                        {{"file", path}, {"limit", std::to_string(demands.mostBytes / kMebibyte)}}};
    }
  }
}

OrUsageError<std::unique_ptr<WholeFile>> WholeFile::prepare(const std::string& path,
                                                            Readers readers) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) {
    return because("file.report_unwritable", path, errno);
  }
  auto file = std::make_unique<DirectoryFile>(directory, name, readers);
  if (name.empty() || name == "." || name == ".." || !file->mayReplace()) {
    return UsageError{"file.report_not_regular", {{"file", path}}};
  }
  if (!file->create()) {
    return because("file.report_unwritable", path, errno);
  }
  file->drop();
  return file;
}

}  // namespace ostria::host
