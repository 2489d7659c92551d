zorv_add_fuzzer(fuzz_gapless_trimmer SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_gapless_trimmer.cpp LIBS zorv_core)
