# One folder with all that a user of Windows needs, and by `cpack` a zip of it: nothing is installed.
# The program finds the modules and the texts in its own folder.
install(TARGETS OstriaDiagnosticsCLI module_storage module_storage_virtual RUNTIME DESTINATION .)
install(DIRECTORY host/core/texts/ DESTINATION texts FILES_MATCHING PATTERN "*.txt")

# The system has no reader of man pages.
find_program(GROFF groff REQUIRED)
set(man_page ${CMAKE_SOURCE_DIR}/host/cli/man/OstriaDiagnosticsCLI.8)
set(man_text ${CMAKE_BINARY_DIR}/OstriaDiagnosticsCLI.txt)
add_custom_command(OUTPUT ${man_text} DEPENDS ${man_page} VERBATIM
                   COMMAND sh -c "exec \"$1\" -man -Tutf8 -P-cbou \"$2\" >\"$3\"" sh ${GROFF}
                           ${man_page} ${man_text})
add_custom_target(man_text ALL DEPENDS ${man_text})
install(FILES ${man_text} DESTINATION .)

install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION .)
install(FILES docs/cli.md docs/json.md docs/machine-file.md docs/result-records.md
              docs/host-guide.md docs/virtual-pc.md docs/windows.md docs/output.schema.json
        DESTINATION docs)
install(FILES virtual_pc/machine_file/built_in.json docs/examples/raid-machine.json
        DESTINATION machines)
install(DIRECTORY include/ostria DESTINATION include)
install(FILES cmake/copyright RENAME COPYRIGHT.txt DESTINATION .)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME ostria-storage)
set(CPACK_PACKAGE_FILE_NAME ostria-storage-${PROJECT_VERSION}-windows-x64)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
include(CPack)
