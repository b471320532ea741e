# Finds the Exodus II library and defines the target ExodusII::ExodusII.

find_path(ExodusII_INCLUDE_DIR exodusII.h)
find_library(ExodusII_LIBRARY NAMES exoIIv2c exodus exodusii)
mark_as_advanced(ExodusII_INCLUDE_DIR ExodusII_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ExodusII REQUIRED_VARS ExodusII_LIBRARY ExodusII_INCLUDE_DIR)

if(ExodusII_FOUND AND NOT TARGET ExodusII::ExodusII)
    add_library(ExodusII::ExodusII UNKNOWN IMPORTED)
    set_target_properties(ExodusII::ExodusII PROPERTIES
                          IMPORTED_LOCATION ${ExodusII_LIBRARY}
                          INTERFACE_INCLUDE_DIRECTORIES ${ExodusII_INCLUDE_DIR})
endif()
