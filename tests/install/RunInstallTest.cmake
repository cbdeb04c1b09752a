# Installs the built library into a scratch prefix, then builds the host
# example of README.md, exactly as written there, against the installed
# package and runs it offscreen on the sample data: the README cannot drift
# from the library.
#   cmake -DBUILD_DIR=... -DREADME=... -DDATA_DIR=... -DWORK_DIR=... -P RunInstallTest.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run_step what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
endfunction()

run_step("Installing" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
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
    "-DCMAKE_PREFIX_PATH=${prefix}")
run_step("Building the README host" ${CMAKE_COMMAND} --build "${host}/build")

# The host runs until it is closed: let it show its vantle, then stop it. The
# library says what it shows on the "vantles.window" logging category.
set(ENV{QT_QPA_PLATFORM} offscreen)
set(ENV{QT_QUICK_BACKEND} software)
set(ENV{QT_LOGGING_RULES} "vantles.window.debug=true")
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${prefix}/lib64:$ENV{LD_LIBRARY_PATH}")
execute_process(COMMAND "${host}/build/app" "${DATA_DIR}" TIMEOUT 6 OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT err MATCHES "Showing the vantle \"actionOpen\" of [^\n]*/Sample_en.xml with [^\n]*/ui/VantleUI.qml")
    message(FATAL_ERROR "The README host showed no vantle:\n${out}\n${err}")
endif()
if(err MATCHES "vantles:")
    message(FATAL_ERROR "The README host reported problems with the sample data:\n${err}")
endif()
message(STATUS "The README host works:\n${err}")

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
