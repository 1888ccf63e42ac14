# tavik_module(NAME [PATH Backends/Linux] [LINKS target...])
#
# One folder below Sources is one static library. Its headers are included as
# "<folder>/<room>/<Type>.h" and can be seen only by targets that link it: each
# module exports an include directory that holds nothing but itself.
function(tavik_module name)
  cmake_parse_arguments(arg "" "PATH" "LINKS;EXCLUDE" ${ARGN})
  if(NOT arg_PATH)
    set(arg_PATH ${name})
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(arg_EXCLUDE)
    list(FILTER sources EXCLUDE REGEX "${arg_EXCLUDE}")
  endif()

  set(include_root ${CMAKE_BINARY_DIR}/include/${name})
  get_filename_component(parent ${include_root}/${arg_PATH} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${arg_PATH} SYMBOLIC)

  if(sources)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${include_root})
    target_link_libraries(${name} PUBLIC ${arg_LINKS})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${include_root})
    target_link_libraries(${name} INTERFACE ${arg_LINKS})
  endif()
endfunction()

# tavik_test(NAME [REAL_THREADS] [LINKS target...])
#
# One folder below Tests is one GoogleTest program with the label "unit"; every case is
# a CTest test. All of them make up the target unitTests.
#
# Those with real threads also have the label "threads" and belong to threadTests: the
# thread sanitizer has nothing to see in a simulation, where one task runs at a time.
function(tavik_test name)
  cmake_parse_arguments(arg "REAL_THREADS" "" "LINKS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT sources)
    return()
  endif()
  set(labels unit)
  if(arg_REAL_THREADS)
    list(APPEND labels threads)
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} TestSupport GTest::gmock GTest::gtest_main)
  add_dependencies(unitTests ${name})
  if(arg_REAL_THREADS)
    add_dependencies(threadTests ${name})
  endif()
  # Tests that look at the log capture it; the rest keep quiet.
  set(environment "TAVIK_COMPUTER_USE_LOG_LEVEL=fault;TAVIK_COMPUTER_USE_OSLOG_MIRROR_LEVEL=fault")
  if(TAVIK_SANITIZE)
    # Optimising instrumented tests takes longer than they run, and half of a build
    # would be for instrumenting what is not under test.
    target_compile_options(${name} PRIVATE -O0)
    target_compile_definitions(${name} PRIVATE TAVIK_SANITIZED)
    if(TAVIK_SANITIZE MATCHES "address")
      target_compile_options(${name} PRIVATE -fno-sanitize=all)
    endif()
    tavik_sharded_test(${name} "${labels}" "${environment}")
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
      PROPERTIES LABELS "${labels}" TIMEOUT 300 ENVIRONMENT "${environment}")
  endif()
endfunction()

# Under a sanitizer a process takes longer to start than a test to run: a few
# processes run all cases between them.
function(tavik_sharded_test name labels environment)
  set(shards 4)
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    add_test(NAME ${name}.${shard} COMMAND ${name})
    set_tests_properties(${name}.${shard} PROPERTIES LABELS "${labels}" TIMEOUT 600
      ENVIRONMENT "${environment};GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()
