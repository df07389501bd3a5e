# The build runs this. It writes HEADER with the numbers in COMPILED, the compiled downloadkey/hostcheck.cpp.
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
// Include this in a source of the host. It does not compile if the host's types have other sizes or alignments
// than those with which this build of libdownloadkey was compiled. Then build the library again with the host's
// headers.
#pragma once

#include \"auxiliary/configuration.h\"
#include \"auxiliary/error.h\"
#include \"logging/logger.h\"
#include \"scard/scardcards.h\"

#include <utility>

${checks}")
