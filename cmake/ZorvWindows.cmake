# The Windows build, cross-compiled with cmake/mingw-w64-x86_64.cmake (`make windows`): the real
# Win32 API stands where platform/ stands on Linux, FAAD2 and FDK AAC are the static libraries
# that scripts/build-windows-deps.sh builds, and CTest runs the test programs under Wine.
set(ZORV_WINDOWS_DEPS "" CACHE PATH "Prefix of the static MinGW FAAD2 and FDK AAC (scripts/build-windows-deps.sh)")
set(ZORV_TEST_MATERIAL_DIR "" CACHE PATH
  "Test material made by a Linux build's suite (build/testdata); Windows tests cannot run its tools")
set(ZORV_LINUX_BIN_DIR "" CACHE PATH "A Linux build's bin/, whose zorv-decode output the Wine run must match")

if(NOT EXISTS "${ZORV_WINDOWS_DEPS}/lib/libfaad.a" OR NOT EXISTS "${ZORV_WINDOWS_DEPS}/lib/libfdk-aac.a")
  message(FATAL_ERROR "ZORV_WINDOWS_DEPS must name the prefix that scripts/build-windows-deps.sh prints")
endif()
add_library(zorv_dep_faad2 INTERFACE)
target_include_directories(zorv_dep_faad2 SYSTEM INTERFACE ${ZORV_WINDOWS_DEPS}/include)
target_link_libraries(zorv_dep_faad2 INTERFACE ${ZORV_WINDOWS_DEPS}/lib/libfaad.a)
add_library(zorv_dep_fdkaac INTERFACE)
target_include_directories(zorv_dep_fdkaac SYSTEM INTERFACE ${ZORV_WINDOWS_DEPS}/include)
target_link_libraries(zorv_dep_fdkaac INTERFACE ${ZORV_WINDOWS_DEPS}/lib/libfdk-aac.a)

# <windows.h> without its min/max macros and rarely used parts; 64-bit file offsets for the
# C runtime's fseeko/ftello; M_PI and friends, as glibc has them.
add_compile_definitions(NOMINMAX WIN32_LEAN_AND_MEAN _FILE_OFFSET_BITS=64 _USE_MATH_DEFINES)
# GetProcAddress returns FARPROC, a function type: casting it to the real one is its normal use.
add_compile_options(-Wno-cast-function-type)
# DLLs carry no "lib" prefix: the module imports tarnbase.dll, the host loads zorv_aac.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
