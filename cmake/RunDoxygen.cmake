# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Writes the API reference of the public headers, as an install lays them out,
# to OUTPUT_DIR/html, and fails, naming each, when a public class, function,
# property, signal or enum value has no documentation, or a comment does not
# parse.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DOUTPUT_DIR=... -DDOXYGEN=... -P RunDoxygen.cmake
cmake_minimum_required(VERSION 3.21)
if(NOT DOXYGEN)
    message(FATAL_ERROR "doxygen is not installed: ./run deps installs it (Debian package doxygen).")
endif()
file(REMOVE_RECURSE "${OUTPUT_DIR}")
set(staging "${OUTPUT_DIR}/installed")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --component development --prefix "${staging}"
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "Installing the development files failed (${result}):\n${err}")
endif()

set(HEADER_DIR "${staging}/include/Vantles")
set(PROJECT_SOURCE_DIR "${SOURCE_DIR}")
file(STRINGS "${BUILD_DIR}/CMakeCache.txt" version REGEX "^CMAKE_PROJECT_VERSION:")
string(REGEX REPLACE ".*=" "" PROJECT_VERSION "${version}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in" "${OUTPUT_DIR}/Doxyfile" @ONLY)
execute_process(COMMAND "${DOXYGEN}" "${OUTPUT_DIR}/Doxyfile" RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "doxygen failed (${result}):\n${err}")
endif()

# Doxygen's own warnings: undocumented classes, members, properties, signals
# and slots, and comments it cannot read. Paths as in the source tree.
set(problems "")
file(STRINGS "${OUTPUT_DIR}/warnings.log" warnings)
foreach(line IN LISTS warnings)
    # An override of a Qt virtual function (paint, event handlers) is
    # documented by its Qt base class.
    if(line MATCHES "warning|error" AND NOT line MATCHES " override \\(function\\) of ")
        string(REPLACE "${staging}/include/" "" line "${line}")
        string(APPEND problems "${line}\n")
    endif()
endforeach()

# The elements of @p text that begin with @p opening, each up to its @p closing.
function(xml_elements out text opening closing)
    string(REPLACE "${opening}" ";" elements "${text}")
    list(POP_FRONT elements)
    set(result "")
    foreach(element IN LISTS elements)
        string(FIND "${element}" "${closing}" end)
        string(SUBSTRING "${element}" 0 ${end} element)
        list(APPEND result "${element}")
    endforeach()
    set(${out} "${result}" PARENT_SCOPE)
endfunction()

# Doxygen does not warn about undocumented enum values: read them from the XML.
file(GLOB xml_files "${OUTPUT_DIR}/xml/*.xml")
set(undocumented_values "")
foreach(xml_file IN LISTS xml_files)
    file(READ "${xml_file}" xml)
    # Characters that CMake lists would take for their own.
    string(REGEX REPLACE "[][;]" "_" xml "${xml}")
    xml_elements(enums "${xml}" "<memberdef kind=\"enum\"" "</memberdef>")
    foreach(enum IN LISTS enums)
        string(REGEX MATCH "<name>([^<]*)</name>" _ "${enum}")
        set(enum_name "${CMAKE_MATCH_1}")
        string(REGEX MATCH "<location file=\"([^\"]*)\" line=\"([0-9]+)\"" _ "${enum}")
        set(where "${CMAKE_MATCH_1}:${CMAKE_MATCH_2}")
        xml_elements(values "${enum}" "<enumvalue " "</enumvalue>")
        foreach(value IN LISTS values)
            string(REGEX MATCH "<name>([^<]*)</name>" _ "${value}")
            set(value_name "${CMAKE_MATCH_1}")
            if(NOT value MATCHES "<para>")
                list(APPEND undocumented_values
                    "${where}: warning: Enum value ${value_name} of ${enum_name} is not documented.")
            endif()
        endforeach()
    endforeach()
endforeach()
# Nor about a namespace or a header whose undocumented page would hide the
# documented enums and functions declared in it outside classes.
file(GLOB xml_files "${OUTPUT_DIR}/xml/namespace*.xml" "${OUTPUT_DIR}/xml/*_8h.xml")
foreach(xml_file IN LISTS xml_files)
    file(READ "${xml_file}" xml)
    string(FIND "${xml}" "</sectiondef>" last_section REVERSE)
    if(last_section EQUAL -1)
        continue()
    endif()
    string(SUBSTRING "${xml}" ${last_section} -1 description)
    string(FIND "${description}" "<location " end)
    string(SUBSTRING "${description}" 0 ${end} description)
    if(NOT description MATCHES "<para>")
        string(REGEX MATCH "<compoundname>([^<]*)</compoundname>" _ "${xml}")
        list(APPEND undocumented_values "${CMAKE_MATCH_1}: warning: declares enums or functions outside classes but "
            "has no documentation of its own (a /// comment before the namespace, @file in a header), so they are "
            "missing from the reference.")
    endif()
endforeach()
list(REMOVE_DUPLICATES undocumented_values)
foreach(line IN LISTS undocumented_values)
    string(REPLACE "${staging}/include/" "" line "${line}")
    string(APPEND problems "${line}\n")
endforeach()

if(problems)
    message(NOTICE "${problems}")
    message(FATAL_ERROR "The API reference is incomplete: document each of the above with a /// comment in its "
        "header (what a caller needs to know of its behaviour).")
endif()
message(STATUS "The API reference is in ${OUTPUT_DIR}/html/index.html")
