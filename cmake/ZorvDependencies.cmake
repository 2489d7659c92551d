if(WIN32)
  include(${CMAKE_CURRENT_LIST_DIR}/ZorvWindows.cmake)
  return()
endif()
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# FAAD2: Debian ships no pkg-config file for it.
find_path(FAAD2_INCLUDE_DIR neaacdec.h REQUIRED)
find_library(FAAD2_LIBRARY faad REQUIRED)
add_library(zorv_dep_faad2 INTERFACE)
target_include_directories(zorv_dep_faad2 SYSTEM INTERFACE ${FAAD2_INCLUDE_DIR})
target_link_libraries(zorv_dep_faad2 INTERFACE ${FAAD2_LIBRARY})

# FDK AAC (decoder for the xHE-AAC path, encoder for test material).
pkg_check_modules(FDKAAC REQUIRED IMPORTED_TARGET fdk-aac)
add_library(zorv_dep_fdkaac INTERFACE)
target_link_libraries(zorv_dep_fdkaac INTERFACE PkgConfig::FDKAAC)

# FFmpeg's libraries, for the sibling module and zorv-decode --info: optional.
pkg_check_modules(FFMPEG IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
if(FFMPEG_FOUND)
  add_library(zorv_dep_ffmpeg INTERFACE)
  target_link_libraries(zorv_dep_ffmpeg INTERFACE PkgConfig::FFMPEG)
endif()

if(ZORV_SYSTEM_MP4V2)
  pkg_check_modules(MP4V2 REQUIRED IMPORTED_TARGET mp4v2)
endif()
