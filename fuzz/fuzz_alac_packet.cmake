zorv_add_fuzzer(fuzz_alac_packet SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_alac_packet.cpp LIBS zorv_core)
