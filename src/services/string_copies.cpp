// The bounded copies of the string handler.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <functional>

#include "services/string_handler_imp.h"

namespace ostria::storage {
namespace {

// What a bounded copy gives for a text that it is to cut ("as much as fits").
constexpr std::size_t kCut = static_cast<std::size_t>(-1);
constexpr int kWasCut = 80;

template <typename Character>
int refuse(Character* destination, std::size_t size, int error) {
  if (destination != nullptr && size != 0) {
    destination[0] = 0;
  }
  return error;
}

}  // namespace

int StringHandlerImp::copyN(char* destination, std::size_t size, const char* source,
                            std::size_t n) {
  if (destination == nullptr || size == 0 || source == nullptr) {
    return refuse(destination, size, -1);
  }
  const std::size_t length = lengthN(source, std::min(n, size));
  if (length >= size && n != kCut) {
    return refuse(destination, size, -1);
  }
  const std::size_t kept = std::min(length, size - 1);
  std::memmove(destination, source, kept);
  destination[kept] = 0;
  return kept == length ? 0 : kWasCut;
}

int StringHandlerImp::copyExact(char* destination, std::size_t size, const char* source,
                                std::size_t n) {
  if (destination == nullptr || source == nullptr || size == 0 || n >= size) {
    return refuse(destination, size, -1);
  }
  const std::less<const char*> before;  // a total order, also of unrelated objects
  if (before(source, destination + n + 1) && before(destination, source + n)) {
    return refuse(destination, size, -1);
  }
  std::memcpy(destination, source, n);
  destination[n] = 0;
  return 0;
}

int StringHandlerImp::appendN(char* destination, std::size_t size, const char* source,
                              std::size_t n) {
  if (destination == nullptr || size == 0 || source == nullptr) {
    return refuse(destination, size, -1);
  }
  const std::size_t present = lengthN(destination, size);
  if (present == size) {
    return refuse(destination, size, -1);
  }
  const std::size_t room = size - present;
  const std::size_t length = lengthN(source, std::min(n, room));
  if (length >= room && n != kCut) {
    return refuse(destination, size, -1);
  }
  const std::size_t kept = std::min(length, room - 1);
  std::memmove(destination + present, source, kept);
  destination[present + kept] = 0;
  return kept == length ? 0 : kWasCut;
}

int StringHandlerImp::wideToMultiByte(std::size_t* converted, char* destination, std::size_t size,
                                      const wchar_t* source, std::size_t n) {
  if (converted != nullptr) {
    *converted = 0;
  }
  if (source == nullptr || (destination == nullptr) != (size == 0)) {
    return refuse(destination, size, EINVAL);
  }
  std::mbstate_t state{};
  std::size_t length = 0;
  for (const wchar_t* next = source; *next != 0; ++next) {
    char bytes[16];
    const std::size_t count = std::wcrtomb(bytes, *next, &state);
    if (count == static_cast<std::size_t>(-1)) {
      return refuse(destination, size, EILSEQ);
    }
    if (destination != nullptr) {
      if (length + count > n) {
        break;  // as many whole characters as `n` bytes hold
      }
      if (length + count >= size) {
        return refuse(destination, size, ERANGE);
      }
      std::memcpy(destination + length, bytes, count);
    }
    length += count;
  }
  if (destination != nullptr) {
    destination[length] = 0;
  }
  if (converted != nullptr) {
    *converted = length + 1;
  }
  return 0;
}

int StringHandlerImp::multiByteToWide(std::size_t* converted, wchar_t* destination,
                                      std::size_t size, const char* source, std::size_t n) {
  if (converted != nullptr) {
    *converted = 0;
  }
  if (source == nullptr || (destination == nullptr) != (size == 0)) {
    return refuse(destination, size, EINVAL);
  }
  std::mbstate_t state{};
  std::size_t length = 0;
  const char* const end = source + std::strlen(source);
  for (const char* next = source; next != end; ++length) {
    if (destination != nullptr && length == n) {
      break;
    }
    wchar_t wide = 0;
    const std::size_t count =
        std::mbrtowc(&wide, next, static_cast<std::size_t>(end - next), &state);
    if (count == 0 || count > static_cast<std::size_t>(end - next)) {
      return refuse(destination, size, EILSEQ);
    }
    if (destination != nullptr) {
      if (length + 1 >= size) {
        return refuse(destination, size, ERANGE);
      }
      destination[length] = wide;
    }
    next += count;
  }
  if (destination != nullptr) {
    destination[length] = 0;
  }
  if (converted != nullptr) {
    *converted = length + 1;
  }
  return 0;
}

std::size_t StringHandlerImp::wideLength(const wchar_t* text, std::size_t limit) {
  if (text == nullptr) {
    return 0;
  }
  std::size_t length = 0;
  while (length < limit && text[length] != 0) {
    ++length;
  }
  return length;
}

char* StringHandlerImp::copyFixedField(char* destination, std::size_t size, const void* source,
                                       std::size_t sourceLength) {
  if (destination == nullptr || size == 0) {
    return destination;
  }
  // The source may lie in the destination, which is filled with zeros first.
  std::string field = fromBytes(source, sourceLength);
  field.erase(0, field.find_first_not_of(' '));
  field.resize(lengthN(field.data(), field.size()));
  field.erase(field.find_last_not_of(' ') + 1);
  std::memset(destination, 0, size);
  std::transform(field.begin(),
                 field.begin() + static_cast<std::ptrdiff_t>(std::min(field.size(), size - 1)),
                 destination, [](char c) { return c >= 32 && c <= 126 ? c : '?'; });
  return destination;
}

}  // namespace ostria::storage
