# Compiler options as INTERFACE targets, applied per target rather than through
# global flags: the string-table generator and the fuzz drivers need their own.
#
#   velk_warnings  -Wall -Wextra (and -Werror with VELK_WERROR)
#   velk_flags     the sanitizer of this build tree (VELK_SANITIZE), and the
#                  fuzzer instrumentation of the core with VELK_BUILD_FUZZ

set(VELK_SANITIZE "" CACHE STRING "Sanitizer for this build tree: empty, address (with UBSan) or thread")
set_property(CACHE VELK_SANITIZE PROPERTY STRINGS "" address thread)
option(VELK_WERROR "Treat warnings as errors" OFF)

add_library(velk_warnings INTERFACE)
target_compile_options(velk_warnings INTERFACE -Wall -Wextra $<$<BOOL:${VELK_WERROR}>:-Werror>)

add_library(velk_flags INTERFACE)
if(VELK_SANITIZE STREQUAL "address")
  target_compile_options(velk_flags INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(velk_flags INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(velk_flags INTERFACE VELK_SANITIZED=1)
elseif(VELK_SANITIZE STREQUAL "thread")
  target_compile_options(velk_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(velk_flags INTERFACE -fsanitize=thread)
  target_compile_definitions(velk_flags INTERFACE VELK_SANITIZED=1 VELK_TSAN=1)
elseif(NOT VELK_SANITIZE STREQUAL "")
  message(FATAL_ERROR "VELK_SANITIZE must be empty, address or thread, not '${VELK_SANITIZE}'")
endif()

if(VELK_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VELK_BUILD_FUZZ needs clang (libFuzzer): configure with CXX=clang++")
  endif()
  target_compile_options(velk_flags INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  target_link_options(velk_flags INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(velk_flags INTERFACE VELK_SANITIZED=1 VELK_FUZZING=1)
endif()
