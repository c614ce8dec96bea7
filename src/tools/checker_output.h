#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace ostria::storage {

/// The percentage at the start of a line of a filesystem checker, after at most one blank, or that
/// of the whole in a status line ("Stage: 21%; Total: 10%"); -1 for any other line.
int parseCheckerPercent(std::string line);

/// Lines of a checker's text for people: those that end in carriage return and line feed, without
/// carriage returns and empty lines. What stands behind the last such end is dropped.
std::string cleanCheckerText(const std::string& text);

/// Sorts what a filesystem checker prints, byte by byte, into progress and text.
class CheckerOutput {
 public:
  using Convert = std::function<std::string(const std::string&)>;

  /// @param convert  turns a line of the checker into this system's text
  explicit CheckerOutput(Convert convert) : convert_(std::move(convert)) {}

  /// @return the percentage to report, if the byte ended a line with one; never below an earlier
  ///         one
  std::optional<int> accept(char byte);
  /// A thousand lines came without any percentage.
  bool isStuck() const { return !sawPercent_ && otherLines_ >= kStuckAfterLines; }
  std::string message() const { return cleanCheckerText(text_); }

 private:
  static constexpr std::size_t kStuckAfterLines = 1000;

  Convert convert_;
  std::string line_;
  std::string text_;
  std::size_t otherLines_ = 0;
  int lastPercent_ = 0;
  bool sawPercent_ = false;
  bool afterReturn_ = false;
};

}  // namespace ostria::storage
