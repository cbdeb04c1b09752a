# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Runs Qt's lint target of the QML module (VantlesView_qmllint: qmllint over the
# library's own interfaces, with the module's types) and fails on every
# finding but those Qt 6.4's qmllint makes of correct code:
# - unqualified access to names the tool cannot see, which QML finds in the
#   context of the object: vantle, vantleView and dataLocation (the context
#   properties the view sets), modelData, model and index (what a Repeater
#   gives its delegates) and the ids of the file (used inside a delegate);
#   any other unqualified name, a misspelled id for one, is a finding;
# - MouseArea's cursorShape and the Qt.*Cursor values, which Qt 6.4's
#   description of QtQuick leaves out;
# - the QSize of Image.sourceSize, a value type it does not describe;
# - enum values read through a type in a C++ namespace
#   (VTVideoComponent.playingState), which it does not resolve.
# Misspelled properties, unknown types and failed imports all fail the check.
#   cmake -DBUILD_DIR=... -DMODULE_SOURCE_DIR=... -P RunQmlLint.cmake
cmake_minimum_required(VERSION 3.21)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${BUILD_DIR}" --target VantlesView_qmllint
    OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REPLACE ";" "," output "${out}${err}")
string(REGEX MATCHALL "(Warning|Error): [^\n]*" lines "${output}")
set(context_names vantle vantleView dataLocation modelData model index)
set(findings "")
set(files_seen "")
foreach(line IN LISTS lines)
    if(NOT line MATCHES "^(Warning|Error): ([^:]+):([0-9]+):([0-9]+): (.*)$")
        continue()
    endif()
    set(file "${CMAKE_MATCH_2}")
    set(row "${CMAKE_MATCH_3}")
    set(column "${CMAKE_MATCH_4}")
    set(message "${CMAKE_MATCH_5}")
    get_filename_component(name "${file}" NAME)
    list(APPEND files_seen "${name}")
    if(message STREQUAL "Unqualified access")
        # The name at the reported place; the target runs in the module's
        # source folder.
        get_filename_component(path "${file}" ABSOLUTE BASE_DIR "${MODULE_SOURCE_DIR}")
        file(READ "${path}" rest)
        string(REGEX MATCHALL "[ \t\n]id: *[A-Za-z_][A-Za-z0-9_]*" ids "${rest}")
        string(REGEX REPLACE "[ \t\n]id: *" "" ids "${ids}")
        set(skipped 1)
        while(skipped LESS row)
            string(FIND "${rest}" "\n" end)
            math(EXPR end "${end} + 1")
            string(SUBSTRING "${rest}" ${end} -1 rest)
            math(EXPR skipped "${skipped} + 1")
        endwhile()
        math(EXPR offset "${column} - 1")
        string(SUBSTRING "${rest}" ${offset} -1 rest)
        string(REGEX MATCH "^[A-Za-z_][A-Za-z0-9_]*" identifier "${rest}")
        if(identifier IN_LIST context_names OR identifier IN_LIST ids)
            continue()
        endif()
        set(message "Unqualified access to \"${identifier}\"")
    elseif(message MATCHES "^No type found for property \"cursorShape\""
            OR message MATCHES "^Property \"[A-Za-z]+Cursor\" not found on type \"Qt\"$"
            OR message MATCHES "^Type \"QSize\" of property \"sourceSize\" not found"
            OR message MATCHES "^Property \"[a-z]+State\" not found on type \"Vantles::VTVideoComponent\"$")
        continue()
    endif()
    string(APPEND findings "${file}:${row}:${column}: ${message}\n")
endforeach()

list(REMOVE_DUPLICATES files_seen)
foreach(interface VantleUI.qml SimpleTooltip.qml)
    if(NOT interface IN_LIST files_seen)
        message(FATAL_ERROR "qmllint did not check ${interface}:\n${out}\n${err}")
    endif()
endforeach()
if(findings)
    message(FATAL_ERROR "qmllint finds problems in the library's interfaces:\n${findings}")
endif()
message(STATUS "qmllint finds nothing wrong in ${files_seen}")
