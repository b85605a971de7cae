# Compiler settings shared by every target of the project.
add_library(tarnwell_warnings INTERFACE)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  target_compile_options(tarnwell_warnings INTERFACE -Wall -Wextra -Wpedantic)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 at -O2 misreads Asio's recycling allocator for coroutine frames as a new/delete
  # mismatch, and flags std::variant members of HTTP results as maybe uninitialised; both are
  # known false positives inside the standard library and Asio, not in this code.
  target_compile_options(tarnwell_warnings INTERFACE -Wno-mismatched-new-delete -Wno-maybe-uninitialized)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Asio's coroutine support is switched off for clang unless asked for explicitly.
  add_compile_definitions(ASIO_HAS_CO_AWAIT=1 ASIO_HAS_STD_COROUTINE=1)
endif()

set(TARNWELL_SANITIZE "" CACHE STRING "Sanitizers to build with: address;undefined or thread")
if(TARNWELL_SANITIZE)
  list(JOIN TARNWELL_SANITIZE "," _tarnwell_sanitizers)
  add_compile_options(-fsanitize=${_tarnwell_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_tarnwell_sanitizers})
  if("thread" IN_LIST TARNWELL_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-tsan)
  endif()
  # clang-14's function-type check rejects the calls Asio makes into coroutine frames.
  if("undefined" IN_LIST TARNWELL_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options(-fno-sanitize=function)
  endif()
endif()
# The tests that open an OpenGL window run Mesa's software driver, which keeps allocations past
# exit in code it has unloaded by then, so LeakSanitizer can name no frame of them. Their leak
# check is off; the renderer's own code is leak-checked by its headless tests.
set(TARNWELL_GL_TEST_ENVIRONMENT "")
if("address" IN_LIST TARNWELL_SANITIZE)
  set(TARNWELL_GL_TEST_ENVIRONMENT "LSAN_OPTIONS=detect_leaks=0")
endif()

if(TARNWELL_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "TARNWELL_FUZZ needs clang (libFuzzer); use the fuzz preset")
  endif()
  # Coverage feedback for everything; only the fuzz targets link libFuzzer's own main.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
