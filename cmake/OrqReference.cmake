# The reference of the public headers, a page a floor, by Doxygen: target `reference`, where that is
# there. What Doxygen warns of is an error.
find_program(ORQ_DOXYGEN doxygen)
if(NOT ORQ_DOXYGEN)
    message(STATUS "No reference is made: it needs Doxygen")
    return()
endif()

get_property(orq_include_dirs GLOBAL PROPERTY ORQ_INCLUDE_DIRS)
list(REMOVE_DUPLICATES orq_include_dirs)
list(JOIN orq_include_dirs " " orq_reference_input)
string(APPEND orq_reference_input " ${PROJECT_SOURCE_DIR}/docs/api")
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
add_custom_target(reference COMMAND ${ORQ_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
                  COMMENT "Making the reference in ${PROJECT_BINARY_DIR}/reference/html" VERBATIM)
