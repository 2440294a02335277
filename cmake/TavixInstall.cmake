# Where the kit for client plug-in authors goes when installed, and how a library of the kit is
# versioned, exported and installed. Paths are relative to the prefix, so the installed package
# can move.
#
# Libraries go to the multiarch folder, lib/x86_64-linux-gnu on Debian, whatever the prefix, so
# that an installed tree and the packages (which install under /usr) have the same layout;
# -DCMAKE_INSTALL_LIBDIR=lib chooses the plain one.
if(NOT DEFINED CMAKE_INSTALL_LIBDIR AND CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}" CACHE PATH "Object code libraries (lib/<multiarch tuple>)")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TAVIX_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/tavix-viewer)
set(TAVIX_INSTALL_PLUGINDIR ${CMAKE_INSTALL_LIBDIR}/tavix-viewer/plugins)
set(TAVIX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/TavixViewer)

# In the folders of what ships, __FILE__ (in the SDK layer's exceptions, for one) names source
# files relative to the tree, so that no installed binary, and no package, carries the folder it
# was built in. Tests keep the full name, which QFINDTESTDATA finds their data by.
macro(tavix_ship_relative_file_names)
    add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
endmacro()

# $ORIGIN-relative search paths from a folder of the installed tree to the libraries.
function(tavix_origin_rpath out fromDir)
    file(RELATIVE_PATH relative ${CMAKE_INSTALL_PREFIX}/${fromDir} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
    if(relative STREQUAL "")
        set(${out} "$ORIGIN" PARENT_SCOPE)
    else()
        set(${out} "$ORIGIN/${relative}" PARENT_SCOPE)
    endif()
endfunction()

# tavix_install_program(TARGET PLUGIN_DIR_MACRO COMPONENT): a host program in the binary folder,
# which finds the kit's libraries and, through the compile definition PLUGIN_DIR_MACRO, the plug-in
# folder, both relative to itself.
function(tavix_install_program target pluginDirMacro component)
    file(RELATIVE_PATH pluginDir ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${TAVIX_INSTALL_PLUGINDIR})
    target_compile_definitions(${target} PRIVATE ${pluginDirMacro}="${pluginDir}")
    tavix_origin_rpath(rpath ${CMAKE_INSTALL_BINDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${rpath}")
    install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
endfunction()

# tavix_install_library(TARGET EXPORT_NAME HEADER_DIR_IN_SOURCE HEADER_DESTINATION HEADERS...):
# a shared library of the kit, with its SONAME, its public headers and its imported target
# TavixViewer::<EXPORT_NAME>.
function(tavix_install_library target exportName sourceDir headerDestination)
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${exportName})
    tavix_origin_rpath(rpath ${CMAKE_INSTALL_LIBDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${rpath}")
    target_compile_features(${target} PUBLIC cxx_std_17)
    install(TARGETS ${target} EXPORT TavixViewerTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
    foreach(header IN LISTS ARGN)
        get_filename_component(subdir ${header} DIRECTORY)
        install(FILES ${sourceDir}/${header} DESTINATION ${TAVIX_INSTALL_INCLUDEDIR}/${headerDestination}/${subdir}
                COMPONENT Development)
    endforeach()
    set(sources ${ARGN})
    list(TRANSFORM sources PREPEND ${sourceDir}/)
    set_property(GLOBAL APPEND PROPERTY TAVIX_PUBLIC_HEADER_SOURCES_${exportName} ${sources})
endfunction()

# The source paths of the public headers of the kit's library of that export name.
function(tavix_public_header_sources out exportName)
    get_property(headers GLOBAL PROPERTY TAVIX_PUBLIC_HEADER_SOURCES_${exportName})
    set(${out} ${headers} PARENT_SCOPE)
endfunction()

# The CMake package, the pkg-config file and the export of the imported targets.
function(tavix_install_package)
    install(EXPORT TavixViewerTargets NAMESPACE TavixViewer:: DESTINATION ${TAVIX_INSTALL_CMAKEDIR}
            COMPONENT Development)
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TavixViewerConfig.cmake.in
        ${PROJECT_BINARY_DIR}/kit/TavixViewerConfig.cmake
        INSTALL_DESTINATION ${TAVIX_INSTALL_CMAKEDIR}
        PATH_VARS TAVIX_INSTALL_INCLUDEDIR TAVIX_INSTALL_PLUGINDIR CMAKE_INSTALL_BINDIR)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/kit/TavixViewerConfigVersion.cmake
        VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/kit/TavixViewerConfig.cmake ${PROJECT_BINARY_DIR}/kit/TavixViewerConfigVersion.cmake
            DESTINATION ${TAVIX_INSTALL_CMAKEDIR} COMPONENT Development)
    file(RELATIVE_PATH TAVIX_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" TAVIX_PC_TO_PREFIX "${TAVIX_PC_TO_PREFIX}")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/tavix-viewer.pc.in ${PROJECT_BINARY_DIR}/kit/tavix-viewer.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/kit/tavix-viewer.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT Development)
endfunction()
