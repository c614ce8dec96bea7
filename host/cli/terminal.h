#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ostria::host {

/// How the two outputs are to be written.
struct Terminal {
  bool outputIsTerminal = false;
  bool errorIsTerminal = false;
  bool outputColour = false;
  bool errorControl = false;    ///< lines of standard error can be overwritten
  std::size_t outputWidth = 0;  ///< columns; 0: no limit
  std::size_t errorWidth = 0;
};

/// Looks at the standard outputs and at TERM, NO_COLOR and COLUMNS.
Terminal detectTerminal();

/// Columns that a UTF-8 text takes, one for each code point.
std::size_t columns(std::string_view text);
/// The first `width` columns; a cut is marked by "~" in the last one.
std::string fitted(std::string_view text, std::size_t width);
/// The text filled with blanks to at least `width` columns.
std::string padded(std::string text, std::size_t width);
/// Breaks at blanks so that no line is wider than `width`; all lines but the first begin with
/// `indent` blanks. A word that is too long is broken. `width` 0 breaks nothing.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);
/// Control characters replaced by "?", line ends and tabs by blanks: what a device calls itself
/// must not steer a terminal.
std::string harmless(std::string_view text);

enum class Colour { Plain, Green, Red, Yellow, Grey, Bold };
std::string coloured(const std::string& text, Colour colour, bool enabled);

/// Writes to a file descriptor and remembers when nobody reads any more.
class Output {
 public:
  explicit Output(int descriptor) : descriptor_(descriptor) {}
  void write(std::string_view text);
  bool isClosed() const { return failure_ != 0; }
  /// The system's error number of the write that failed, 0 for none.
  int failure() const { return failure_; }

 private:
  int descriptor_;
  int failure_ = 0;
};

/// Opens the standard descriptors that the program was started without. To be called before
/// anything else is opened: a disk or a report must never get the number that output goes to.
void holdStandardDescriptors();

}  // namespace ostria::host
