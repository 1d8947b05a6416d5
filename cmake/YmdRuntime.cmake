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
if(YMD_DEPS AND EXISTS ${YMD_DEPS}/bin/MediaInfo.dll)
  list(APPEND ymd_runtime_dlls ${YMD_DEPS}/bin/MediaInfo.dll)
else()
  message(STATUS "No MediaInfo.dll: media information is read without it")
endif()

set(ymd_runtime_copies)
foreach(dll ${ymd_runtime_dlls})
  get_filename_component(name ${dll} NAME)
  set(copy ${PROJECT_BINARY_DIR}/bin/${name})
  add_custom_command(OUTPUT ${copy} DEPENDS ${dll} VERBATIM
    COMMAND ${CMAKE_COMMAND} -E copy ${dll} ${copy})
  list(APPEND ymd_runtime_copies ${copy})
endforeach()
add_custom_target(ymd_runtime ALL DEPENDS ${ymd_runtime_copies})

# Built programs start through this when the build machine is not a Windows one.
set(YMD_RUN)
if(CMAKE_CROSSCOMPILING)
  set(YMD_RUN ${PROJECT_SOURCE_DIR}/scripts/run-wine --build ${PROJECT_BINARY_DIR})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${YMD_RUN})
endif()
