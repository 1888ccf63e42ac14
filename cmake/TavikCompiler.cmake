# Warnings are errors everywhere; sanitizers come from the preset.
add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports overlaps and overruns that cannot be when it optimises strings and
  # vectors.
  add_compile_options($<$<CONFIG:Release>:-Wno-restrict> $<$<CONFIG:Release>:-Wno-stringop-overflow>
    $<$<CONFIG:Release>:-Wno-stringop-overread>)
endif()

set(TAVIK_SANITIZE "" CACHE STRING "Sanitizers to build with, as given to -fsanitize=")
if(TAVIK_SANITIZE)
  add_compile_options(-fsanitize=${TAVIK_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TAVIK_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 reports false positives from its own headers when instrumenting.
    add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow -Wno-array-bounds)
  endif()
  if(TAVIK_SANITIZE MATCHES "thread")
    # Fences are used by the standard library only; the analysis does not model them.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  endif()
endif()

find_program(TAVIK_CCACHE ccache)
if(TAVIK_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${TAVIK_CCACHE})
endif()
find_program(TAVIK_MOLD mold)
if(TAVIK_MOLD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_link_options(-fuse-ld=mold)
endif()
