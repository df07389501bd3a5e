# What is installed, and where. Three components: runtime (the shared libraries), dev (what a host is
# built with) and tools (readkey, makekey). The libraries lie where Debian has them, below the
# architecture's own folder, so that both architectures can be installed side by side.
#
# A host that adds this project to its own installs the target `downloadkey` itself, or sets
# DOWNLOADKEY_INSTALL; its Host::aux and Host::scard must then be installed or imported targets.
option(DOWNLOADKEY_INSTALL "Install the library and what was built with it" ${PROJECT_IS_TOP_LEVEL})

if(PROJECT_IS_TOP_LEVEL AND CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
endif()
include(GNUInstallDirs)
if(NOT DOWNLOADKEY_INSTALL)
    return()
endif()

include(CMakePackageConfigHelpers)
set(DOWNLOADKEY_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/DownloadKey)
set(DOWNLOADKEY_HOST_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/downloadkey-host)

configure_package_config_file(cmake/DownloadKeyConfig.cmake.in DownloadKeyConfig.cmake
    INSTALL_DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(DownloadKeyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT DownloadKeyTargets
    NAMESPACE DownloadKey::
    DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    COMPONENT dev)

# The module finds its prefix from its own place: what is installed can be moved.
file(RELATIVE_PATH DOWNLOADKEY_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" DOWNLOADKEY_PC_PREFIX ${DOWNLOADKEY_PC_PREFIX})
configure_file(cmake/downloadkey.pc.in downloadkey.pc @ONLY)

install(FILES
        ${PROJECT_BINARY_DIR}/DownloadKeyConfig.cmake
        ${PROJECT_BINARY_DIR}/DownloadKeyConfigVersion.cmake
    DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/downloadkey.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)
install(FILES docs/host-integration.md CHANGELOG.md
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libdownloadkey-dev
    COMPONENT dev)
if(DOWNLOADKEY_TOOLS)
    install(FILES docs/readkey.1 docs/makekey.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT tools)
endif()
