# The packages: cpack --config build/<preset>/CPackConfig.cmake
set(CPACK_PACKAGE_NAME corvane)
set(CPACK_PACKAGE_VENDOR "The Corvane authors")
set(CPACK_PACKAGE_CONTACT "The Corvane authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Recorder of the DIAG traffic of cellular modems")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  # corvane-<version>-windows-x64.zip, and its symbols, to be unpacked over it.
  set(CPACK_GENERATOR ZIP)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_PACKAGE_FILE_NAME corvane-${PROJECT_VERSION}-windows-x64)
  set(CPACK_COMPONENTS_ALL runtime development)
  set(CPACK_ARCHIVE_PRODUCT_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
  if(MINGW)
    list(APPEND CPACK_COMPONENTS_ALL symbols)
    set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME}-symbols)
  endif()
else()
  # corvane_<version>_<architecture>.deb, and its symbols, which the first one is stripped of.
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL runtime)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME corvane)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION comm)
  set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
      "Recorder of the DIAG traffic of cellular modems
Corvane records what a modem says on its diagnostic port. This package has its Linux tools: corvane,
which shows capture files, and corvane-modem-sim, a simulated modem behind a pseudo-terminal. The
recorder itself is for Windows.")
  # What the programs are linked with is asked of dpkg-shlibdeps.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()

include(CPack)
include(CPackComponent)
if(WIN32)
  cpack_add_component(runtime GROUP product DESCRIPTION "What runs, with profiles and documents")
  cpack_add_component(development GROUP product DEPENDS runtime
                      DESCRIPTION "What a host application is built with")
  cpack_add_component(symbols GROUP symbols DISABLED DESCRIPTION "Debug information")
endif()
