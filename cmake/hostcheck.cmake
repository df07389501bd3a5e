# The build runs this. It writes HEADER with the sizes in COMPILED, the compiled downloadkey/hostcheck.cpp.
file(STRINGS ${COMPILED} sizes REGEX "sizeof [0-9]+ [A-Za-z0-9:]+$")
list(REMOVE_DUPLICATES sizes)
set(checks "")
foreach(size IN LISTS sizes)
    string(REGEX REPLACE ".*sizeof 0*([0-9]+) (.*)"
        "static_assert(sizeof(\\2) == \\1, \"libdownloadkey was built with \\2 of \\1 bytes\");\n"
        check "${size}")
    string(APPEND checks "${check}")
endforeach()
if(NOT checks)
    message(FATAL_ERROR "${COMPILED} tells no sizes")
endif()
file(WRITE ${HEADER} "\
// Include this in a source of the host. It does not compile if the host's types have other sizes than those
// with which this build of libdownloadkey was compiled. Then build the library again with the host's headers.
#pragma once

#include \"auxiliary/configuration.h\"
#include \"auxiliary/error.h\"
#include \"logging/logger.h\"
#include \"scard/scardcards.h\"

${checks}")
