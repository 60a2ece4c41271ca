# Debian packages of the project (`make package`), one per component:
#   libqvt1      the shared library
#   libqvt-dev   its header, pkg-config file and CMake package
#   qvt-tools    the programs, their man pages, the udev rule
#   python3-qvt  the Python package, for Debian's python3
# The packages install under /usr; dpkg-shlibdeps works out what the
# programs need from the system (EDFlib and the like).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qvt)
set(CPACK_PACKAGE_VENDOR "qvt")
set(CPACK_PACKAGE_CONTACT "qvt developers <qvt@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Driver and tools of a multi-channel EEG headset")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tools python)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqvt1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qvt-tools)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-qvt)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-mne, python3-scipy, python3-matplotlib")
# The Python package loads libqvt.so.1 with ctypes, which dpkg-shlibdeps cannot see.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)

include(CPack)
cpack_add_component(library DISPLAY_NAME "qvt library" DESCRIPTION "The headset driver, a shared library with a C interface")
cpack_add_component(development DEPENDS library DESCRIPTION "Header, pkg-config file and CMake package of the qvt library")
cpack_add_component(tools DEPENDS library
  DESCRIPTION "qvt-doctor, qvt-stream, qvt-record and the virtual headset, with man pages and a udev rule")
cpack_add_component(python DEPENDS library DESCRIPTION "The Python package qvt (ctypes over the qvt library)")
