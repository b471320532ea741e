# Installs a build into a scratch prefix, moves it, and builds and runs a host against it, once through
# the CMake package and once through pkg-config.
#
#     cmake -D BUILD=<build folder> -D SCRATCH=<folder> -D CXX=<compiler> [-D CXX_FLAGS=<flags>]
#           [-D PKG_CONFIG=<program>] -P check_install.cmake

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(sources ${CMAKE_CURRENT_LIST_DIR}/host)
set(prefix ${SCRATCH}/moved)
file(REMOVE_RECURSE ${SCRATCH})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${SCRATCH}/installed)
file(RENAME ${SCRATCH}/installed ${prefix})

run(${CMAKE_COMMAND} -S ${sources} -B ${SCRATCH}/build -D CMAKE_PREFIX_PATH=${prefix}
    -D CMAKE_CXX_COMPILER=${CXX} -D CMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${SCRATCH}/build)
run(${SCRATCH}/build/consumer)

file(GLOB_RECURSE pc_file ${prefix}/*/ORQSrvBasic.pc)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir}
                        ${PKG_CONFIG} --cflags --libs ORQSrvBasic
                OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${CXX_FLAGS} ${flags}")
run(${CXX} -std=c++20 ${sources}/consumer.cpp ${flags} -Wl,-rpath,${lib_dir} -o ${SCRATCH}/consumer)
run(${SCRATCH}/consumer)

if(EXISTS ${prefix}/bin/orqmodel)
    run(${prefix}/bin/orqmodel --version)
endif()
