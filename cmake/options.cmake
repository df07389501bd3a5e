# How every target of this project is compiled. A project that adds this one is not affected.
# downloadkey_build is for the library, which includes the host's headers. They must compile as their
# owner wrote them, so it sets none of Qt's switches. All other targets use downloadkey_options.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "How this is compiled" FORCE)
endif()
add_library(downloadkey_build INTERFACE)
target_compile_features(downloadkey_build INTERFACE cxx_std_17)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_EXTENSIONS OFF) # puts the standard into compile_commands.json, for tools with another default
target_compile_options(downloadkey_build INTERFACE
    -Wall -Wextra -Wconversion -Wcast-align -Wshadow)
add_library(downloadkey_options INTERFACE)
target_link_libraries(downloadkey_options INTERFACE downloadkey_build)
target_compile_definitions(downloadkey_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_DEPRECATED_WARNINGS)

# Hardening. The C library's checked functions need the optimiser; level 3 needs GCC 12 or clang.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
check_cxx_compiler_flag(-fstack-clash-protection DOWNLOADKEY_HAS_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection DOWNLOADKEY_HAS_CF_PROTECTION)
set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("
    #include <cstdlib>
    #if __USE_FORTIFY_LEVEL < 3
    #error
    #endif
    int main() { return 0; }" DOWNLOADKEY_HAS_FORTIFY_LEVEL_3)
unset(CMAKE_REQUIRED_FLAGS)
target_compile_definitions(downloadkey_build INTERFACE _GLIBCXX_ASSERTIONS)
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
target_compile_options(downloadkey_build INTERFACE
    -Wformat-security
    -fstack-protector-strong
    $<$<BOOL:${DOWNLOADKEY_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
    $<$<BOOL:${DOWNLOADKEY_HAS_CF_PROTECTION}>:-fcf-protection>
    $<${optimised}:-U_FORTIFY_SOURCE>
    $<${optimised}:-D_FORTIFY_SOURCE=$<IF:$<BOOL:${DOWNLOADKEY_HAS_FORTIFY_LEVEL_3}>,3,2>>)
target_link_options(downloadkey_build INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The same sources give the same bytes, whatever the paths of sources, build folder and sysroot.
set(CMAKE_AUTOMOC_PATH_PREFIX ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
target_compile_options(downloadkey_build INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
if(CMAKE_SYSROOT)
    file(REAL_PATH ${CMAKE_SYSROOT} real_sysroot)
    target_compile_options(downloadkey_build INTERFACE
        -ffile-prefix-map=${CMAKE_SYSROOT}= -ffile-prefix-map=${real_sysroot}=)
endif()
# A compiler cache that rewrites paths would put its own paths into the library and the tools.
if(CMAKE_CXX_COMPILER_LAUNCHER)
    set(delivered_launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR= ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()
