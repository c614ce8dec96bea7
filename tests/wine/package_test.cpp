// What the system reads of the files of the package: version resources, and the program's manifest.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "services/string_handler.h"

namespace ostria::storage::test {
namespace {

/// Folder of the unpacked zip, as the script that runs the tests gives it.
std::wstring fileOfPackage(const std::wstring& name) {
  wchar_t folder[MAX_PATH] = {};
  GetEnvironmentVariableW(L"OSTRIA_PACKAGE", folder, MAX_PATH);
  return std::wstring(folder) + L"\\" + name;
}

class VersionResource {
 public:
  explicit VersionResource(const std::wstring& file)
      : bytes_(GetFileVersionInfoSizeW(file.c_str(), nullptr)) {
    if (!bytes_.empty() &&
        !GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(bytes_.size()), bytes_.data())) {
      bytes_.clear();
    }
  }
  /// nullptr where there is none.
  const VS_FIXEDFILEINFO* numbers() const {
    return static_cast<const VS_FIXEDFILEINFO*>(value(L"\\"));
  }
  /// In English, as Unicode; empty where there is none.
  std::string text(const std::wstring& name) const {
    const void* const found = value(L"\\StringFileInfo\\040904B0\\" + name);
    return found == nullptr ? std::string() : toNarrow(static_cast<const wchar_t*>(found));
  }

 private:
  const void* value(const std::wstring& path) const {
    void* found = nullptr;
    UINT length = 0;
    return !bytes_.empty() && VerQueryValueW(bytes_.data(), path.c_str(), &found, &length) &&
                   length != 0
               ? found
               : nullptr;
  }
  std::vector<std::uint8_t> bytes_;
};

TEST(WinePackageTest, FilesSayWhatTheyAre) {
  const struct {
    std::string name;
    DWORD type;
    std::string description;
  } rows[] = {
      {"module_storage.dll", VFT_DLL, "Diagnostics of storage devices"},
      {"module_storage_virtual.dll", VFT_DLL, "Diagnostics of storage devices, on a simulated PC"},
      {"OstriaDiagnosticsCLI.exe", VFT_APP, "Diagnostics of storage devices, command line"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const VersionResource resource(fileOfPackage(toWide(row.name)));
    const VS_FIXEDFILEINFO* const numbers = resource.numbers();
    ASSERT_NE(numbers, nullptr);
    EXPECT_EQ(numbers->dwFileVersionMS, 0x00050000u);
    EXPECT_EQ(numbers->dwFileVersionLS, 0x00010000u);
    EXPECT_EQ(numbers->dwProductVersionMS, 0x00050000u);
    EXPECT_EQ(numbers->dwProductVersionLS, 0x00010000u);
    EXPECT_EQ(numbers->dwFileType, row.type);
    EXPECT_EQ(resource.text(L"FileDescription"), row.description);
    EXPECT_EQ(resource.text(L"FileVersion"), "5.0.1.0");
    EXPECT_EQ(resource.text(L"ProductVersion"), "5.0.1.0");
    EXPECT_EQ(resource.text(L"OriginalFilename"), row.name);
    EXPECT_EQ(resource.text(L"InternalName"), row.name);
    for (const wchar_t* const filled : {L"CompanyName", L"ProductName", L"LegalCopyright"}) {
      EXPECT_NE(resource.text(filled), "") << toNarrow(filled);
    }
  }
}

TEST(WinePackageTest, TheProgramsManifest) {
  const HMODULE program = LoadLibraryExW(fileOfPackage(L"OstriaDiagnosticsCLI.exe").c_str(),
                                         nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(program, nullptr);
  // RT_MANIFEST is of the build without Unicode here.
  const HRSRC place = FindResourceW(program, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
  ASSERT_NE(place, nullptr);
  const std::string text(static_cast<const char*>(LockResource(LoadResource(program, place))),
                         SizeofResource(program, place));
  FreeLibrary(program);
  for (const char* const part :
       {">UTF-8</activeCodePage>", ">true</longPathAware>", "level=\"asInvoker\"",
        "SMI/2019/WindowsSettings", "SMI/2016/WindowsSettings"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  }
  // This program has the same one, and the system follows it.
  EXPECT_EQ(GetACP(), UINT{CP_UTF8});
}

}  // namespace
}  // namespace ostria::storage::test
