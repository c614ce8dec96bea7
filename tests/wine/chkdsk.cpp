// Stands in for the system's file system checker: prints what a file asks for, in the code page of
// consoles, and ends with the exit code of its first line. It expects what a caller must give it: a
// volume and the switch that repairs.
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
  if (argc != 3 || std::string(argv[1]) != "C:" || std::string(argv[2]) != "/F") {
    return 77;
  }
  // An inherited handle of the pipe's other end would keep the caller from seeing its end.
  std::ifstream script("C:\\checker.txt", std::ios::binary);
  std::string first;
  if (!std::getline(script, first)) {
    return 78;
  }
  const std::string text((std::istreambuf_iterator<char>(script)),
                         std::istreambuf_iterator<char>());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                          static_cast<int>(wide.size()))));
  std::string bytes(4 * wide.size(), '\0');
  bytes.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_OEMCP, 0, wide.data(), static_cast<int>(wide.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, nullptr)));
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  for (std::size_t at = 0; at < bytes.size();) {
    DWORD written = 0;
    if (WriteFile(output, bytes.data() + at, static_cast<DWORD>(bytes.size() - at), &written,
                  nullptr) == FALSE) {
      return 79;
    }
    at += written;
  }
  return std::atoi(first.c_str());
}
