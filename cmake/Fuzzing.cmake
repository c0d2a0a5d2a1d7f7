# libFuzzer targets for the native clang build (QIS_FUZZ): the code under test is compiled into
# the fuzzer with coverage and sanitizers, and CTest gives each a bounded run so that every test
# run exercises it; longer runs are made by hand.
#   qis_add_fuzzer(NAME SOURCES... LIBRARIES... [INCLUDES...] [DICTIONARY file] [SEEDS dir] [RUNS n])
# A dictionary and seeds let the bounded run reach readers that random bytes seldom do; the seeds
# are copied, since libFuzzer adds what it finds to its corpus directory.
function(qis_add_fuzzer name)
  cmake_parse_arguments(F "" "DICTIONARY;SEEDS;RUNS" "SOURCES;LIBRARIES;INCLUDES" ${ARGN})
  if(NOT F_RUNS)
    set(F_RUNS 100000)
  endif()
  add_executable(${name} ${F_SOURCES})
  target_include_directories(${name} PRIVATE ${F_INCLUDES})
  target_link_libraries(${name} PRIVATE ${F_LIBRARIES})
  target_compile_options(${name} PRIVATE ${QIS_WARNINGS} -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  set(artifacts ${CMAKE_CURRENT_BINARY_DIR}/fuzz-artifacts)
  file(MAKE_DIRECTORY ${artifacts})
  set(extra)
  if(F_DICTIONARY)
    list(APPEND extra -dict=${F_DICTIONARY})
  endif()
  if(F_SEEDS)
    set(corpus ${CMAKE_CURRENT_BINARY_DIR}/${name}-corpus)
    file(COPY ${F_SEEDS}/ DESTINATION ${corpus})
    list(APPEND extra ${corpus})
  endif()
  add_test(NAME ${name} COMMAND ${name} -runs=${F_RUNS} -max_len=4096 -seed=1 -artifact_prefix=${artifacts}/ ${extra}
           WORKING_DIRECTORY ${artifacts})
endfunction()
