// A host that knows no header of the product: the names of the entry points, and the places of
// functions in the tables, each behind the two of the destructor. What moves in a table shows here.
// usage: wine_abi_host LIBRARY.DLL DEVICES
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

template <typename Result, typename... Arguments>
Result call(void* object, std::size_t place, Arguments... arguments) {
  constexpr std::size_t kDestructor = 2;
  void** const table = *static_cast<void***>(object);
  return reinterpret_cast<Result (*)(void*, Arguments...)>(table[kDestructor + place])(
      object, arguments...);
}

struct Key {
  std::uint16_t module;
  std::uint32_t category;
  std::uint32_t item;
  std::uint64_t packed;
};

struct Entry {
  std::string key;
  std::string value;
};
struct Description {
  std::string displayName;
  std::string model;
  std::vector<Entry> properties;
  std::map<std::string, std::string> attributes;
};

bool failed = false;

void expect(bool right, const std::string& what) {
  if (!right) {
    std::printf("abi_host: wrong: %s\n", what.c_str());
    failed = true;
  }
}

void look(void* module, std::uint32_t devices) {
  expect(call<std::uint32_t>(module, 1) == 2, "number of diagnostics");
  const std::uint32_t tests[] = {15, 7};
  for (std::uint32_t i = 0; i < 2; ++i) {
    void* const diagnostic = call<void*>(module, 0, i);
    const Key key = call<Key>(diagnostic, 0);
    expect(key.module == 1 && key.category == i + 1, "identifier of a diagnostic");
    expect(call<std::uint32_t>(diagnostic, 1) == tests[i], "number of tests");
    for (std::uint32_t k = 0; k < tests[i]; ++k) {
      void* const test = call<void*>(diagnostic, 2, k);
      // The first field stands behind the pointer to the table.
      const Key* const id = reinterpret_cast<const Key*>(static_cast<void**>(test) + 1);
      expect(id->module == 1 && id->category == i + 1 && id->item != 0, "identifier of a test");
      expect(call<void*>(diagnostic, 3, id) == test, "test by identifier");
    }
    expect(call<void*>(diagnostic, 2, tests[i]) == nullptr, "a test behind the last");
  }
  expect(call<void*>(module, 0, 2u) == nullptr, "a diagnostic behind the last");
  expect(call<void*>(module, 2) != nullptr, "resource");
  expect(call<std::uint32_t>(module, 5) == 2, "number of tools");
  const char* const words[] = {"recover", "smart"};
  for (std::uint32_t i = 0; i < 2; ++i) {
    void* const tool = call<void*>(module, 4, i);
    const auto word = call<std::string>(tool, 7);
    expect(word == words[i], "command word of a tool: " + word);
  }
  expect(call<void*>(module, 6) == nullptr && !call<bool>(module, 7), "no extension");

  void* const manager = call<void*>(module, 3);
  call<void>(manager, 5);
  expect(call<std::uint32_t>(manager, 1) == devices,
         "number of devices: " + std::to_string(call<std::uint32_t>(manager, 1)));
  for (std::uint32_t i = 0; i < devices; ++i) {
    void* const component = call<void*>(manager, 2, i);
    expect(component != nullptr && !call<std::string>(component, 0).empty(), "id of a device");
    const auto description = call<Description>(component, 1);
    expect(
        description.displayName.find(" - ") != std::string::npos && !description.properties.empty(),
        "description of a device");
  }
}

template <typename Function>
Function entry(HMODULE library, const char* name) {
  const auto found =
      reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
  if (found == nullptr) {
    std::printf("abi_host: no %s\n", name);
    std::exit(1);
  }
  return found;
}

}  // namespace

int main(int argc, char** argv) {
  const HMODULE library = argc == 3 ? LoadLibraryA(argv[1]) : nullptr;
  if (library == nullptr) {
    std::printf("abi_host: cannot load it, error %lu\n", GetLastError());
    return 1;
  }
  const auto instance = entry<void* (*)()>(library, "GetModuleInterfaceInstance");
  const auto release = entry<void (*)()>(library, "ReleaseModuleInterfaceInstance");
  void* const version = entry<void* (*)()>(library, "GetProductVersion")();
  expect(call<std::uint32_t>(version, 0) == 4 && call<std::uint32_t>(version, 1) == 46, "version");
  const auto devices = static_cast<std::uint32_t>(std::atoi(argv[2]));
  for (int round = 0; round < 2; ++round) {
    look(instance(), devices);
    release();
  }
  std::printf("abi_host: %s: %s\n", argv[1], failed ? "failed" : "all as expected");
  return failed ? 1 : 0;
}
