# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# How Vantles is documented, found and shipped: the API reference (./run
# docs), the pkg-config file and the Debian packages (./run package).

# The API reference of the installed headers, in build/docs/html: the target
# docs, and the test api_reference, which also fails on what is undocumented.
find_program(DOXYGEN_EXECUTABLE doxygen)
set(VANTLES_DOCS_COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${PROJECT_BINARY_DIR} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DDOXYGEN=${DOXYGEN_EXECUTABLE})
add_custom_target(docs
    COMMAND ${VANTLES_DOCS_COMMAND} -DOUTPUT_DIR=${PROJECT_BINARY_DIR}/docs
        -P ${PROJECT_SOURCE_DIR}/cmake/RunDoxygen.cmake
    COMMENT "Writing the API reference to ${PROJECT_BINARY_DIR}/docs/html"
    VERBATIM)
add_dependencies(docs Vantles)

# vantles.pc and vantles-view.pc (for hosts that use VTView or VTWidget
# themselves), for hosts built with pkg-config (qmake, Meson, Makefiles). Their
# prefix is the one the files are installed to, known only at install time
# (cmake --install --prefix, cpack), so the file is written then.
function(vantles_pkgconfig_dir out dir)
    if(IS_ABSOLUTE "${dir}")
        set(${out} "${dir}" PARENT_SCOPE)
    else()
        set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
    endif()
endfunction()
vantles_pkgconfig_dir(VANTLES_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
vantles_pkgconfig_dir(VANTLES_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
# A Qt built with reduce-relocations refuses code of its users that is not
# position-independent (qglobal.h): its CMake targets add -fPIC, its
# pkg-config files do not.
set(VANTLES_PC_EXTRA_CFLAGS "")
get_target_property(qt_core_options Qt6::Core INTERFACE_COMPILE_OPTIONS)
if("-fPIC" IN_LIST qt_core_options)
    set(VANTLES_PC_EXTRA_CFLAGS " -fPIC")
endif()
set(VANTLES_PC_PREFIX "@VANTLES_PC_PREFIX@")
foreach(pc vantles vantles-view)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc.in @ONLY)
endforeach()
set(pc_destination "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(NOT IS_ABSOLUTE "${pc_destination}")
    set(pc_destination "\${CMAKE_INSTALL_PREFIX}/${pc_destination}")
endif()
# One file per prefix: installs to two prefixes may run at the same time.
install(CODE "
    set(VANTLES_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    string(MD5 prefix_hash \"\${CMAKE_INSTALL_PREFIX}\")
    foreach(pc vantles vantles-view)
        set(pc_file \"${PROJECT_BINARY_DIR}/pkgconfig/\${prefix_hash}/\${pc}.pc\")
        configure_file(\"${PROJECT_BINARY_DIR}/pkgconfig/\${pc}.pc.in\" \"\${pc_file}\" @ONLY)
        file(INSTALL \"\${pc_file}\" DESTINATION \"${pc_destination}\")
    endforeach()
    " COMPONENT development)

# Debian packages, one per install component: libvantles0 (runtime: the
# two libraries, the plug-ins and the QML module's qmldir and plug-in),
# libvantles-dev (development: headers, CMake and pkg-config files, the QML
# type description) and vantles-tools (tools: the vantles command and the
# built-in interfaces to start from). Their dependencies on other packages
# come from dpkg-shlibdeps; the two others depend on libvantles0 of the same
# version.
set(CPACK_PACKAGE_NAME vantles)
set(CPACK_PACKAGE_VENDOR "The Vantles Authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "rich tooltips for Qt Widgets applications")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The files are installed with their real prefix (vantles.pc needs it) into
# a staging folder.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CPACK_PACKAGING_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Vantles Authors")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool's package links the library of the runtime package, which
# dpkg-shlibdeps finds in that package's staging folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ../runtime${CPACK_PACKAGING_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvantles0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Vantles shows rich tooltips (vantles) for the controls of a Qt Widgets
application: content packages on disk, looked up by a control's key, shown
in a tooltip window hosting a QML view, with text, shortcuts, links, images
and clips. This package holds the shared libraries and the QML module
com.zelvane.vantles.qml.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantles-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# What the CMake package (find_dependency) and vantles.pc (Requires) need.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev, qt6-declarative-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "This package holds the headers, the CMake package (find_package(Vantles)),
the pkg-config files (vantles, vantles-view) and the description of the QML module for
qmllint and Qt Creator.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vantles-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "This package holds the content author's command line, vantles, which checks
content packages, lists and prints their keys and renders a vantle to a
picture, and the library's own interfaces to start new ones from.")

include(CPack)
