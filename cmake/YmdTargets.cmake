# Compile settings that every target of the tree shares.
add_library(ymd_settings INTERFACE)
target_include_directories(ymd_settings INTERFACE ${PROJECT_SOURCE_DIR}/include)
# Headers of others that go with the library's.
target_include_directories(ymd_settings SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/include)
target_compile_definitions(ymd_settings INTERFACE _WIN32_WINNT=0x0601 NOMINMAX NO_DSHOW_STRSAFE WIN32_LEAN_AND_MEAN)
if(MSVC)
  target_compile_options(ymd_settings INTERFACE /W4 /utf-8 /EHsc $<$<BOOL:${YMD_WERROR}>:/WX>)
else()
  target_compile_options(ymd_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${YMD_WERROR}>:-Werror>)
endif()

# ymd_room(NAME SOURCES...): one room of the library, an object library that the DLL
# is made of and that tests of its internals link directly.
function(ymd_room name)
  add_library(${name} OBJECT ${ARGN})
  target_compile_definitions(${name} PUBLIC YMDSPLAYER_BUILD)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ymd_settings)
  if(NOT name STREQUAL ymd_text) # the utility library stands on it
    target_link_libraries(${name} PUBLIC ymlib)
  endif()
  set_property(GLOBAL APPEND PROPERTY YMD_ROOMS ${name})
endfunction()

# ymd_link(TARGET LIBRARIES...): links a program with the libraries that it names, and with
# the library itself: its DLL, or, when rooms are among them, those rooms in its place.
function(ymd_link target)
  get_property(rooms GLOBAL PROPERTY YMD_ROOMS)
  set(linked ${ARGN})
  list(REMOVE_ITEM linked ${rooms})
  if("${linked}" STREQUAL "${ARGN}")
    target_link_libraries(${target} PRIVATE YMDSPlayer)
  else()
    # The category that the rooms log to.
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src/Log.cpp)
  endif()
  target_link_libraries(${target} PRIVATE ${ARGN} ymlib ymd_settings
    strmiids dmoguids ole32 oleaut32 uuid)
endfunction()
