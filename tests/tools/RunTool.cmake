# Runs the videodevice tool once and checks what it did. Arguments (-D):
#   TOOL         the tool
#   ARGS         its arguments, separated by "|"
#   EXPECT       "success" (exit status 0) or "failure" (exit status 1, the tool's
#                own report of a failure, not a crash)
#   MESSAGE      regular expression the tool's output (stdout and stderr) must match
#   OUTPUT       file the tool is told to write: removed first; must exist after a
#                success and must not exist (nor OUTPUT.json) after a failure
#   PNG_SIZE     WIDTHxHEIGHT the OUTPUT picture must have
#   RAW_UNIT     hex bytes that OUTPUT must consist of, repeated RAW_COUNT times
#   JSON_REGEX   regular expressions, separated by "|", that OUTPUT.json must match
#   REFERENCE    command, separated by "|", writing REFERENCE_OUTPUT, which must
#                then be byte for byte equal to OUTPUT
#   PICTURES     "path:WIDTHxHEIGHT" entries, separated by "|", of pictures that
#                must exist after the run (WIDTH may be * for any)
cmake_minimum_required(VERSION 3.20)

function(fail text)
  message(FATAL_ERROR "${text}\n--- tool output ---\n${output}")
endfunction()

# Reads the size from a PNG header; fails when the file is not a PNG.
function(png_size file out)
  file(READ "${file}" signature LIMIT 8 HEX)
  if(NOT signature STREQUAL "89504e470d0a1a0a")
    fail("${file} is not a PNG file")
  endif()
  file(READ "${file}" header OFFSET 16 LIMIT 8 HEX)
  string(SUBSTRING "${header}" 0 8 width)
  string(SUBSTRING "${header}" 8 8 height)
  math(EXPR width "0x${width}")
  math(EXPR height "0x${height}")
  set(${out} "${width}x${height}" PARENT_SCOPE)
endfunction()

string(REPLACE "|" ";" arguments "${ARGS}")
if(OUTPUT)
  file(REMOVE "${OUTPUT}" "${OUTPUT}.json")
endif()

execute_process(COMMAND "${TOOL}" ${arguments}
  RESULT_VARIABLE result OUTPUT_VARIABLE stdout ERROR_VARIABLE stderr TIMEOUT 120)
set(output "exit: ${result}\n${stdout}${stderr}")

if(EXPECT STREQUAL "success" AND NOT result EQUAL 0)
  fail("the tool failed")
elseif(EXPECT STREQUAL "failure")
  if(NOT result EQUAL 1)
    fail("the tool should have reported a failure with exit status 1")
  endif()
  if(OUTPUT AND (EXISTS "${OUTPUT}" OR EXISTS "${OUTPUT}.json"))
    fail("a failed run left ${OUTPUT} behind")
  endif()
endif()

if("${stdout}${stderr}" MATCHES "Sanitizer|runtime error:")
  fail("a sanitizer reported an error")
endif()

if(DEFINED MESSAGE AND NOT "${stdout}${stderr}" MATCHES "${MESSAGE}")
  fail("the output does not match: ${MESSAGE}")
endif()

if(EXPECT STREQUAL "success" AND OUTPUT AND NOT EXISTS "${OUTPUT}")
  fail("${OUTPUT} was not written")
endif()

if(PNG_SIZE)
  png_size("${OUTPUT}" size)
  if(NOT size STREQUAL PNG_SIZE)
    fail("${OUTPUT} is ${size}, expected ${PNG_SIZE}")
  endif()
endif()

if(RAW_UNIT)
  file(READ "${OUTPUT}" bytes HEX)
  string(REPEAT "${RAW_UNIT}" ${RAW_COUNT} expected)
  if(NOT bytes STREQUAL expected)
    string(SUBSTRING "${bytes}" 0 32 start)
    fail("${OUTPUT} is not ${RAW_COUNT} times ${RAW_UNIT}; it starts with ${start}")
  endif()
endif()

if(JSON_REGEX)
  file(READ "${OUTPUT}.json" json)
  string(REPLACE "|" ";" patterns "${JSON_REGEX}")
  foreach(pattern IN LISTS patterns)
    if(NOT json MATCHES "${pattern}")
      fail("${OUTPUT}.json does not match ${pattern}:\n${json}")
    endif()
  endforeach()
endif()

if(REFERENCE)
  string(REPLACE "|" ";" reference "${REFERENCE}")
  file(REMOVE "${REFERENCE_OUTPUT}")
  execute_process(COMMAND ${reference} RESULT_VARIABLE referenceResult
    OUTPUT_VARIABLE referenceOutput ERROR_VARIABLE referenceOutput)
  if(NOT referenceResult EQUAL 0)
    fail("the reference conversion failed: ${referenceOutput}")
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${OUTPUT}" "${REFERENCE_OUTPUT}"
    RESULT_VARIABLE different)
  if(different)
    file(SIZE "${OUTPUT}" toolSize)
    file(SIZE "${REFERENCE_OUTPUT}" referenceSize)
    fail("${OUTPUT} (${toolSize} bytes) differs from the library's own conversion "
         "${REFERENCE_OUTPUT} (${referenceSize} bytes)")
  endif()
endif()

if(PICTURES)
  string(REPLACE "|" ";" pictures "${PICTURES}")
  foreach(entry IN LISTS pictures)
    string(REGEX MATCH "^(.*):([0-9*]+)x([0-9]+)$" matched "${entry}")
    set(path "${CMAKE_MATCH_1}")
    set(expectedWidth "${CMAKE_MATCH_2}")
    set(expectedHeight "${CMAKE_MATCH_3}")
    if(NOT EXISTS "${path}")
      fail("${path} was not written")
    endif()
    png_size("${path}" size)
    string(REGEX MATCH "^([0-9]+)x([0-9]+)$" matched "${size}")
    if(NOT CMAKE_MATCH_2 EQUAL expectedHeight OR
       (NOT expectedWidth STREQUAL "*" AND NOT CMAKE_MATCH_1 EQUAL expectedWidth))
      fail("${path} is ${size}, expected ${expectedWidth}x${expectedHeight}")
    endif()
  endforeach()
endif()
