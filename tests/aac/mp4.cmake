# AAC in MP4: the gapless values read from a file, and the whole job driven by the test host.
# The material is made at test time by ffmpeg and by the programs in tests/tools.
set(mp4aac_test_libs zorv_core zorv_dep_faad2)
foreach(lib zorv_test_host zorv_testhost zorv_win32 tarnbase)
  if(TARGET ${lib})
    list(APPEND mp4aac_test_libs ${lib})
  endif()
endforeach()

zorv_add_test(mp4_gapless_test
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/Mp4GaplessTest.cpp ${CMAKE_CURRENT_LIST_DIR}/Mp4Material.cpp
  LIBS ${mp4aac_test_libs})
zorv_add_test(mp4_aac_job_test
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/Mp4AacJobTest.cpp ${CMAKE_CURRENT_LIST_DIR}/Mp4Material.cpp
  LIBS ${mp4aac_test_libs})
add_dependencies(mp4_gapless_test zorv_test_aacenc zorv_test_mp4patch)
add_dependencies(mp4_aac_job_test zorv_test_aacenc zorv_test_mp4patch)
