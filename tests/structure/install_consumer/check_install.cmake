# Installs a build into a scratch prefix, moves it, and builds and runs a host against it, once through
# the CMake package and once through pkg-config.
#
#     cmake -D BUILD=<build folder> -D SCRATCH=<folder> -D CXX=<compiler>
#           [-D PKG_CONFIG=<program>] -P check_install.cmake

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(sources ${CMAKE_CURRENT_LIST_DIR}/host)
set(examples ${CMAKE_CURRENT_LIST_DIR}/../../../examples)
set(prefix ${SCRATCH}/moved)
file(REMOVE_RECURSE ${SCRATCH})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${SCRATCH}/installed)
file(RENAME ${SCRATCH}/installed ${prefix})

run(${CMAKE_COMMAND} -S ${sources} -B ${SCRATCH}/build -D CMAKE_PREFIX_PATH=${prefix}
    -D CMAKE_CXX_COMPILER=${CXX} -D EXAMPLES=${examples})
run(${CMAKE_COMMAND} --build ${SCRATCH}/build)
run(${SCRATCH}/build/consumer)

# The shortest host writes a model, and reads in it what it wrote.
execute_process(COMMAND ${SCRATCH}/build/hello_model ${SCRATCH}/hello.orq OUTPUT_VARIABLE said COMMAND_ERROR_IS_FATAL ANY)
message("${said}")
foreach(text "6 nodes, root of 2, 3 layers" "U1 of the last node: 2")
    if(NOT said MATCHES "${text}")
        message(FATAL_ERROR "hello_model does not print: ${text}")
    endif()
endforeach()

file(GLOB_RECURSE pc_file ${prefix}/*/ORQSrvBasic.pc)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir}
                        ${PKG_CONFIG} --cflags --libs ORQSrvBasic
                OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${sources}/consumer.cpp ${flags} -Wl,-rpath,${lib_dir} -o ${SCRATCH}/consumer)
run(${SCRATCH}/consumer)

if(EXISTS ${prefix}/bin/orqmodel)
    run(${prefix}/bin/orqmodel --version)
    # What the program wrote, the host reads.
    run(${prefix}/bin/orqmodel import ${examples}/wing_box/wing_box.e -o ${SCRATCH}/wing_box.orq
        --layup ${examples}/wing_box/wing_box_layup.json OUTPUT_QUIET)
    execute_process(COMMAND ${SCRATCH}/build/list_model ${SCRATCH}/wing_box.orq OUTPUT_VARIABLE listed
                    COMMAND_ERROR_IS_FATAL ANY)
    message("${listed}")
    foreach(line "block skin_upper: [0-9]+ SHELL4" "section skin upper: [0-9]+ elements"
                 "  layer of [^\n]+, ply [^\n]+" "material [^\n]+")
        if(NOT listed MATCHES "${line}")
            message(FATAL_ERROR "list_model does not print: ${line}")
        endif()
    endforeach()
endif()
