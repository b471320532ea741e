# Headers of the standard library and of packages that most sources include, compiled once: parsing them
# is half of the time that a source takes. A source still includes what it uses; builds without
# precompiled headers show where it does not.
#
# Off where a compiler launcher caches results: there precompiled headers only make the keys of the
# cache differ from one build folder to the next.

set(orq_precompile_default ON)
if(CMAKE_CXX_COMPILER_LAUNCHER)
    set(orq_precompile_default OFF)
endif()
option(ORQ_PRECOMPILE "Precompile the headers that most sources include" ${orq_precompile_default})

# GCC warns falsely of moved strings that it has inlined, unless it knows that the place is a system
# header's, which it does not from a precompiled one. Other builds keep the warnings.
function(orq_leave_out_false_warnings target)
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread>)
endfunction()

# orq_precompiled_headers(OWNER HEADERS...)
# Precompiles these headers, and those of the standard library, for targets that reuse them by
# orq_reuse_headers(TARGET OWNER). OWNER is a library of objects with the compile options of the targets,
# or the only target that has these options.
function(orq_precompiled_headers owner)
    if(ORQ_PRECOMPILE)
        target_precompile_headers(${owner} PRIVATE
            <algorithm> <array> <cstdint> <cstring> <filesystem> <functional> <limits> <map> <memory> <numeric>
            <optional> <set> <span> <string> <string_view> <utility> <variant> <vector> ${ARGN})
        orq_leave_out_false_warnings(${owner})
    endif()
endfunction()

function(orq_reuse_headers target owner)
    if(ORQ_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM ${owner})
        orq_leave_out_false_warnings(${target})
    endif()
endfunction()

# For platform and services.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/orq_headers.cpp CONTENT "")
add_library(orq_headers OBJECT ${CMAKE_BINARY_DIR}/orq_headers.cpp)
orq_precompiled_headers(orq_headers)
