# Shared by the export checks: sets `symbols` to what nm -D --defined-only
# prints for ${LIBRARY}, and `source` to the text of ${SOURCE}.
find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
file(READ ${SOURCE} source)
