zorv_add_fuzzer(fuzz_iso_reader SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/fuzz_iso_reader.cpp LIBS zorv_core)
