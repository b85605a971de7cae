# Every dependency is a Debian package installed by scripts/install-deps.
find_package(Threads REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CURL REQUIRED)
find_package(simdjson REQUIRED)
find_package(PkgConfig REQUIRED)

# Asio is header-only and ships no CMake package on Debian.
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(tarnwell_asio INTERFACE)
target_include_directories(tarnwell_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
# Asio picks aligned_alloc or operator new for its recycled memory (coroutine frames among it)
# by whether the standard library's configuration header came before its own in that file: two
# files that include in different orders would free with the wrong call. One choice everywhere.
target_compile_definitions(tarnwell_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED ASIO_DISABLE_STD_ALIGNED_ALLOC)
target_link_libraries(tarnwell_asio INTERFACE Threads::Threads)

if(TARNWELL_BUILD_TESTS OR TARNWELL_BUILD_BENCH OR TARNWELL_BUILD_TOOLS)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
endif()
if(TARNWELL_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(TARNWELL_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
