# The compiler settings of every target, carried by the interface target qelprfarc_flags.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(qelprfarc_flags INTERFACE)
target_include_directories(qelprfarc_flags INTERFACE "${CMAKE_CURRENT_SOURCE_DIR}")
target_compile_options(qelprfarc_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  # Averages are rounded the same way on every machine: no fused multiply-add, no -ffast-math.
  -ffp-contract=off)
target_link_options(qelprfarc_flags INTERFACE -Wl,--as-needed)

if(QELPRFARC_WERROR)
  target_compile_options(qelprfarc_flags INTERFACE -Werror)
endif()

# g++ 12 warns wrongly about std::string's operator+ when it optimises (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(qelprfarc_flags INTERFACE -Wno-restrict)
endif()

# What g++ leaves to an option of its own clang warns of with -Wconversion.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(qelprfarc_flags INTERFACE -Wno-sign-conversion)
endif()

if(QELPRFARC_SANITIZE)
  set(sanitizers -fsanitize=address,undefined)
  # Instrumented code makes this warning guess wrongly; the sanitizers see what it looks for.
  target_compile_options(qelprfarc_flags INTERFACE
    ${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g
    -Wno-maybe-uninitialized)
  target_compile_definitions(qelprfarc_flags INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(qelprfarc_flags INTERFACE ${sanitizers})
elseif(CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(qelprfarc_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()
