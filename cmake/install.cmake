# The program finds the modules, the driver service and the texts in its own folder, so all of them
# lie together; a link in the folder of programs leads there. Three components, as the packages are:
# runtime, development, documents.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(ostria_folder ${CMAKE_INSTALL_LIBDIR}/ostria)

install(TARGETS OstriaDiagnosticsCLI RUNTIME DESTINATION ${ostria_folder} COMPONENT runtime)
install(TARGETS module_storage module_storage_virtual OstriaDiagnosticsDriverService
        LIBRARY DESTINATION ${ostria_folder} COMPONENT runtime)
# Every language: one more is one more file.
install(DIRECTORY host/core/texts/ DESTINATION ${ostria_folder}/texts COMPONENT runtime
        FILES_MATCHING PATTERN "*.txt")
install(CODE "
  set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  file(RELATIVE_PATH target \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\"
       \"\${CMAKE_INSTALL_PREFIX}/${ostria_folder}/OstriaDiagnosticsCLI\")
  file(MAKE_DIRECTORY \"\${bin}\")
  file(CREATE_LINK \"\${target}\" \"\${bin}/OstriaDiagnosticsCLI\" SYMBOLIC)
" COMPONENT runtime)
find_program(GZIP gzip)
set(man_page ${CMAKE_SOURCE_DIR}/host/cli/man/OstriaDiagnosticsCLI.8)
if(GZIP)
  execute_process(COMMAND ${GZIP} -9nc ${man_page} COMMAND_ERROR_IS_FATAL ANY
                  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/OstriaDiagnosticsCLI.8.gz)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${man_page})
  set(man_page ${CMAKE_CURRENT_BINARY_DIR}/OstriaDiagnosticsCLI.8.gz)
endif()
install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT runtime)
install(FILES host/cli/completion/OstriaDiagnosticsCLI.bash RENAME OstriaDiagnosticsCLI
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
install(FILES host/cli/completion/_OstriaDiagnosticsCLI
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT runtime)
install(FILES host/cli/completion/OstriaDiagnosticsCLI.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT runtime)
install(FILES docs/output.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/ostria COMPONENT runtime)
# Also beside the document that explains them. As examples: whoever enables one has read it first.
install(DIRECTORY docs/examples/systemd DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ostria-storage/examples
        COMPONENT runtime)

# What another host is built with.
install(DIRECTORY include/ostria DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/OstriaStorage)
configure_package_config_file(cmake/OstriaStorageConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/OstriaStorageConfig.cmake INSTALL_DESTINATION ${config_folder}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR ostria_folder)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/OstriaStorageConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH ostria_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ostria_pc_prefix "${ostria_pc_prefix}")
configure_file(cmake/ostria-storage.pc.in ${CMAKE_CURRENT_BINARY_DIR}/ostria-storage.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/OstriaStorageConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/OstriaStorageConfigVersion.cmake
        DESTINATION ${config_folder} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ostria-storage.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc/ostria-storage-doc)
install(FILES README.md CHANGELOG.md SECURITY.md docs/cli.md docs/json.md docs/machine-file.md
              docs/result-records.md docs/metrics.md docs/host-guide.md docs/virtual-pc.md docs/output.schema.json
        DESTINATION ${doc_folder} COMPONENT documents)
install(DIRECTORY docs/examples/ examples/minimal_host DESTINATION ${doc_folder}/examples
        COMPONENT documents)
