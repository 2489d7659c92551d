zorv_add_fuzzer(fuzz_mp4_reader SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_mp4_reader.cpp LIBS zorv_mp4)
