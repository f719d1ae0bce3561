# What is built beside the program. Each switch is ON, OFF or AUTO. AUTO builds the part in the top-level project when
# its package is installed and says so in one line when it is not; ON makes a missing package an error.
if(PROJECT_IS_TOP_LEVEL)
  set(OBG_DEFAULT_PART AUTO)
else()
  set(OBG_DEFAULT_PART OFF)
endif()
set(OBG_BUILD_TESTS ${OBG_DEFAULT_PART} CACHE STRING "Build the tests: ON, OFF or AUTO")
set(OBG_BUILD_BENCH ${OBG_DEFAULT_PART} CACHE STRING "Build the benchmarks: ON, OFF or AUTO")
option(OBG_BUILD_FUZZERS "Build the fuzz targets (libFuzzer needs clang)" OFF)

# Looks for the CMake package that a part needs and settles AUTO into ON or OFF for the caller.
macro(obg_settle_part switch what cmake_package debian_package)
  if("${${switch}}" STREQUAL "AUTO")
    find_package(${cmake_package} QUIET)
    set(${switch} ${${cmake_package}_FOUND})
    if(NOT ${switch})
      message(STATUS "${what} are not built: ${debian_package} is missing")
    endif()
  elseif(${switch})
    find_package(${cmake_package} REQUIRED)
  endif()
endmacro()

obg_settle_part(OBG_BUILD_TESTS "Tests" GTest libgmock-dev)
obg_settle_part(OBG_BUILD_BENCH "Benchmarks" benchmark libbenchmark-dev)
if(OBG_BUILD_FUZZERS AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(FATAL_ERROR "The fuzz targets need clang: configure with --preset fuzz")
endif()
