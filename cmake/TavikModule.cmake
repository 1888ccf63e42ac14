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

# tavik_test(NAME [LINKS target...] [LABELS label...])
#
# One folder below Tests is one GoogleTest program; every case is a CTest test. The
# programs with the label "unit", which is the default, make up the target unitTests.
function(tavik_test name)
  cmake_parse_arguments(arg "" "" "LINKS;LABELS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT sources)
    return()
  endif()
  if(NOT arg_LABELS)
    set(arg_LABELS unit)
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} TestSupport GTest::gmock GTest::gtest_main)
  if(TAVIK_SANITIZE)
    # Optimising instrumented tests takes longer than they run.
    target_compile_options(${name} PRIVATE -O0)
  endif()
  if("unit" IN_LIST arg_LABELS)
    add_dependencies(unitTests ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 120
      # Tests that look at the log capture it; the rest keep quiet.
      ENVIRONMENT "TAVIK_COMPUTER_USE_LOG_LEVEL=fault;TAVIK_COMPUTER_USE_OSLOG_MIRROR_LEVEL=fault")
endfunction()
