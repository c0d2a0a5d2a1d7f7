# What a diagnostics host deploys: `cmake --install` and the zip CPack makes from it.
#   bin/qisrtvcard.exe, bin/locale/*.json, bin/qisvcard.dll, README.md, docs/
# The debug information (NAME.debug or PDB) is the "symbols" component, installed only on request
# (cmake --install DIR --component symbols) and kept out of the zip.
if(NOT WIN32)
  return()
endif()

install(TARGETS qisrtvcard RUNTIME DESTINATION bin COMPONENT program)
install(TARGETS qisvcard RUNTIME DESTINATION bin COMPONENT program
        ARCHIVE DESTINATION lib COMPONENT development EXCLUDE_FROM_ALL)
install(DIRECTORY diag/qisrtvcard/resources/locale/ DESTINATION bin/locale COMPONENT program)
install(FILES README.md DESTINATION . COMPONENT program)
install(DIRECTORY docs/ DESTINATION docs COMPONENT program)

foreach(target qisrtvcard qisvcard)
  if(MSVC)
    install(FILES $<TARGET_PDB_FILE:${target}> DESTINATION bin COMPONENT symbols EXCLUDE_FROM_ALL OPTIONAL)
  elseif(QIS_SPLIT_DEBUG_INFO)
    install(FILES $<TARGET_FILE:${target}>.debug DESTINATION bin COMPONENT symbols EXCLUDE_FROM_ALL)
  endif()
endforeach()

set(CPACK_PACKAGE_NAME qisrtvcard)
set(CPACK_PACKAGE_VENDOR qisrtvcard)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "TV-tuner and video-capture card diagnostics")
set(CPACK_PACKAGE_FILE_NAME qisrtvcard-${PROJECT_VERSION}-win64)
set(CPACK_GENERATOR ZIP)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/package)
include(CPack)
