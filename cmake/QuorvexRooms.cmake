# quorvex_room(NAME SOURCES ... [DEPS ...]): a static library for one room of src/, named
# quorvex_NAME, whose headers are included as "room/Header.h".
function(quorvex_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;DEPS" ${ARGN})
  add_library(quorvex_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(quorvex_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  if(ROOM_DEPS)
    target_link_libraries(quorvex_${name} PUBLIC ${ROOM_DEPS})
  endif()
endfunction()
