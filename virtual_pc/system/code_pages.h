// The two single-byte code pages of a western system: that of the console and that of its programs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ostria::virtual_pc {

inline constexpr std::uint32_t kConsoleCodePage = 850;
inline constexpr std::uint32_t kSystemCodePage = 1252;

std::wstring fromCodePage(std::string_view text, std::uint32_t codePage);
/// Characters that the code page lacks become question marks.
std::string toCodePage(std::wstring_view text, std::uint32_t codePage);

}  // namespace ostria::virtual_pc
