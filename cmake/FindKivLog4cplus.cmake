# Finds log4cplus, one of whose loggers <kiv/diag.h> hands out, and makes the target Kiv::log4cplus. Installed with the
# package, too. It looks for the files: not every build of log4cplus brings a package for CMake, and pkg-config need not
# be there where Kiv is used.

find_path(KIV_LOG4CPLUS_INCLUDE_DIR log4cplus/logger.h DOC "Folder with log4cplus/logger.h")
find_library(KIV_LOG4CPLUS_LIBRARY log4cplus DOC "The library log4cplus")
mark_as_advanced(KIV_LOG4CPLUS_INCLUDE_DIR KIV_LOG4CPLUS_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(KivLog4cplus REQUIRED_VARS KIV_LOG4CPLUS_LIBRARY KIV_LOG4CPLUS_INCLUDE_DIR)
if(KivLog4cplus_FOUND AND NOT TARGET Kiv::log4cplus)
  # Global, because projects that contain this one link Kiv::kiv from other folders.
  add_library(Kiv::log4cplus UNKNOWN IMPORTED GLOBAL)
  set_target_properties(Kiv::log4cplus PROPERTIES
      IMPORTED_LOCATION ${KIV_LOG4CPLUS_LIBRARY}
      INTERFACE_INCLUDE_DIRECTORIES ${KIV_LOG4CPLUS_INCLUDE_DIR})
endif()
