# libFuzzer targets for the native clang build (QIS_FUZZ): the code under test is compiled into
# the fuzzer with coverage and sanitizers, and CTest gives each a bounded run so that every test
# run exercises it; longer runs are made by hand.
#   qis_add_fuzzer(NAME SOURCES... LIBRARIES... [INCLUDES...])
function(qis_add_fuzzer name)
  cmake_parse_arguments(F "" "" "SOURCES;LIBRARIES;INCLUDES" ${ARGN})
  add_executable(${name} ${F_SOURCES})
  target_include_directories(${name} PRIVATE ${F_INCLUDES})
  target_link_libraries(${name} PRIVATE ${F_LIBRARIES})
  target_compile_options(${name} PRIVATE ${QIS_WARNINGS} -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  set(artifacts ${CMAKE_CURRENT_BINARY_DIR}/fuzz-artifacts)
  file(MAKE_DIRECTORY ${artifacts})
  add_test(NAME ${name} COMMAND ${name} -runs=100000 -max_len=4096 -seed=1 -artifact_prefix=${artifacts}/
           WORKING_DIRECTORY ${artifacts})
endfunction()
