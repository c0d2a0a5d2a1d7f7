# What makes the Windows tree compile faster, kept in one file so that the targets' own
# CMakeLists stay as they are.
if(NOT WIN32)
  return()
endif()

# Unity builds (CMAKE_UNITY_BUILD, on in the presets) compile a target's sources in batches,
# so the templates they share (COM pointers, strings, JSON, GoogleTest) are instantiated and
# optimised once a batch instead of once a source. Left out: the sources that include <windows.h>
# themselves, whose macros (MessageBox among them) would rename the framework's names in the
# sources after them, and each module source whose texts and helpers share their file-local names
# with another's.
set_source_files_properties(
  ${PROJECT_SOURCE_DIR}/lib/mirt5/src/CommandLine.cpp
  ${PROJECT_SOURCE_DIR}/lib/mirt5/src/HostInput.cpp
  TARGET_DIRECTORY mirt5 PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
set(_module_own_names
  analog/CaptureDevice.cpp analog/TVSignalTest.cpp digital/ClearQamTest.cpp digital/ClearQamTuning.cpp
  digital/DigitalTests.cpp digital/DvbtTest.cpp digital/FilterLoading.cpp digital/GraphToolkit.cpp
  digital/OcurTest.cpp digital/SignalDetection.cpp)
list(TRANSFORM _module_own_names PREPEND ${PROJECT_SOURCE_DIR}/diag/qisrtvcard/)
set_source_files_properties(${_module_own_names} TARGET_DIRECTORY qisrtvcard_module
                            PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

# Precompiled headers where many sources are still compiled apart. The Windows SDK and DirectShow
# headers are most of what the compiler reads for each of them (170,000 lines a source): measured on
# one module source, 6.3 s of CPU without, 2.5 s with. The module keeps ten sources out of its
# batches, and the module tests are five programs; tvsim, the card and tvsim's tests compile as
# two or three batches each, and there building the header cost more than it saved (142 s of CPU
# with, 81 s without).
set(_windows_headers <tunekit/DirectShow.h> <functional> <map> <memory> <optional> <string> <vector>)
target_precompile_headers(qisrtvcard_module PRIVATE ${_windows_headers})

# The module tests share one: they are compiled with the support library's flags and definitions.
target_precompile_headers(qisrtvcard_test_support PRIVATE ${_windows_headers} <gmock/gmock.h> <gtest/gtest.h>)
foreach(target frame_tests digital_tests robustness_tests fault_sweep)
  target_precompile_headers(${target} REUSE_FROM qisrtvcard_test_support)
endforeach()
