# The parts of the module that need neither COM nor Win32: built and tested natively as well,
# and linked into the Windows module.
add_library(qisrtvcard_portable STATIC
  ${CMAKE_CURRENT_LIST_DIR}/frame/Trace.cpp
  ${CMAKE_CURRENT_LIST_DIR}/digital/DVBTChannelPlan.cpp)
target_include_directories(qisrtvcard_portable PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(qisrtvcard_portable PUBLIC qis)
target_compile_options(qisrtvcard_portable PRIVATE ${QIS_WARNINGS})

add_executable(qisrtvcard_portable_tests ${CMAKE_CURRENT_LIST_DIR}/tests/DVBTChannelPlanTest.cpp)
target_link_libraries(qisrtvcard_portable_tests PRIVATE qisrtvcard_portable GTest::gmock_main)
qis_add_gtest(qisrtvcard_portable_tests)
