# Warnings for our own targets. Call zorv_warnings(target) on every target we compile.
function(zorv_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    -Wno-sign-conversion -Wno-unused-parameter)
endfunction()

# Adds an OBJECT library of the core and registers it for zorv_core.
function(zorv_core_part name)
  cmake_parse_arguments(P "" "" "SOURCES;INCLUDES;LIBS" ${ARGN})
  if(NOT P_SOURCES)
    return()  # a folder whose sources have not been written yet
  endif()
  add_library(${name} OBJECT ${P_SOURCES})
  if(P_INCLUDES)
    target_include_directories(${name} PUBLIC ${P_INCLUDES})
  endif()
  target_link_libraries(${name} PUBLIC zorv_headers ${P_LIBS})
  set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  zorv_warnings(${name})
  set_property(GLOBAL APPEND PROPERTY ZORV_CORE_PARTS ${name})
endfunction()
