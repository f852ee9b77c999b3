# Dependencies of the emscripten build. nlohmann-json is header-only: its Debian headers are copied
# into the build tree, so that /usr/include (the host's C library) never reaches emscripten's compiler.
find_path(OSTRELJET_NLOHMANN_JSON_INCLUDE nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH
          NO_DEFAULT_PATH REQUIRED)
set(_ostreljet_web_include ${PROJECT_BINARY_DIR}/web-deps/include)
file(COPY ${OSTRELJET_NLOHMANN_JSON_INCLUDE}/nlohmann DESTINATION ${_ostreljet_web_include})
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE ${_ostreljet_web_include})

# Every object catches C++ exceptions with WebAssembly's own exception handling: the scenario reader
# and the levels throw, and the page turns each exception into an error message.
add_compile_options(-fwasm-exceptions)
add_link_options(-fwasm-exceptions)

# libc++ of Debian's emscripten lacks a few C++20 and C++17 pieces that the core uses; a header supplies
# them to every source of this build (and adds nothing to a newer libc++).
add_compile_options("SHELL:-include ${PROJECT_SOURCE_DIR}/web/compat/LibcxxCompat.hpp")
