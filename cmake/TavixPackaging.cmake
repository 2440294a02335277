# Debian packages, made by cpack -G DEB in a build folder once the build is done:
#   tavix-viewer-runtime  the libraries, the camera roster plug-in and tavix-host: what a machine
#                         that runs client plug-ins needs, without Qt Widgets
#   tavix-viewer          the desktop viewer, its panel plug-ins and their library (Qt Widgets)
#   tavix-viewer-dev      headers, CMake package, pkg-config file, the guide, the API reference
#                         and the example client, for authors of client plug-ins
# Everything in them comes from the install rules, with paths relative to the prefix; nothing of
# the build or source folder goes into a package.
set(CPACK_PACKAGE_NAME tavix-viewer)
set(CPACK_PACKAGE_VENDOR "Tavix")
set(CPACK_PACKAGE_CONTACT "Tavix viewer developers <viewer@tavix.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Camera roster plug-in of the Tavix viewer, with its host and SDK layers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Runtime Viewer Development)
# cpack packs what is built; it doesn't build the whole tree (tests and benchmarks) first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY TRUE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# dpkg-shlibdeps finds each package's library packages (Qt, zlib, Aravis where built with it)
# from what its binaries link; the packages' dependencies on each other are named below. The
# viewer's binaries link the runtime's libraries, which it finds in the runtime component's
# staging folder, beside the viewer's (dpkg-shlibdeps runs in the package's own).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "../Runtime${CPACK_PACKAGING_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME tavix-viewer-runtime)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "The libraries of the camera roster's API, the host framework and the camera SDK layer, the camera roster plug-in and the tavix-host program.")

set(CPACK_DEBIAN_VIEWER_PACKAGE_NAME tavix-viewer)
set(CPACK_DEBIAN_VIEWER_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_VIEWER_PACKAGE_DEPENDS "tavix-viewer-runtime (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_VIEWER_DESCRIPTION "The tavix-viewer desktop camera viewer and its panel plug-ins.")
set(CPACK_COMPONENT_VIEWER_DEPENDS Runtime)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME tavix-viewer-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The imported targets name Qt5::Core and Threads, which the CMake package finds again.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "tavix-viewer-runtime (= ${PROJECT_VERSION}), qtbase5-dev (>= 5.15)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers, CMake package and pkg-config file for client plug-ins of the camera roster, with the guide, the API reference and the example client.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)

include(CPack)
