# Toolchain for ARMv7 with hard float, like Debian's armhf. The sysroot holds Qt and what it needs; libc and
# libstdc++ are the cross compiler's. Without -DCMAKE_SYSROOT it is the one that scripts/sysroot.sh creates.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# GCC notes that a calling convention changed in version 7. No code here was built with an older GCC.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

if(NOT CMAKE_SYSROOT)
    get_filename_component(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf" ABSOLUTE)
endif()
if(NOT IS_DIRECTORY "${CMAKE_SYSROOT}")
    message(FATAL_ERROR "The sysroot ${CMAKE_SYSROOT} does not exist: create it with scripts/sysroot.sh, "
        "or give your own with -DCMAKE_SYSROOT=")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L ${CMAKE_SYSROOT})
endif()

# Included at the end of each project(), when targets can be created.
set(CMAKE_PROJECT_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/buildqttools.cmake)
