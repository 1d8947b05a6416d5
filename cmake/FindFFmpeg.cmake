# FFmpeg's libraries as FFmpeg::COMPONENT (avcodec, avformat, avutil, swresample, swscale), the
# files to ship with what is linked to them in FFmpeg_RUNTIME: their DLLs and what those load.
include(FindPackageHandleStandardArgs)

set(FFmpeg_RUNTIME)
foreach(name ${FFmpeg_FIND_COMPONENTS})
  find_path(FFmpeg_${name}_INCLUDE_DIR lib${name}/version.h)
  find_library(FFmpeg_${name}_LIBRARY NAMES lib${name}.dll.a ${name})
  mark_as_advanced(FFmpeg_${name}_INCLUDE_DIR FFmpeg_${name}_LIBRARY)
  set(include ${FFmpeg_${name}_INCLUDE_DIR})
  if(NOT include OR NOT FFmpeg_${name}_LIBRARY)
    continue()
  endif()
  # Newer releases have the first number in a header of its own.
  string(TOUPPER ${name} upper)
  set(major 0)
  foreach(header version.h version_major.h)
    if(EXISTS ${include}/lib${name}/${header})
      file(STRINGS ${include}/lib${name}/${header} line REGEX "define +LIB${upper}_VERSION_MAJOR")
      if(line MATCHES "([0-9]+)")
        set(major ${CMAKE_MATCH_1})
      endif()
    endif()
  endforeach()
  find_file(FFmpeg_${name}_DLL ${name}-${major}.dll PATH_SUFFIXES bin)
  mark_as_advanced(FFmpeg_${name}_DLL)
  if(FFmpeg_${name}_DLL)
    list(APPEND FFmpeg_RUNTIME ${FFmpeg_${name}_DLL})
  endif()
  if(NOT TARGET FFmpeg::${name})
    add_library(FFmpeg::${name} UNKNOWN IMPORTED)
    set_target_properties(FFmpeg::${name} PROPERTIES IMPORTED_LOCATION ${FFmpeg_${name}_LIBRARY}
      INTERFACE_INCLUDE_DIRECTORIES ${include})
  endif()
  set(FFmpeg_${name}_FOUND TRUE)
endforeach()

# Static libraries bring no DLL and need none.
if(FFmpeg_RUNTIME)
  find_file(FFmpeg_zlib_DLL zlib1.dll PATHS /lib PATH_SUFFIXES bin)
  mark_as_advanced(FFmpeg_zlib_DLL)
  if(FFmpeg_zlib_DLL)
    list(APPEND FFmpeg_RUNTIME ${FFmpeg_zlib_DLL})
  endif()
endif()

find_package_handle_standard_args(FFmpeg HANDLE_COMPONENTS
  REQUIRED_VARS FFmpeg_avcodec_LIBRARY FFmpeg_avcodec_INCLUDE_DIR)
