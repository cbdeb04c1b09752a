# Installs the built library into a scratch prefix, then configures, builds
# and runs a host project that finds it with find_package(Vantles).
#   cmake -DBUILD_DIR=... -DHOST_SOURCE=... -DWORK_DIR=... -P RunInstallTest.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run_step what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

run_step("Installing" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
foreach(header VTContext.h VTXmlElement.h VTXmlParser.h VTIndex.h VTInterface.h VTManager.h vantles_export.h)
    if(NOT EXISTS "${prefix}/include/Vantles/${header}")
        message(FATAL_ERROR "include/Vantles/${header} was not installed")
    endif()
endforeach()

run_step("Configuring the host" ${CMAKE_COMMAND} -S "${HOST_SOURCE}" -B "${WORK_DIR}/host" -G Ninja
    "-DCMAKE_PREFIX_PATH=${prefix}")
run_step("Building the host" ${CMAKE_COMMAND} --build "${WORK_DIR}/host")
set(ENV{QT_QPA_PLATFORM} offscreen)
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${prefix}/lib64:$ENV{LD_LIBRARY_PATH}")
run_step("Running the host" "${WORK_DIR}/host/host")
if(NOT step_output MATCHES "<vantles>\n  <vantle key=\"k\"/>\n</vantles>")
    message(FATAL_ERROR "Unexpected output of the host:\n${step_output}")
endif()
message(STATUS "The installed package works:\n${step_output}")
