# The Windows build, cross-compiled with cmake/mingw-w64-x86_64.cmake (`make windows`): the real
# Win32 API stands where platform/ stands on Linux, FAAD2, FDK AAC and FFmpeg are the static
# libraries that scripts/build-windows-deps.sh builds, and CTest runs the test programs under Wine.
set(ZORV_WINDOWS_DEPS "" CACHE STRING
  "Prefixes of the static MinGW FAAD2, FDK AAC and FFmpeg, as scripts/build-windows-deps.sh prints them")
set(ZORV_TEST_MATERIAL_DIR "" CACHE PATH
  "Test material made by a Linux build's suite (build/testdata); Windows tests cannot run its tools")
set(ZORV_LINUX_BIN_DIR "" CACHE PATH "A Linux build's bin/, whose zorv-decode output the Wine run must match")

# zorv_windows_dep(TARGET LIBRARY...): an interface target over static libraries from those
# prefixes (never the Linux system's), in link order, with their prefixes' headers.
function(zorv_windows_dep target)
  add_library(${target} INTERFACE)
  foreach(library ${ARGN})
    set(found "")
    foreach(prefix ${ZORV_WINDOWS_DEPS})
      if(NOT found AND EXISTS ${prefix}/lib/${library})
        set(found ${prefix})
      endif()
    endforeach()
    if(NOT found)
      message(FATAL_ERROR "${library} is in none of ZORV_WINDOWS_DEPS (scripts/build-windows-deps.sh prints them)")
    endif()
    target_include_directories(${target} SYSTEM INTERFACE ${found}/include)
    target_link_libraries(${target} INTERFACE ${found}/lib/${library})
  endforeach()
endfunction()
zorv_windows_dep(zorv_dep_faad2 libfaad.a)
zorv_windows_dep(zorv_dep_fdkaac libfdk-aac.a)
zorv_windows_dep(zorv_dep_ffmpeg libavformat.a libavcodec.a libswresample.a libavutil.a)
# libavutil's random seed (for encrypted MP4 tracks) comes from the system's BCrypt.
target_link_libraries(zorv_dep_ffmpeg INTERFACE bcrypt)

# <windows.h> without its min/max macros and rarely used parts; 64-bit file offsets for the
# C runtime's fseeko/ftello; M_PI and friends, as glibc has them.
add_compile_definitions(NOMINMAX WIN32_LEAN_AND_MEAN _FILE_OFFSET_BITS=64 _USE_MATH_DEFINES)
# GetProcAddress returns FARPROC, a function type: casting it to the real one is its normal use.
add_compile_options(-Wno-cast-function-type)
# DLLs carry no "lib" prefix: the module imports tarnbase.dll, the host loads zorv_aac.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
