include(GoogleTest)

# ymd_test(NAME n SOURCES ... [LIBS ...] [LABELS ...] [DIRECTORY d] [TIMEOUT s]
#          [DEPENDS targets...] [DEFINES ...] [LAUNCHER command] [LOCK name] [SERIAL])
# A GoogleTest program; each of its tests is a test of CTest's and runs in a process of its
# own, at most 240 s: a limit for what hangs, far above what a busy machine takes. LIBS as for
# ymd_link. DIRECTORY places the program into bin/d, away from MediaInfo.dll; the other DLLs
# are found from there. Tests of
# one LOCK do not run at the same time (the registry is one for all), SERIAL tests run alone
# (they press keys or listen).
# LAUNCHER runs the program, by what else runs it.
# Samples: see YMD_MEDIA_DIR in CONTRIBUTING.md.
function(ymd_test)
  cmake_parse_arguments(arg "SERIAL" "NAME;DIRECTORY;TIMEOUT;LOCK;LAUNCHER" "SOURCES;LIBS;LABELS;DEPENDS;DEFINES" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_NAME OR NOT arg_SOURCES)
    message(FATAL_ERROR "ymd_test: ${ARGN}")
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 240)
  endif()
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_compile_definitions(${arg_NAME} PRIVATE ${arg_DEFINES})
  target_include_directories(${arg_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  ymd_link(${arg_NAME} ${arg_LIBS})
  target_link_libraries(${arg_NAME} PRIVATE GTest::gtest_main)
  add_dependencies(${arg_NAME} ymd_runtime ${arg_DEPENDS})
  if(arg_DIRECTORY)
    set_target_properties(${arg_NAME} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${arg_DIRECTORY})
  endif()
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(emulator ${arg_LAUNCHER} ${PROJECT_SOURCE_DIR}/scripts/run-test)
    set_target_properties(${arg_NAME} PROPERTIES CROSSCOMPILING_EMULATOR "${emulator}")
  endif()
  set(properties TIMEOUT ${arg_TIMEOUT})
  if(arg_LABELS)
    list(APPEND properties LABELS "${arg_LABELS}")
  endif()
  if(arg_SERIAL)
    list(APPEND properties RUN_SERIAL ON)
  endif()
  if(arg_LOCK)
    list(APPEND properties RESOURCE_LOCK ${arg_LOCK})
  endif()
  # What ./check --only runs.
  string(JOIN "/" file ${arg_DIRECTORY} ${arg_NAME}${CMAKE_EXECUTABLE_SUFFIX})
  set_property(GLOBAL APPEND_STRING PROPERTY YMD_TESTS "${arg_NAME} ${file} ${arg_LAUNCHER}\n")
  # Listed when CTest starts, so that a build needs no Wine.
  gtest_discover_tests(${arg_NAME} TEST_PREFIX ${arg_NAME}. DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 240 PROPERTIES ${properties})
endfunction()

# ymd_test_dll(NAME n SOURCES ... [LIBS ...] [DIRECTORY d] [OUTPUT_NAME f] [DEFINES ...]):
# a DLL that tests load.
function(ymd_test_dll)
  cmake_parse_arguments(arg "" "NAME;DIRECTORY;OUTPUT_NAME" "SOURCES;LIBS;DEFINES" ${ARGN})
  add_library(${arg_NAME} SHARED ${arg_SOURCES})
  target_compile_definitions(${arg_NAME} PRIVATE ${arg_DEFINES})
  target_include_directories(${arg_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${arg_NAME} PRIVATE ymd_settings ${arg_LIBS} strmiids ole32 uuid)
  if(arg_DIRECTORY)
    set_target_properties(${arg_NAME} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${arg_DIRECTORY}
      ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${arg_DIRECTORY})
  endif()
  if(arg_OUTPUT_NAME)
    set_target_properties(${arg_NAME} PROPERTIES OUTPUT_NAME ${arg_OUTPUT_NAME})
  endif()
endfunction()
