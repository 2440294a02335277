# Debian packages of the kit: tavix-viewer (the libraries, the roster plug-in, tavix-host and the
# desktop viewer with its panels)
# and tavix-viewer-dev (headers, CMake package, pkg-config file). cpack -G DEB in the build.
set(CPACK_PACKAGE_NAME tavix-viewer)
set(CPACK_PACKAGE_VENDOR "Tavix")
set(CPACK_PACKAGE_CONTACT "Tavix viewer developers <viewer@tavix.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Camera roster plug-in of the Tavix viewer, with its host and SDK layers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Runtime Development)
# cpack packs what is built; it doesn't build the whole tree (tests and benchmarks) first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY TRUE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME tavix-viewer)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# dpkg-shlibdeps finds the runtime's library packages (Qt, zlib, Aravis where built with it)
# from what the binaries link.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME tavix-viewer-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The imported targets name Qt5::Core and Threads, which the CMake package finds again.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "tavix-viewer (= ${PROJECT_VERSION}), qtbase5-dev (>= 5.15)")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The libraries, the camera roster plug-in, the tavix-host program and the tavix-viewer desktop viewer.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake package and pkg-config file for client plug-ins.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)

include(CPack)
