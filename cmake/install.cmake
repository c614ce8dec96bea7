# The program finds the modules, the driver service and the texts in its own folder, so all of them
# lie together; a link in the folder of programs leads there.
include(GNUInstallDirs)
set(ostria_folder ${CMAKE_INSTALL_LIBDIR}/ostria)

install(TARGETS OstriaDiagnosticsCLI RUNTIME DESTINATION ${ostria_folder})
install(TARGETS module_storage module_storage_virtual OstriaDiagnosticsDriverService
        LIBRARY DESTINATION ${ostria_folder})
install(FILES host/core/texts/en.txt DESTINATION ${ostria_folder}/texts)
install(CODE "
  set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  file(RELATIVE_PATH target \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\"
       \"\${CMAKE_INSTALL_PREFIX}/${ostria_folder}/OstriaDiagnosticsCLI\")
  file(MAKE_DIRECTORY \"\${bin}\")
  file(CREATE_LINK \"\${target}\" \"\${bin}/OstriaDiagnosticsCLI\" SYMBOLIC)
")

install(DIRECTORY include/ostria DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES host/cli/man/OstriaDiagnosticsCLI.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES host/cli/completion/OstriaDiagnosticsCLI.bash RENAME OstriaDiagnosticsCLI
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/cli.md docs/json.md docs/machine-file.md docs/output.schema.json
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
