# Settings that every target shares, and the one way to declare a library of the house.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Programs and libraries of one build find each other; so do installed ones.
include(GNUInstallDirs)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Werror)
if(ORQ_SANITIZE)
    # What address finds, too, is left to it: a check of each pointer for null or the size of what it leads
    # to takes a fifth of the time that compiling takes.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize=null,object-size -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

if(ORQ_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# orq_add_library(NAME SOURCES... [PUBLIC libs...] [PRIVATE libs...])
# A shared library whose public headers lie in ./include. Only what ORQ_EXPORT marks is visible.
function(orq_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE;INCLUDE" ${ARGN})
    if(NOT ARG_INCLUDE)
        set(ARG_INCLUDE ${CMAKE_CURRENT_SOURCE_DIR}/include)
    endif()
    add_library(${name} SHARED ${ARG_SOURCES})
    add_library(ORQSrvBasic::${name} ALIAS ${name})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${ARG_INCLUDE}>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ORQSrvBasic>)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
    target_compile_features(${name} PUBLIC cxx_std_20)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
    orq_reuse_headers(${name} orq_headers)
    orq_unite(${name})
    if(ORQ_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
        # Clang leaves the sanitizer runtime of a shared library to the program.
        set_target_properties(${name} PROPERTIES LINK_OPTIONS "")
    endif()
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    set_property(GLOBAL APPEND PROPERTY ORQ_LIBRARIES ${name})
    set_property(GLOBAL APPEND PROPERTY ORQ_INCLUDE_DIRS ${ARG_INCLUDE})
endfunction()
