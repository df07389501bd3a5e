# Run by the build. Writes HEADER with the numbers in COMPILED, the compiled downloadkey/hostcheck.cpp.
file(STRINGS ${COMPILED} numbers REGEX "hostcheck [0-9]+ .+")
list(REMOVE_DUPLICATES numbers)
set(checks "")
foreach(number IN LISTS numbers)
    string(REGEX REPLACE ".*hostcheck 0*([0-9]+) (.*)"
        "static_assert(\\2 == \\1, \"libdownloadkey was built with \\2 == \\1\");\n"
        check "${number}")
    string(APPEND checks "${check}")
endforeach()
if(NOT checks)
    message(FATAL_ERROR "${COMPILED} contains no numbers")
endif()
file(WRITE ${HEADER} "\
// Include this in a source file of the host. It compiles only if the host's types have the sizes and alignments
// that this build of libdownloadkey was compiled with. If they differ, build the library again with the host's
// headers.
#pragma once

#include \"auxiliary/configuration.h\"
#include \"auxiliary/error.h\"
#include \"logging/logger.h\"
#include \"scard/scardcards.h\"

#include <utility>

${checks}")
