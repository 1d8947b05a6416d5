# Compile settings that every target of the tree shares.
add_library(ymd_settings INTERFACE)
target_include_directories(ymd_settings INTERFACE ${PROJECT_SOURCE_DIR}/include)
target_compile_definitions(ymd_settings INTERFACE _WIN32_WINNT=0x0601 NOMINMAX WIN32_LEAN_AND_MEAN)
if(MSVC)
  target_compile_options(ymd_settings INTERFACE /W4 /utf-8 /EHsc)
else()
  target_compile_options(ymd_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion)
endif()

# ymd_room(NAME SOURCES...): one room of the library, an object library that the DLL
# is made of and that tests of its internals link directly.
function(ymd_room name)
  add_library(${name} OBJECT ${ARGN})
  target_compile_definitions(${name} PUBLIC YMDSPLAYER_BUILD)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ymd_settings ymlib)
endfunction()
