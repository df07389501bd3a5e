# How every target of this project is compiled. Nothing here leaks to a project that adds this one.
add_library(downloadkey_options INTERFACE)
target_compile_features(downloadkey_options INTERFACE cxx_std_17)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_EXTENSIONS OFF) # Names the standard in compile_commands.json, for tools of another default.
target_compile_options(downloadkey_options INTERFACE
    -Wall -Wextra -Wconversion -Wcast-align -Wshadow)
target_compile_definitions(downloadkey_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_DEPRECATED_WARNINGS)

# Hardening. The C library's checked functions need the optimiser.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-clash-protection DOWNLOADKEY_HAS_STACK_CLASH_PROTECTION)
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
target_compile_options(downloadkey_options INTERFACE
    -fstack-protector-strong
    $<$<BOOL:${DOWNLOADKEY_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
    $<${optimised}:-U_FORTIFY_SOURCE>
    $<${optimised}:-D_FORTIFY_SOURCE=2>)
target_link_options(downloadkey_options INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The same sources give the same bytes, wherever they, the build folder and the sysroot lie.
set(CMAKE_AUTOMOC_PATH_PREFIX ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
target_compile_options(downloadkey_options INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
if(CMAKE_SYSROOT)
    file(REAL_PATH ${CMAKE_SYSROOT} real_sysroot)
    target_compile_options(downloadkey_options INTERFACE
        -ffile-prefix-map=${CMAKE_SYSROOT}= -ffile-prefix-map=${real_sysroot}=)
endif()
