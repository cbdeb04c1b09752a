# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Checks that every file of the source tree says its licence and copyright
# (the REUSE rules, through `reuse lint`), and names the files that do not.
#   cmake -DSOURCE_DIR=... -DREUSE=... -P RunReuseLint.cmake
cmake_minimum_required(VERSION 3.21)
if(NOT REUSE)
    message(FATAL_ERROR "The reuse tool is not installed: ./run deps installs it (Debian package reuse).")
endif()
execute_process(COMMAND "${REUSE}" lint WORKING_DIRECTORY "${SOURCE_DIR}" RESULT_VARIABLE result
    OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(result EQUAL 0)
    message(STATUS "Every file has its licence and copyright.")
    return()
endif()

# reuse lists the files without licence or copyright under a heading of its
# own: name them last, where a log's tail shows them; other faults (a licence
# used but missing from LICENSES/, one not used) need its whole report.
string(REGEX MATCH "# MISSING COPYRIGHT AND LICENSING INFORMATION\n\n([^#]*)" _ "${out}")
string(STRIP "${CMAKE_MATCH_1}" missing)
string(REGEX MATCH "# SUMMARY.*" summary "${out}")
if(NOT missing)
    message(FATAL_ERROR "reuse lint failed (${result}):\n${out}\n${err}")
endif()
# (The tags are cut in two here, so that reuse does not read them as this
# file's own.)
message(NOTICE "${summary}\n${missing}\n\nGive each of these files, in a comment on its first lines:\n"
    "    SPDX" "-FileCopyrightText: 2026 The Vantles Authors\n"
    "    SPDX" "-License-Identifier: BSD-3-Clause\n"
    "(CC0-1.0 for the sample content in data/ and for the documentation), or list a file that cannot carry a "
    "comment in .reuse/dep5.")
message(FATAL_ERROR "Files without licence or copyright: see above.")
