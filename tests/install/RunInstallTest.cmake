# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Puts the built library where a host finds it, then builds the host example
# of README.md, exactly as written there, against that folder only and runs
# it offscreen on the sample data: the README cannot drift from the library.
#   FROM=install (the default): `cmake --install` into a scratch prefix; the
#     same host is also built with nothing but `pkg-config --cflags --libs
#     vantles`.
#   FROM=packages: the Debian packages that cpack makes, checked for their
#     files and dependencies and unpacked with `dpkg-deb -x`; the host runs
#     with the unpacked QML module on its import path, as on a system where
#     the packages are installed.
# Then the installed command line, and qmllint with the installed module.
#   cmake -DBUILD_DIR=... -DREADME=... -DDATA_DIR=... -DWORK_DIR=... [-DFROM=packages -DCPACK=... -DDPKG_DEB=...]
#         [-DQMLLINT=...] -P RunInstallTest.cmake
cmake_minimum_required(VERSION 3.21)
file(REMOVE_RECURSE "${WORK_DIR}")

function(run_step what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

file(STRINGS "${BUILD_DIR}/CMakeCache.txt" libdir REGEX "^CMAKE_INSTALL_LIBDIR:")
string(REGEX REPLACE ".*=" "" libdir "${libdir}")
file(STRINGS "${BUILD_DIR}/CMakeCache.txt" version REGEX "^CMAKE_PROJECT_VERSION:")
string(REGEX REPLACE ".*=" "" version "${version}")

if(FROM STREQUAL "packages")
    run_step("Making the Debian packages" "${CPACK}" --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}/packages")
    # Each package with the files it must hold (and must not), its
    # dependencies on the others and, through dpkg-shlibdeps, on Qt.
    set(libvantles0_has "/usr/${libdir}/libVantles\\.so\\.0 -> " "/usr/${libdir}/libVantles\\.so\\.${version}\n"
        "/usr/${libdir}/libVantlesView\\.so\\.0 -> " "/usr/${libdir}/libVantlesView\\.so\\.${version}\n"
        "/usr/${libdir}/qt6/qml/com/zelvane/vantles/qml/qmldir\n"
        "/usr/${libdir}/qt6/qml/com/zelvane/vantles/qml/libvantlesqmlplugin\\.so\n")
    set(libvantles0_lacks "/usr/include/" "/usr/bin/" "\\.qmltypes")
    set(libvantles0_depends "libqt6core6" "libqt6quickwidgets6" "libc6")
    set(libvantles-dev_has "/usr/include/Vantles/VTInterface\\.h\n" "/usr/include/Vantles/vantles_export\\.h\n"
        "/usr/${libdir}/libVantles\\.so -> " "/usr/${libdir}/libVantlesView\\.so -> "
        "/usr/include/Vantles/VTWidget\\.h\n" "/usr/${libdir}/cmake/Vantles/VantlesConfig\\.cmake\n"
        "/usr/${libdir}/pkgconfig/vantles\\.pc\n" "/usr/${libdir}/pkgconfig/vantles-view\\.pc\n"
        "/usr/${libdir}/qt6/qml/com/zelvane/vantles/qml/vantles\\.qmltypes\n")
    set(libvantles-dev_lacks "/usr/${libdir}/libVantles(View)?\\.so\\.[0-9]" "/usr/bin/")
    set(libvantles-dev_depends "libvantles0 \\(= ${version}\\)" "qt6-base-dev" "qt6-declarative-dev")
    set(vantles-tools_has "/usr/bin/vantles\n" "/usr/share/vantles/ui/VantleUI\\.qml\n")
    set(vantles-tools_lacks "/usr/${libdir}/" "/usr/include/")
    set(vantles-tools_depends "libvantles0 \\(= ${version}\\)" "libqt6core6")
    set(root "${WORK_DIR}/root")
    foreach(package libvantles0 libvantles-dev vantles-tools)
        file(GLOB deb "${WORK_DIR}/packages/${package}_${version}_*.deb")
        if(NOT deb)
            file(GLOB made "${WORK_DIR}/packages/*.deb")
            message(FATAL_ERROR "cpack made no ${package} ${version}; it made: ${made}")
        endif()
        run_step("Listing ${package}" "${DPKG_DEB}" --contents "${deb}")
        string(REGEX REPLACE "[^\n]* \\./" "/" files "${step_output}")
        foreach(path IN LISTS ${package}_has)
            if(NOT files MATCHES "${path}")
                message(FATAL_ERROR "${package} lacks ${path}; it holds:\n${files}")
            endif()
        endforeach()
        foreach(path IN LISTS ${package}_lacks)
            if(files MATCHES "${path}")
                message(FATAL_ERROR "${package} holds ${path}, which belongs to another package:\n${files}")
            endif()
        endforeach()
        run_step("Reading the dependencies of ${package}" "${DPKG_DEB}" --field "${deb}" Depends)
        foreach(dependency IN LISTS ${package}_depends)
            if(NOT step_output MATCHES "(^|, )${dependency}")
                message(FATAL_ERROR "${package} does not depend on ${dependency}: ${step_output}")
            endif()
        endforeach()
        message(STATUS "${package}: ${step_output}")
        run_step("Unpacking ${package}" "${DPKG_DEB}" -x "${deb}" "${root}")
    endforeach()
    set(prefix "${root}/usr")
    # Installed in /usr, the module is on the import path of the system's Qt.
    set(ENV{QML_IMPORT_PATH} "${prefix}/${libdir}/qt6/qml")
else()
    set(prefix "${WORK_DIR}/prefix")
    run_step("Installing" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
endif()
foreach(header VTContext.h VTIndex.h VTInterface.h VTKeyDefinition.h VTManager.h VTProblem.h VTXmlElement.h
        VTXmlParser.h vantles_export.h)
    if(NOT EXISTS "${prefix}/include/Vantles/${header}")
        message(FATAL_ERROR "include/Vantles/${header} was not installed")
    endif()
endforeach()

# The video plug-in, in the folder beside the library where the library looks for it.
file(GLOB_RECURSE installed_library "${prefix}/libVantles.so")
get_filename_component(library_dir "${installed_library}" DIRECTORY)
if(NOT installed_library OR NOT EXISTS "${library_dir}/vantles/vantles-ffmpeg.so")
    message(FATAL_ERROR "The video plug-in was not installed to ${library_dir}/vantles")
endif()

# The README's CMake lines and its C++ block with a main().
file(READ "${README}" readme)
# Semicolons would split the blocks as CMake list items.
string(REPLACE ";" "@SEMICOLON@" readme "${readme}")
string(REGEX MATCHALL "```[a-z]*\n[^`]*```" blocks "${readme}")
foreach(block IN LISTS blocks)
    if(block MATCHES "^```cmake\n" AND block MATCHES "find_package\\(Vantles")
        string(REGEX REPLACE "^```cmake\n|```$" "" cmake_lines "${block}")
    elseif(block MATCHES "^```cpp\n" AND block MATCHES "int main\\(")
        string(REGEX REPLACE "^```cpp\n|```$" "" host_source "${block}")
    endif()
endforeach()
if(NOT cmake_lines OR NOT host_source)
    message(FATAL_ERROR "README.md has no CMake block with find_package(Vantles) or no C++ block with main()")
endif()
string(REPLACE "@SEMICOLON@" ";" cmake_lines "${cmake_lines}")
string(REPLACE "@SEMICOLON@" ";" host_source "${host_source}")
set(host "${WORK_DIR}/host")
file(WRITE "${host}/main.cpp" "${host_source}")
file(WRITE "${host}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.21)
project(ReadmeHost LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)
add_executable(app main.cpp)
${cmake_lines}")

run_step("Configuring the README host" ${CMAKE_COMMAND} -S "${host}" -B "${host}/build" -G Ninja
    "-DCMAKE_PREFIX_PATH=${prefix}" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
run_step("Building the README host" ${CMAKE_COMMAND} --build "${host}/build")
set(hosts "${host}/build/app")

# The same host with the flags of pkg-config alone. (The packages' vantles.pc
# names /usr, where they are not installed here: only its paths are checked.)
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} "${prefix}/${libdir}/pkgconfig")
if(FROM STREQUAL "packages")
    foreach(variable "prefix=/usr" "libdir=/usr/${libdir}" "includedir=/usr/include")
        string(REGEX MATCH "^[a-z]+" name "${variable}")
        run_step("Reading vantles.pc" "${PKG_CONFIG}" --variable=${name} vantles)
        string(STRIP "${step_output}" value)
        if(NOT "${name}=${value}" STREQUAL variable)
            message(FATAL_ERROR "The packaged vantles.pc says ${name}=${value}, not ${variable}")
        endif()
    endforeach()
else()
    run_step("Asking pkg-config for vantles" "${PKG_CONFIG}" --cflags --libs vantles)
    separate_arguments(flags UNIX_COMMAND "${step_output}")
    find_program(CXX NAMES c++ g++ REQUIRED)
    run_step("Building the README host with pkg-config" "${CXX}" -std=c++17 "${host}/main.cpp" -o "${host}/app-pkgconfig"
        ${flags})
    list(APPEND hosts "${host}/app-pkgconfig")
    # A host that uses the window classes itself links both libraries.
    run_step("Asking pkg-config for vantles-view" "${PKG_CONFIG}" --libs vantles-view)
    if(NOT step_output MATCHES "-lVantlesView -lVantles( |\n|$)")
        message(FATAL_ERROR "pkg-config --libs vantles-view says: ${step_output}")
    endif()
endif()
unset(ENV{PKG_CONFIG_PATH})

# The host runs until it is closed: let it show its vantle, then stop it. The
# library says what it shows on the "vantles.window" logging category.
set(ENV{QT_QPA_PLATFORM} offscreen)
set(ENV{QT_QUICK_BACKEND} software)
set(ENV{QT_LOGGING_RULES} "vantles.window.debug=true")
set(ENV{LD_LIBRARY_PATH} "${prefix}/${libdir}")
foreach(app IN LISTS hosts)
    execute_process(COMMAND "${app}" "${DATA_DIR}" TIMEOUT 6 OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT err MATCHES "Showing the vantle \"actionOpen\" of [^\n]*/Sample_en.xml with [^\n]*/ui/VantleUI.qml")
        message(FATAL_ERROR "The README host ${app} showed no vantle:\n${out}\n${err}")
    endif()
    if(err MATCHES "vantles:")
        message(FATAL_ERROR "The README host ${app} reported problems with the sample data:\n${err}")
    endif()
    message(STATUS "The README host ${app} works:\n${err}")
endforeach()

# The installed command line, with no display, on the sample data.
unset(ENV{QT_QPA_PLATFORM})
unset(ENV{QT_QUICK_BACKEND})
unset(ENV{DISPLAY})
unset(ENV{WAYLAND_DISPLAY})
unset(ENV{LD_LIBRARY_PATH})
set(tool "${prefix}/bin/vantles")
foreach(command "check;${DATA_DIR}" "keys;${DATA_DIR}" "dump;${DATA_DIR};actionOpen"
        "show;${DATA_DIR};zoomSlider;-o;${WORK_DIR}/zoom.png")
    execute_process(COMMAND "${tool}" ${command} TIMEOUT 60 RESULT_VARIABLE result OUTPUT_VARIABLE out
        ERROR_VARIABLE err)
    if(NOT result EQUAL 0 OR NOT out)
        message(FATAL_ERROR "The installed vantles failed on \"${command}\" (${result}):\n${out}\n${err}")
    endif()
endforeach()
if(NOT EXISTS "${WORK_DIR}/zoom.png")
    message(FATAL_ERROR "vantles show wrote no picture")
endif()
message(STATUS "The installed vantles works")

# qmllint knows the library's types from the installed module alone: the
# installed interfaces resolve every type and property.
if(QMLLINT)
    execute_process(COMMAND "${QMLLINT}" -I "${prefix}/${libdir}/qt6/qml" --unqualified disable
        "${prefix}/share/vantles/ui/VantleUI.qml" "${prefix}/share/vantles/ui/SimpleTooltip.qml"
        OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if("${out}${err}" MATCHES "Failed to import|not resolved|was not found|is not a type")
        message(FATAL_ERROR "qmllint does not know the installed module:\n${out}\n${err}")
    endif()
    message(STATUS "qmllint knows the installed module")
endif()
