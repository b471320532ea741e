# Sources of one folder compiled together, a dozen at a time: the headers that they share are parsed
# once. A full build takes a third of the time; a change to one source compiles its dozen again.
#
# Names in unnamed namespaces are therefore unique within a folder; a test reads them. Builds that do not unite show
# where a source lacks an include.
#
# Off where a compiler launcher caches results, which it does source by source.

set(orq_unite_default ON)
if(CMAKE_CXX_COMPILER_LAUNCHER)
    set(orq_unite_default OFF)
endif()
option(ORQ_UNITE "Compile the sources of a folder together" ${orq_unite_default})

# orq_unite(TARGET)
# Unites the sources that the target has so far. Generated ones stay by themselves.
function(orq_unite target)
    if(NOT ORQ_UNITE)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    # A name of a neighbour is taken for one that is shadowed. GCC also takes a united source for a header,
    # in which a type from an unnamed namespace would be wrong.
    target_compile_options(${target} PRIVATE -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        if(IS_ABSOLUTE "${source}" OR NOT source MATCHES "^[^$]*[.]cpp$")
            continue()
        endif()
        get_filename_component(folder ${source} DIRECTORY)
        string(MAKE_C_IDENTIFIER "in_${folder}" folder)
        math(EXPR number "${${folder}_count} + 0")
        math(EXPR ${folder}_count "${number} + 1")
        math(EXPR dozen "${number} / 12")
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${target}_${folder}_${dozen})
    endforeach()
endfunction()
