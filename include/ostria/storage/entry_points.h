#pragma once

#include "ostria/storage/module_interface.h"
#include "ostria/storage/product_version.h"

#if defined(_WIN32)
#define OSTRIA_STORAGE_EXPORT __declspec(dllexport)
#else
#define OSTRIA_STORAGE_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

/// The catalogue; built by the first call, the same object afterwards. Null when it could not be
/// built. Not to be called from two threads at a time.
OSTRIA_STORAGE_EXPORT ostria::storage::ModuleInterface* GetModuleInterfaceInstance();

/// Version of the interface; static, never to be freed. May be called from any thread at any time.
OSTRIA_STORAGE_EXPORT ostria::storage::ProductVersion* GetProductVersion();

/// Destroys the catalogue and all devices. Harmless without a catalogue. Not while a test runs.
OSTRIA_STORAGE_EXPORT void ReleaseModuleInterfaceInstance();
}
