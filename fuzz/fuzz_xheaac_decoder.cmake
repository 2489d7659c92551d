zorv_add_fuzzer(fuzz_xheaac_decoder SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_xheaac_decoder.cpp LIBS zorv_core zorv_dep_fdkaac)
