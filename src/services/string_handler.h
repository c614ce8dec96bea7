#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace ostria::storage {

/// Text services: trimming and cleaning of the fixed-width text fields that come from drives,
/// bounded copies, splitting. No state; every call is independent.
///
/// The order of the operations belongs to the interface that hosts call. This product itself calls
/// `removeBlanks`, `keepPrintable`, `trim`, `toUpperCase`, `toLowerCase`, `startsWith`,
/// `formatBounded`, `fromBytes`, `tokenize`, `cutAtNul`, `copyFixedField` and `widen`; all others
/// are for a host alone.
class StringHandler {
 public:
  virtual ~StringHandler() = default;

  /// All characters up to the first NUL or the limit are digits; true for an empty text.
  virtual bool isDigits(const char* bytes, std::size_t limit) = 0;
  /// Appends to `out` every character of `text` other than a blank.
  virtual void removeBlanks(const std::string& text, std::string& out) = 0;
  /// Appends to `out` every character from 32 to 126.
  virtual void keepPrintable(const std::string& text, std::string& out) = 0;
  /// `out` becomes `text` without the characters of the set; an empty text or set leaves it as it
  /// is.
  virtual void removeCharacters(const std::set<char>& characters, const std::string& text,
                                std::string& out) = 0;
  /// Removes leading and trailing blanks; only the blank counts.
  virtual void trim(std::string& text) = 0;
  virtual bool isUpperCase(std::string text) = 0;  ///< false for an empty text
  virtual void toUpperCase(std::string& text) = 0;
  virtual void toLowerCase(std::string& text) = 0;
  virtual bool startsWith(const std::string& text, const std::string& prefix) = 0;
  /// The parts in order, no empty tail.
  virtual std::vector<std::string> splitLines(const std::string& text, char delimiter) = 0;
  virtual int compareN(const char* a, const char* b, std::size_t n) = 0;
  /// As `vsnprintf`; -1 on failure, and on a text that does not fit (which is cut and terminated).
  virtual int formatBounded(char* buffer, std::size_t size, const char* format, ...)
      __attribute__((format(printf, 4, 5))) = 0;
  /// Copies at most `n` characters and terminates. 0 on success; -1, with an empty destination,
  /// when a pointer is null or the text does not fit. With the largest `n` the text is cut to what
  /// fits instead, with the result 80.
  virtual int copyN(char* destination, std::size_t size, const char* source, std::size_t n) = 0;
  /// Copies `n` bytes and terminates. -1 and an empty destination if a pointer is null, `size` is
  /// 0, `n` and the terminator do not fit, or the ranges overlap.
  virtual int copyExact(char* destination, std::size_t size, const char* source, std::size_t n) = 0;
  virtual std::size_t lengthN(const char* text, std::size_t limit) = 0;
  /// Appends at most `n` characters; results as `copyN`.
  virtual int appendN(char* destination, std::size_t size, const char* source, std::size_t n) = 0;
  /// @param converted  characters written, the terminator included. 0 on success
  virtual int wideToMultiByte(std::size_t* converted, char* destination, std::size_t size,
                              const wchar_t* source, std::size_t n) = 0;
  virtual int multiByteToWide(std::size_t* converted, wchar_t* destination, std::size_t size,
                              const char* source, std::size_t n) = 0;
  virtual std::size_t wideLength(const wchar_t* text, std::size_t limit) = 0;  ///< null gives 0
  virtual int compareNoCase(const char* a, const char* b) = 0;
  /// As `snprintf`: the count that the whole text needs; -1 on failure.
  virtual int format(char* buffer, std::size_t size, const char* format, ...)
      __attribute__((format(printf, 4, 5))) = 0;
  virtual int scan(const char* text, const char* format, ...)
      __attribute__((format(scanf, 3, 4))) = 0;
  /// Exactly `length` bytes, embedded NUL included.
  virtual std::string fromBytes(const void* bytes, std::size_t length) = 0;
  /// The non-empty runs between any of the delimiters.
  virtual std::vector<std::string> tokenize(const std::string& text,
                                            const std::string& delimiters) = 0;
  virtual std::string cutAtNul(const std::string& text) = 0;
  /// A fixed-width device field as a C string: leading blanks skipped, up to the first NUL,
  /// trailing blanks dropped, anything outside 32 to 126 replaced by "?". The destination is
  /// zero-filled and always terminated; a text that does not fit is cut. @return `destination`
  virtual char* copyFixedField(char* destination, std::size_t size, const void* source,
                               std::size_t sourceLength) = 0;
  /// If the last character is in `set`, drops as many characters as the set has (none when the text
  /// is shorter than the set).
  virtual void cutTrailing(std::string& text, const std::string& set) = 0;
  /// Each byte becomes one wide character, with sign extension.
  virtual std::wstring widen(const std::string& text) = 0;
};

/// The module's own handler, made on first use and never freed. Defined by each platform.
StringHandler& getLocalStringHandler();

/// UTF-8 to wide text and back; an empty or failing conversion gives an empty text. Defined by each
/// platform, since the width of a wide character differs.
std::wstring toWide(const std::string& text);
std::string toNarrow(const std::wstring& text);

}  // namespace ostria::storage
