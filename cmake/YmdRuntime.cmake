# The DLLs that the built programs load and the build itself does not make, copied beside
# them: the compiler's runtime and MediaInfo.dll.
set(ymd_runtime_dlls)
if(MINGW)
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(EXISTS ${path})
      list(APPEND ymd_runtime_dlls ${path})
    endif()
  endforeach()
endif()
set(mediainfo_dll)
foreach(prefix ${YMD_DEPS})
  if(EXISTS ${prefix}/bin/MediaInfo.dll)
    set(mediainfo_dll ${prefix}/bin/MediaInfo.dll)
  endif()
endforeach()
if(mediainfo_dll)
  list(APPEND ymd_runtime_dlls ${mediainfo_dll})
else()
  message(STATUS "No MediaInfo.dll: media information is read without it")
endif()

# ymd_copies(TARGET DIRECTORY FILES...): a target that copies the files into the directory.
function(ymd_copies target directory)
  set(copies)
  foreach(file ${ARGN})
    get_filename_component(name ${file} NAME)
    set(copy ${directory}/${name})
    add_custom_command(OUTPUT ${copy} DEPENDS ${file} VERBATIM
      COMMAND ${CMAKE_COMMAND} -E copy ${file} ${copy})
    list(APPEND copies ${copy})
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${copies})
endfunction()
ymd_copies(ymd_runtime ${PROJECT_BINARY_DIR}/bin ${ymd_runtime_dlls})

# Built programs start through this when the build machine is not a Windows one.
set(YMD_RUN)
if(CMAKE_CROSSCOMPILING)
  set(YMD_RUN ${PROJECT_SOURCE_DIR}/scripts/run-wine --build ${PROJECT_BINARY_DIR})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${YMD_RUN})
endif()
