# Installs the libraries of the house, their public headers, the program and the Python package; a host
# finds them by find_package(ORQSrvBasic) or by pkg-config. What is installed can be moved as a whole.
# Components: runtime, development, program and python, of which packages are made (OrqPackages).

include(CMakePackageConfigHelpers)

get_property(orq_libraries GLOBAL PROPERTY ORQ_LIBRARIES)
get_property(orq_include_dirs GLOBAL PROPERTY ORQ_INCLUDE_DIRS)
list(REMOVE_DUPLICATES orq_include_dirs)

# All of them at once, for hosts that need not choose.
add_library(ORQSrvBasic INTERFACE)
add_library(ORQSrvBasic::ORQSrvBasic ALIAS ORQSrvBasic)
target_link_libraries(ORQSrvBasic INTERFACE ${orq_libraries})

set(orq_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ORQSrvBasic)
set(orq_header_dir ${CMAKE_INSTALL_INCLUDEDIR}/ORQSrvBasic)

install(TARGETS ${orq_libraries} ORQSrvBasic EXPORT ORQSrvBasicTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
foreach(directory IN LISTS orq_include_dirs)
    install(DIRECTORY ${directory}/ DESTINATION ${orq_header_dir} COMPONENT development
            FILES_MATCHING PATTERN "*.h" PATTERN "*.inc")
endforeach()
foreach(folder IN ITEMS docs examples)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ORQSrvBasic/${folder} COMPONENT development)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ORQSrvBasic COMPONENT development)
if(TARGET orqmodel)
    install(TARGETS orqmodel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
    install(FILES ${PROJECT_BINARY_DIR}/tools/orqmodel/orqmodel.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    install(FILES ${PROJECT_BINARY_DIR}/tools/orqmodel/orqmodel.bash COMPONENT program
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME orqmodel)
endif()

# The CMake package. Libraries that ours use privately come in as plain shared libraries.
install(EXPORT ORQSrvBasicTargets NAMESPACE ORQSrvBasic:: DESTINATION ${orq_package_dir}
        COMPONENT development)
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/ORQSrvBasicConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasicConfig.cmake
    INSTALL_DESTINATION ${orq_package_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasicConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasicConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasicConfigVersion.cmake
        DESTINATION ${orq_package_dir} COMPONENT development)

# The pkg-config file finds its prefix from where it lies.
file(RELATIVE_PATH orq_prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" orq_prefix_from_pc ${orq_prefix_from_pc})
list(TRANSFORM orq_libraries PREPEND "-l" OUTPUT_VARIABLE orq_link_flags)
list(JOIN orq_link_flags " " orq_link_flags)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ORQSrvBasic.pc.in
               ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasic.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/install/ORQSrvBasic.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
