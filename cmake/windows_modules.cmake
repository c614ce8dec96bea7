# On Windows the Windows-bound classes are compiled twice: against the SDK for the module, and
# against the virtual PC's headers of the same names for the virtual one.
add_library(ostria_windows_system OBJECT ${windows_sources})
target_include_directories(ostria_windows_system PUBLIC include src)
target_link_libraries(ostria_windows_system PUBLIC Qt5::Core setupapi cfgmgr32 ole32 oleaut32
                      wbemuuid advapi32)

# Properties of a file, as the Explorer shows them, and the manifest of a program.
function(ostria_version_resource target file_type description)
  set(OSTRIA_FILE_TYPE ${file_type})
  set(OSTRIA_DESCRIPTION ${description})
  if(file_type STREQUAL "VFT_APP")
    set(OSTRIA_FILE ${target}.exe)
    set(OSTRIA_MANIFEST "1 24 \"${CMAKE_SOURCE_DIR}/host/platform/windows/program.manifest\"")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                 ${CMAKE_SOURCE_DIR}/host/platform/windows/program.manifest)
  else()
    set(OSTRIA_FILE ${target}.dll)
    set(OSTRIA_MANIFEST "")
  endif()
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_BINARY_DIR}/${target}.rc)
endfunction()

# What leaves a library is marked in the sources; nothing else does.
function(ostria_module name description)
  add_library(${name} SHARED)
  set_target_properties(${name} PROPERTIES PREFIX "")
  target_link_libraries(${name} PRIVATE ${ARGN})
  target_link_options(${name} PRIVATE -Wl,--exclude-all-symbols)
  ostria_version_resource(${name} VFT_DLL ${description})
endfunction()
ostria_module(module_storage "Diagnostics of storage devices" ostria_core ostria_windows_system)
ostria_module(module_storage_virtual "Diagnostics of storage devices, on a simulated PC"
              ostria_core ostria_windows ostria_virtual_pc ostria_machine_file)
