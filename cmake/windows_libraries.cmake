# The libraries of a Windows build, under the names that the rest of the build knows. Qt Core is a
# static one that scripts/build-windows makes. What Debian has for this machine alone, and is nothing
# but headers, is reached by a folder of its own: the rest of /usr/include must stay out of sight.
set(OSTRIA_WINDOWS_QT "" CACHE PATH "Folder of a static Qt Core for Windows (scripts/build-windows)")
if(NOT EXISTS ${OSTRIA_WINDOWS_QT}/lib/libQt5Core.a)
  message(FATAL_ERROR "OSTRIA_WINDOWS_QT names no folder with a static Qt Core: use scripts/build-windows")
endif()

add_library(Qt5::Core STATIC IMPORTED)
set_target_properties(Qt5::Core PROPERTIES IMPORTED_LOCATION ${OSTRIA_WINDOWS_QT}/lib/libQt5Core.a)
target_include_directories(Qt5::Core SYSTEM INTERFACE ${OSTRIA_WINDOWS_QT}/include
                           ${OSTRIA_WINDOWS_QT}/include/QtCore)
target_link_libraries(Qt5::Core INTERFACE ${OSTRIA_WINDOWS_QT}/lib/libqtpcre2.a mpr netapi32
                      userenv version ws2_32 winmm ole32 uuid shell32 advapi32 user32)

set(header_folder ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${header_folder})
file(CREATE_LINK /usr/include/nlohmann ${header_folder}/nlohmann SYMBOLIC)
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE ${header_folder})

find_package(Threads REQUIRED)

# Nothing but the system's own libraries is needed where the product runs.
add_link_options(-static -static-libgcc -static-libstdc++)
# Addresses are drawn by lot, all 64 bits of them, and data is no code.
add_link_options(-Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
