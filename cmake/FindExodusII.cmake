# Finds the Exodus II library, and the netCDF library under it, and defines the target
# ExodusII::ExodusII.

find_path(ExodusII_INCLUDE_DIR exodusII.h)
find_library(ExodusII_LIBRARY NAMES exoIIv2c exodus exodusii)
find_path(ExodusII_NetCDF_INCLUDE_DIR netcdf.h)
find_library(ExodusII_NetCDF_LIBRARY NAMES netcdf)
mark_as_advanced(ExodusII_INCLUDE_DIR ExodusII_LIBRARY ExodusII_NetCDF_INCLUDE_DIR
                 ExodusII_NetCDF_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ExodusII REQUIRED_VARS ExodusII_LIBRARY ExodusII_INCLUDE_DIR
                                                ExodusII_NetCDF_LIBRARY
                                                ExodusII_NetCDF_INCLUDE_DIR)

if(ExodusII_FOUND AND NOT TARGET ExodusII::ExodusII)
    add_library(ExodusII::ExodusII UNKNOWN IMPORTED)
    set_target_properties(ExodusII::ExodusII PROPERTIES
                          IMPORTED_LOCATION ${ExodusII_LIBRARY}
                          INTERFACE_INCLUDE_DIRECTORIES
                          "${ExodusII_INCLUDE_DIR};${ExodusII_NetCDF_INCLUDE_DIR}"
                          INTERFACE_LINK_LIBRARIES ${ExodusII_NetCDF_LIBRARY})
endif()
