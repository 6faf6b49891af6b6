# What the logic may include, and what must stop the build. Run with
# -DCHECK=<cmake/CheckLayers.cmake> in a folder of its own.
set(source "${CMAKE_CURRENT_BINARY_DIR}/è l'ufficio (1) & co [x]/src")

function(check header includer expected)
  file(REMOVE_RECURSE "${source}")
  file(WRITE "${source}/frame/avvio.cpp" "#include <vector>\n#include \"platform/engine/engine.h\"\n")
  file(WRITE "${source}/platform/engine/engine.h" "#include <string>\n")
  file(APPEND "${source}/${includer}" "  #  include ${header}\n")
  execute_process(COMMAND ${CMAKE_COMMAND} "-DSOURCE=${source}" -P "${CHECK}"
                  RESULT_VARIABLE status ERROR_VARIABLE told)
  if(NOT status EQUAL expected OR (expected AND NOT told MATCHES "${includer}"))
    message(SEND_ERROR "${header} in ${includer}: ${status}\n${told}")
  endif()
endfunction()

foreach(header "<filesystem>" "\"selection/elenco.h\"" "\"platform/toolkit/form.h\"" "\"platform/system/files.h\"")
  check(${header} lifecycle/codici.h 0)
endforeach()
foreach(header "<sqlite3.h>" "<QString>" "<sys/stat.h>" "HEADER" "\"platform/sqlite/sqlite.h\""
        "\"platform/engine/connection.h\"" "\"platform/system/fd.h\"" "\"frame/../platform/system/fd.h\"")
  check(${header} frame/avvio.cpp 1)
  check(${header} platform/engine/engine.h 1)
endforeach()
file(REMOVE_RECURSE "${source}/..")
