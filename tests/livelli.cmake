# What each folder may include, and what must stop the build. Run with
# -DCHECK=<cmake/CheckLayers.cmake> in a folder of its own.
set(source "${CMAKE_CURRENT_BINARY_DIR}/è l'ufficio (1) & co [x]")

function(check expected includer header)
  file(REMOVE_RECURSE "${source}")
  file(WRITE "${source}/src/frame/avvio.cpp" "#include <vector>\n#include \"platform/engine/engine.h\"\n")
  file(APPEND "${source}/${includer}" "  #  include ${header}\n")
  execute_process(COMMAND ${CMAKE_COMMAND} "-DSOURCE=${source}" -P "${CHECK}"
                  RESULT_VARIABLE status ERROR_VARIABLE told)
  if(NOT status EQUAL expected OR (expected AND NOT told MATCHES "${includer}"))
    message(SEND_ERROR "${header} in ${includer}: ${status}\n${told}")
  endif()
endfunction()

foreach(header "<filesystem>" "\"selection/selection.h\"" "\"platform/toolkit/form.h\"" "\"platform/system/files.h\"")
  check(0 src/lifecycle/codici.h ${header})
endforeach()
foreach(header "<sqlite3.h>" "<QString>" "<sys/stat.h>" "HEADER" "\"platform/sqlite/sqlite.h\""
        "\"platform/engine/recordset.h\"" "\"platform/system/fd.h\"" "\"frame/../platform/system/fd.h\"")
  check(1 src/frame/avvio.cpp ${header})
  check(1 src/platform/toolkit/form.h ${header})
endforeach()
check(1 src/platform/toolkit/form.cpp "\"platform/engine/engine.h\"")
check(1 src/platform/engine/engine.cpp "<unistd.h>")
check(1 src/identity/CONTROLLOCF.cpp "\"platform/toolkit/form.h\"")
check(1 src/record/regole.h "\"frame/ANAGPARC.h\"")
check(0 src/record/spostamenti.cpp "\"selection/selection.h\"")
check(1 src/record/campi.cpp "\"selection/selection.h\"")
check(1 src/frame/MOD770BAS.cpp "\"record/record.h\"")
check(1 src/nuova/cosa.cpp "<string>")
check(1 tools/altro/cosa.cpp "<string>")
file(REMOVE_RECURSE "${source}")
