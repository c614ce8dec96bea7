// A report of a night's run must not be half a file after a full disk or a power cut, nor cost the
// old one.
#include "host/core/report/whole_file.h"

#include <filesystem>
#include <system_error>

namespace ostria::host {
namespace {

namespace fs = std::filesystem;

bool isWrittenDirectly(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  return fs::exists(status) && !fs::is_regular_file(status);
}

// A link stays a link: what it leads to is replaced.
std::string realPath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(path, error);
  return error ? path : real.string();
}

}  // namespace

WholeFile::WholeFile(const std::string& path) : path_(realPath(path)) {
  if (!isWrittenDirectly(path_)) {
    partial_ = path_ + ".partial";
  }
  file_.open(partial_.empty() ? path_ : partial_, std::ios::binary | std::ios::trunc);
}

WholeFile::~WholeFile() {
  file_.close();
  std::error_code error;
  if (!partial_.empty()) {
    fs::remove(partial_, error);
  }
}

bool WholeFile::isPossible(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) {
    return false;
  }
  const WholeFile file(path);
  return file.file_.is_open();
}

bool WholeFile::keep() {
  file_.flush();
  const bool written = static_cast<bool>(file_);
  file_.close();
  if (!written || partial_.empty()) {
    return written;
  }
  std::error_code error;
  fs::rename(partial_, path_, error);
  return !error;
}

}  // namespace ostria::host
