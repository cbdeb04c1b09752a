# How Vantles is documented, found and shipped: the API reference (./run
# docs).

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
