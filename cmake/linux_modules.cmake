# The module and its virtual twin on Linux, and the skeleton of a port.
ostria_sources(linux_sources src/platform/linux)
add_library(ostria_linux OBJECT ${linux_sources})
target_include_directories(ostria_linux PUBLIC include src)
target_link_libraries(ostria_linux PUBLIC PkgConfig::URING PkgConfig::BLKID PkgConfig::MOUNT
                      SQLite::SQLite3 Qt5::Core Threads::Threads ${CMAKE_DL_LIBS})

# The skeleton of a port: it defines all that a platform must, and answers "not supported".
ostria_sources(none_sources src/platform/none)
add_library(ostria_none OBJECT ${none_sources})
target_include_directories(ostria_none PUBLIC include src)
target_link_libraries(ostria_none PUBLIC Qt5::Core Threads::Threads)

# Only the entry points and the driver service class leave the libraries.
function(ostria_module name)
  add_library(${name} SHARED)
  target_link_libraries(${name} PRIVATE ${ARGN})
  target_link_options(${name} PRIVATE
                      -Wl,--version-script=${CMAKE_SOURCE_DIR}/src/module/exports.map -Wl,-z,defs)
  set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS
               ${CMAKE_SOURCE_DIR}/src/module/exports.map)
endfunction()
ostria_module(module_storage ostria_core ostria_linux)
ostria_module(module_storage_virtual ostria_core ostria_windows ostria_virtual_pc ostria_machine_file)
# Not for users: that it links shows that the skeleton defines everything.
ostria_module(module_storage_none ostria_core ostria_none)
set_target_properties(module_storage_none PROPERTIES
                      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/none)
