# What is installed, and where. The components are runtime (the shared library), dev (what a host is built
# with), standin and standin_dev (the same for the stand-in), and tools (readkey, makekey). The libraries go
# to Debian's places, below a folder for the architecture, so that architectures can be installed side by
# side.
#
# A host that adds this project to its own has the shared library installed with it. With
# DOWNLOADKEY_INSTALL it gets all components; its Host::aux and Host::scard must then be imported targets.
option(DOWNLOADKEY_INSTALL "Install all that a host is built with" ${PROJECT_IS_TOP_LEVEL})

if(PROJECT_IS_TOP_LEVEL AND CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
endif()
include(GNUInstallDirs)

# An installed program finds its libraries by a path relative to itself. Below /usr the loader finds them.
set(loader_knows "")
if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_INSTALL_RPATH)
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/${libraries})
    set(loader_knows /usr)
endif()

# downloadkey_search_path(TARGET FOLDER COMPONENT): sets where a target installed in FOLDER looks for libraries.
# In the build tree, CMake's own path for such a target ends with an empty entry, which means the current
# directory. That may be on somebody's key.
function(downloadkey_search_path target folder component)
    if(NOT PROJECT_IS_TOP_LEVEL OR CMAKE_SKIP_RPATH)
        return()
    endif()
    file(RELATIVE_PATH root ${CMAKE_CURRENT_BINARY_DIR}/. ${PROJECT_BINARY_DIR})
    # The installed path replaces this one, and must not be longer.
    set(built ${CMAKE_INSTALL_RPATH} $ORIGIN/${root}downloadkey $ORIGIN/${root}host)
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${built}")
    list(JOIN built : built)
    list(JOIN CMAKE_INSTALL_RPATH : installed)
    install(CODE "
        set(file \"${folder}/$<TARGET_FILE_NAME:${target}>\")
        cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
        if(\"${skip_search_path}\" OR CMAKE_INSTALL_PREFIX STREQUAL \"${loader_knows}\")
            file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${file}\")
        else()
            file(RPATH_CHANGE FILE \"\$ENV{DESTDIR}\${file}\"
                OLD_RPATH \"${built}\" NEW_RPATH \"${installed}\")
        endif()"
        COMPONENT ${component})
endfunction()
# The function does this: CMake would leave out the path in the build tree, too.
set(skip_search_path ${CMAKE_SKIP_INSTALL_RPATH})
set(CMAKE_SKIP_INSTALL_RPATH OFF)
if(NOT DOWNLOADKEY_INSTALL)
    return()
endif()

include(CMakePackageConfigHelpers)
set(DOWNLOADKEY_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/DownloadKey)
# Headers that differ between architectures.
set(DOWNLOADKEY_ARCH_INCLUDEDIR ${CMAKE_INSTALL_LIBDIR}/downloadkey/include)
set(DOWNLOADKEY_STANDIN_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/downloadkey-standin)

configure_package_config_file(cmake/DownloadKeyConfig.cmake.in DownloadKeyConfig.cmake
    INSTALL_DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(DownloadKeyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT DownloadKeyTargets
    NAMESPACE DownloadKey::
    DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    COMPONENT dev)

# The flags of the host's libraries.
set(DOWNLOADKEY_HOST_REQUIRES "" CACHE STRING "pkg-config modules of the host's libraries")
set(DOWNLOADKEY_HOST_CFLAGS "" CACHE STRING "pkg-config's flags to compile with the host's headers")
set(DOWNLOADKEY_HOST_LIBS "" CACHE STRING "pkg-config's flags to link the host's libraries")
# The prefix is filled in by "cmake --install", which may be given another one. What is installed in /usr is below
# a root, which PKG_CONFIG_SYSROOT_DIR may name; every other folder can be moved.
set(pc_prefix @pc_prefix@)
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_moved /${pc_folder} /)
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_LIBDIR pc_is_fixed)
set(pc_libdir \${prefix})
set(pc_includedir \${prefix})
cmake_path(APPEND pc_libdir ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
set(pc_requires "Qt5Core >= 5.15" ${DOWNLOADKEY_HOST_REQUIRES})
list(JOIN pc_requires ", " pc_requires)
set(pc_cflags ${DOWNLOADKEY_HOST_CFLAGS})
set(pc_libs ${DOWNLOADKEY_HOST_LIBS})
if(standin)
    set(pc_cflags -I\${includedir}/downloadkey-standin)
    set(pc_libs "-ldownloadkey-standin-scard -ldownloadkey-standin-aux")
endif()
configure_file(cmake/downloadkey.pc.in downloadkey.pc.in @ONLY)
install(CODE "set(pc_prefix \${CMAKE_INSTALL_PREFIX})
    if(NOT pc_prefix STREQUAL /usr AND NOT ${pc_is_fixed})
        set(pc_prefix [[\${pcfiledir}/${pc_moved}]])
    endif()
    configure_file(\"${PROJECT_BINARY_DIR}/downloadkey.pc.in\"
                   \"${PROJECT_BINARY_DIR}/downloadkey.pc\" @ONLY)"
    COMPONENT dev)

install(FILES
        ${PROJECT_BINARY_DIR}/DownloadKeyConfig.cmake
        ${PROJECT_BINARY_DIR}/DownloadKeyConfigVersion.cmake
    DESTINATION ${DOWNLOADKEY_CMAKEDIR}
    COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/downloadkey.pc
    DESTINATION ${pc_folder}
    COMPONENT dev)
install(FILES docs/host-integration.md docs/device-build.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT dev)
if(DOWNLOADKEY_TOOLS)
    install(FILES docs/readkey.1 docs/makekey.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT tools)
    install(FILES tools/readkey/completions/readkey.bash
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
        RENAME readkey
        COMPONENT tools)
    install(FILES tools/readkey/completions/_readkey
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions
        COMPONENT tools)
    install(FILES tools/readkey/completions/readkey.fish
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d
        COMPONENT tools)
endif()
