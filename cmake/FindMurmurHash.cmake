# MurmurHash3 as libmurmurhash packages it. Gives the target MurmurHash::MurmurHash.
find_path(MurmurHash_INCLUDE_DIR murmurhash.h)
find_library(MurmurHash_LIBRARY murmurhash)
mark_as_advanced(MurmurHash_INCLUDE_DIR MurmurHash_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MurmurHash REQUIRED_VARS MurmurHash_LIBRARY MurmurHash_INCLUDE_DIR)

if(MurmurHash_FOUND AND NOT TARGET MurmurHash::MurmurHash)
  add_library(MurmurHash::MurmurHash UNKNOWN IMPORTED)
  set_target_properties(MurmurHash::MurmurHash PROPERTIES
    IMPORTED_LOCATION ${MurmurHash_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${MurmurHash_INCLUDE_DIR})
endif()
