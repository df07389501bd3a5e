# A sysroot's Qt package would have the sysroot's moc run on this machine. The package takes these targets
# where they are there already: the build machine's tools, whose Qt must be of the same version.
foreach(tool qmake moc rcc)
    find_program(BUILD_QT_${tool} ${tool}
        HINTS /usr/lib/qt5/bin
        DOC "The build machine's ${tool} of Qt 5"
        REQUIRED)
    if(NOT TARGET Qt5::${tool})
        add_executable(Qt5::${tool} IMPORTED)
        set_target_properties(Qt5::${tool} PROPERTIES IMPORTED_LOCATION ${BUILD_QT_${tool}})
    endif()
endforeach()
