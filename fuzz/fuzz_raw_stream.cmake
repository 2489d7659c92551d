zorv_add_fuzzer(fuzz_raw_stream SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_raw_stream.cpp LIBS zorv_core)
