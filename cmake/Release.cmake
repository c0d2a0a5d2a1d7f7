# What the shipped programs need beyond compiling: debug information kept apart, DLLs loaded late.

option(QIS_SPLIT_DEBUG_INFO "Strip the shipped programs, keeping their debug information in NAME.debug beside them" OFF)

# qis_split_debug_info(target): with QIS_SPLIT_DEBUG_INFO the target is stripped after linking and
# its DWARF goes to <file>.debug, which gdb and winedbg find through the debug link. Visual Studio
# writes its PDB beside the program anyway.
function(qis_split_debug_info target)
  if(NOT QIS_SPLIT_DEBUG_INFO OR MSVC)
    return()
  endif()
  if(NOT CMAKE_OBJCOPY)
    message(FATAL_ERROR "QIS_SPLIT_DEBUG_INFO needs objcopy (CMAKE_OBJCOPY)")
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
    # The link records the file name only: the debugger looks beside the program.
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    VERBATIM)
endfunction()

# qis_delay_load(target dll...): the target imports these system DLLs on first call instead of at
# process start. With mingw-w64 each regular import library is turned into a delay-import library
# of the same name (dlltool --output-delaylib) in a folder searched before the system's, so that
# the DLL is delayed however the link line reaches it; the helper is in libmingwex.
function(qis_delay_load target)
  if(MSVC)
    foreach(dll IN LISTS ARGN)
      target_link_options(${target} PRIVATE /DELAYLOAD:${dll}.dll)
    endforeach()
    target_link_libraries(${target} PRIVATE delayimp)
    return()
  endif()
  if(NOT WIN32)
    return()
  endif()
  find_program(QIS_DLLTOOL NAMES ${CMAKE_DLLTOOL} x86_64-w64-mingw32-dlltool dlltool REQUIRED)
  set(dir ${CMAKE_BINARY_DIR}/delayload/${target})
  file(MAKE_DIRECTORY ${dir})
  foreach(dll IN LISTS ARGN)
    find_library(QIS_IMPORT_LIBRARY_${dll} NAMES ${dll} REQUIRED)
    set(library ${dir}/lib${dll}.a)
    if(NOT EXISTS ${library} OR ${QIS_IMPORT_LIBRARY_${dll}} IS_NEWER_THAN ${library})
      # The thunks ("T") of an import library are its functions; data imports cannot be delayed.
      execute_process(COMMAND ${CMAKE_NM} -g --defined-only ${QIS_IMPORT_LIBRARY_${dll}}
                      OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
      string(REGEX MATCHALL "[0-9a-f]+ T [^\n]+" thunks "${symbols}")
      list(TRANSFORM thunks REPLACE "^[0-9a-f]+ T " "  ")
      list(REMOVE_DUPLICATES thunks)
      list(JOIN thunks "\n" exports)
      file(WRITE ${dir}/${dll}.def "LIBRARY ${dll}.dll\nEXPORTS\n${exports}\n")
      execute_process(COMMAND ${QIS_DLLTOOL} --input-def ${dir}/${dll}.def --dllname ${dll}.dll --output-delaylib ${library}
                      COMMAND_ERROR_IS_FATAL ANY)
    endif()
  endforeach()
  target_link_directories(${target} BEFORE PRIVATE ${dir})
endfunction()
