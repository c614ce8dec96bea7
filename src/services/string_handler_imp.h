#pragma once

#include "services/string_handler.h"

namespace ostria::storage {

/// The text services that are the same on every platform. Upper and lower case mean ASCII letters,
/// whatever the locale of the process.
class StringHandlerImp : public StringHandler {
 public:
  bool isDigits(const char* bytes, std::size_t limit) override;
  void removeBlanks(const std::string& text, std::string& out) override;
  void keepPrintable(const std::string& text, std::string& out) override;
  void removeCharacters(const std::set<char>& characters, const std::string& text,
                        std::string& out) override;
  void trim(std::string& text) override;
  bool isUpperCase(std::string text) override;
  void toUpperCase(std::string& text) override;
  void toLowerCase(std::string& text) override;
  bool startsWith(const std::string& text, const std::string& prefix) override;
  std::vector<std::string> splitLines(const std::string& text, char delimiter) override;
  int compareN(const char* a, const char* b, std::size_t n) override;
  int formatBounded(char* buffer, std::size_t size, const char* format, ...) override
      __attribute__((format(printf, 4, 5)));
  int copyN(char* destination, std::size_t size, const char* source, std::size_t n) override;
  int copyExact(char* destination, std::size_t size, const char* source, std::size_t n) override;
  std::size_t lengthN(const char* text, std::size_t limit) override;
  int appendN(char* destination, std::size_t size, const char* source, std::size_t n) override;
  int wideToMultiByte(std::size_t* converted, char* destination, std::size_t size,
                      const wchar_t* source, std::size_t n) override;
  int multiByteToWide(std::size_t* converted, wchar_t* destination, std::size_t size,
                      const char* source, std::size_t n) override;
  std::size_t wideLength(const wchar_t* text, std::size_t limit) override;
  int compareNoCase(const char* a, const char* b) override;
  int format(char* buffer, std::size_t size, const char* format, ...) override
      __attribute__((format(printf, 4, 5)));
  int scan(const char* text, const char* format, ...) override __attribute__((format(scanf, 3, 4)));
  std::string fromBytes(const void* bytes, std::size_t length) override;
  std::vector<std::string> tokenize(const std::string& text,
                                    const std::string& delimiters) override;
  std::string cutAtNul(const std::string& text) override;
  char* copyFixedField(char* destination, std::size_t size, const void* source,
                       std::size_t sourceLength) override;
  void cutTrailing(std::string& text, const std::string& set) override;
  std::wstring widen(const std::string& text) override;
};

}  // namespace ostria::storage
