zorv_add_fuzzer(fuzz_id3_gapless SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_id3_gapless.cpp LIBS zorv_core)
