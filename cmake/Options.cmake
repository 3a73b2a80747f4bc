# What can be switched, and the warning and sanitizer flags that follow from it.

option(ORVY_TESTS "Build the unit and end-to-end tests" ON)
option(ORVY_BENCHMARKS "Build the benchmarks" OFF)
option(ORVY_FUZZ "Build the fuzz targets (needs clang)" OFF)
set(ORVY_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize takes them")
option(ORVY_COVERAGE "Instrument for gcov" OFF)

# Paths in messages are relative to the tree.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
add_compile_options(-Wall -Wextra -Werror -Wno-missing-field-initializers)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
# GCC 12 at -O3 takes concatenation of strings for overlapping copies.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

if(ORVY_SANITIZE)
  add_compile_options(-fsanitize=${ORVY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVY_SANITIZE})
endif()
if(ORVY_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
