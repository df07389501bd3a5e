# Read by cpack when it packs for another architecture: dpkg-shlibdeps is to ask the sysroot's package
# database, which names the libraries' paths as they are on the target, for those in the sysroot.
if(NOT CPACK_DEBIAN_PACKAGE_SHLIBDEPS)
    return()
endif()
set(database ${CPACK_DOWNLOADKEY_SYSROOT}/var/lib/dpkg)
if(NOT EXISTS ${database}/status)
    message(FATAL_ERROR "${CPACK_DOWNLOADKEY_SYSROOT} holds no package database: "
        "the packages' dependencies cannot be found")
endif()

set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
set(ENV{DPKG_ADMINDIR} ${CPACK_PACKAGE_DIRECTORY}/dpkg)
file(REMOVE_RECURSE $ENV{DPKG_ADMINDIR})
file(COPY ${database}/ DESTINATION $ENV{DPKG_ADMINDIR})
file(GLOB lists $ENV{DPKG_ADMINDIR}/info/*.list)
foreach(list IN LISTS lists)
    file(READ ${list} paths)
    string(REGEX REPLACE "(^|\n)/" "\\1${CPACK_DOWNLOADKEY_SYSROOT}/" paths "${paths}")
    file(WRITE ${list} "${paths}")
endforeach()
