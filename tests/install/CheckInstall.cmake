# cmake -P script: install, then configure the consumer, build it and run it;
# with CHECK=tool, run the installed command-line tool instead.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Command failed (${result}): ${ARGV}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
foreach(f include/videodevice/videodevice.h include/lumo/Log.h lib/pkgconfig/videodevice.pc)
  if(NOT EXISTS "${prefix}/${f}")
    message(FATAL_ERROR "missing from the installed tree: ${f}")
  endif()
endforeach()

if(CHECK STREQUAL "tool")
  # Nothing from the build tree or the environment may help it find its library.
  execute_process(COMMAND env -i "${prefix}/bin/videodevice" --help
    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0 OR NOT out MATCHES "models")
    message(FATAL_ERROR "the installed tool does not run (${result}):\n${out}\n${err}")
  endif()
  return()
endif()

set(flags "")
if(SANITIZE)
  set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}" "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE}")
endif()
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" ${flags})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
