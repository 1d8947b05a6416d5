include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# ymd_package(): a host finds the library with find_package(YMDSPlayer), in the build tree
# and where it was installed. The package needs nothing but the headers, the import
# libraries and the DLLs.
function(ymd_package)
  set(config ${PROJECT_BINARY_DIR}/YMDSPlayerConfig.cmake)
  set(version ${PROJECT_BINARY_DIR}/YMDSPlayerConfigVersion.cmake)
  write_basic_package_version_file(${version} COMPATIBILITY SameMinorVersion)
  set(player_dll $<TARGET_FILE_NAME:YMDSPlayer>)
  set(player_lib $<TARGET_LINKER_FILE_NAME:YMDSPlayer>)
  set(ymlib_dll $<TARGET_FILE_NAME:ymlib>)
  set(ymlib_lib $<TARGET_LINKER_FILE_NAME:ymlib>)
  set(template ${PROJECT_SOURCE_DIR}/cmake/YMDSPlayerConfig.cmake.in)

  set(include_dir "${PROJECT_SOURCE_DIR}/include;${PROJECT_BINARY_DIR}/include")
  set(root ${PROJECT_BINARY_DIR})
  configure_file(${template} ${PROJECT_BINARY_DIR}/cmake/build-tree.in @ONLY)
  file(GENERATE OUTPUT ${config} INPUT ${PROJECT_BINARY_DIR}/cmake/build-tree.in)

  set(root "\${CMAKE_CURRENT_LIST_DIR}/../../..")
  set(include_dir "${root}/include")
  configure_file(${template} ${PROJECT_BINARY_DIR}/cmake/installed.in @ONLY)
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/cmake/YMDSPlayerConfig.cmake
    INPUT ${PROJECT_BINARY_DIR}/cmake/installed.in)

  install(TARGETS YMDSPlayer ymlib ymds RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
  install(FILES ${ymd_runtime_dlls} DESTINATION bin)
  set(licences ${PROJECT_SOURCE_DIR}/THIRD-PARTY.md)
  foreach(prefix ${YMD_DEPS})
    file(GLOB texts ${prefix}/COPYING*)
    list(APPEND licences ${texts})
  endforeach()
  install(FILES ${licences} DESTINATION share/doc/YMDSPlayer)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_BINARY_DIR}/include/ DESTINATION include)
  install(FILES ${PROJECT_BINARY_DIR}/cmake/YMDSPlayerConfig.cmake ${version}
    DESTINATION lib/cmake/YMDSPlayer)
endfunction()
