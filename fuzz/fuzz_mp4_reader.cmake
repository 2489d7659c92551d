# Needs our reader's memory-image entry point, absent with a system libmp4v2.
if(NOT ZORV_SYSTEM_MP4V2)
  zorv_add_fuzzer(fuzz_mp4_reader SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_mp4_reader.cpp LIBS zorv_core)
endif()
