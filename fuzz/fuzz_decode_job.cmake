zorv_add_fuzzer(fuzz_decode_job SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_decode_job.cpp LIBS zorv_core)
