# Debian packages by `cpack` in the build folder: ostria-storage, ostria-storage-dev and
# ostria-storage-doc. Build them from a tree configured with -DCMAKE_INSTALL_PREFIX=/usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ostria-storage)
set(CPACK_PACKAGE_CONTACT "The owner of the repository <owner@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development documents)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The version of the packaging, behind that of the product; one of a distribution's own would be newer.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0ostria1)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ostria-storage)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "diagnostics of storage devices
Finds the storage devices of a PC, reports on them, tests them and repairs
bad sectors, by ATA, SCSI, NVMe and eMMC. A simulated PC is built in.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ostria-storage-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "ostria-storage (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "diagnostics of storage devices, headers for hosts
The contract by which a program loads and drives the storage module, with a
CMake package and a pkg-config file.")
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_NAME ostria-storage-doc)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_DOCUMENTS_DESCRIPTION "diagnostics of storage devices, documents
Command line, JSON output, machine files of the simulated PC, a guide for
hosts and an example of one.")

# Each package has a copyright file and the change logs of the product and of the packaging, compressed
# as the system wants it.
foreach(pair runtime:ostria-storage development:ostria-storage-dev documents:ostria-storage-doc)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES cmake/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${component})
  if(GZIP)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  endif()
endforeach()
if(GZIP)
  execute_process(COMMAND ${GZIP} -9nc ${CMAKE_SOURCE_DIR}/CHANGELOG.md
                  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  configure_file(cmake/changelog.Debian.in ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian @ONLY)
  execute_process(COMMAND ${GZIP} -9nc ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
                  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
endif()
include(CPack)
