# The Qt package of a sysroot would run the sysroot's moc, which the build machine cannot do. If these targets
# already exist, the package uses them: the build machine's tools, which must have the same Qt version.
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
