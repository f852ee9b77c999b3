# OSTRELJET_SANITIZE builds every target with AddressSanitizer and UndefinedBehaviorSanitizer; any report
# aborts the program, so a test that provokes one fails.
# OSTRELJET_FUZZ (clang only) adds coverage instrumentation for libFuzzer to the same sanitizers and builds
# the fuzz targets of tests/fuzz.
option(OSTRELJET_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(OSTRELJET_FUZZ "Build the libFuzzer targets with the sanitizers (clang only)" OFF)

if(OSTRELJET_SANITIZE OR OSTRELJET_FUZZ)
  set(_ostreljet_sanitize_flags -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_compile_options(${_ostreljet_sanitize_flags})
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC's flow analysis misreads the instrumented standard library (std::regex, std::function) and
    # warns of uninitialised members that are set; the sanitizers themselves find real ones.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
  endif()
  message(STATUS "Sanitizers: ${_ostreljet_sanitize_flags}")
endif()

if(OSTRELJET_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "OSTRELJET_FUZZ needs clang (libFuzzer): configure with CC=clang CXX=clang++")
  endif()
  # A run that reaches the call cap must stay well inside the fuzzers' time limit per input: the
  # integrator's files carry no coverage, and the dynamic-type check on every member access of the
  # polymorphic model (vptr) is left to the sanitizer build of the test suite.
  add_compile_options(-fsanitize=fuzzer-no-link
                      -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/tests/fuzz/coverage-ignorelist.txt
                      -fno-sanitize=vptr)
  # The fuzz targets name the library, which is defined later; names are resolved when the build is
  # generated.
  add_subdirectory(${PROJECT_SOURCE_DIR}/tests/fuzz ${PROJECT_BINARY_DIR}/tests/fuzz)
endif()
