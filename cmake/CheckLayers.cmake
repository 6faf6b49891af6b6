# Which folder may include what. Fails with the lines that break a rule, and with files
# that no rule knows, under src/ and tools/; tests and benchmarks may call the system they
# run on. Run with -DSOURCE=<the project's folder>.
cmake_policy(VERSION 3.25)

# layer(FILES [MAY header...] [SYSTEM header...]): all are patterns that must match as a whole;
# files are named from src/ or tools/. The first layer that fits a file holds. Each may
# include its own files and the standard library besides.
set(layers 0)
function(layer files)
  cmake_parse_arguments(arg "" "" "MAY;SYSTEM" ${ARGN})
  set(n ${layers})
  set(layer_${n} "${files}" PARENT_SCOPE)
  set(may_${n} "${arg_MAY}" PARENT_SCOPE)
  set(system_${n} "${arg_SYSTEM}" PARENT_SCOPE)
  math(EXPR n "${n} + 1")
  set(layers ${n} PARENT_SCOPE)
endfunction()

set(text "platform/text/(error|text|conversion)\\.h")
set(system "platform/system/(files|old_format|paths|process|registry|signals|state)\\.h")
set(engine "platform/engine/engine\\.h")
set(toolkit "platform/toolkit/(application|control|document|form|keys)\\.h")
set(rules "record/(avvisi|regole)\\.h" "reference/righe\\.h" "frame/schema\\.h")
set(shared "frame/(ANAGPARC|MOD770BAS)\\.h" "record/LibrAgg770\\.h")
set(platform ${text} ${system} ${engine} ${toolkit})

# --- platform, from the lowest up
layer("platform/text/.*")
layer("platform/system/posix/.*" MAY ${text} "platform/system/[a-z_]+\\.h"
      SYSTEM "[a-z]+\\.h" "sys/[a-z]+\\.h" "xcb/xcb_ewmh\\.h")
layer("platform/system/windows/.*" MAY ${text} "platform/system/[a-z_]+\\.h" SYSTEM "[a-z0-9]+\\.h")
layer("platform/system/[^/]*" MAY ${text})
layer("platform/sqlite/.*" MAY ${text} ${system} "platform/system/errors\\.h" SYSTEM "sqlite3\\.h")
layer("platform/postgresql/.*" MAY ${text} ${system} "platform/system/(library|network)\\.h"
      SYSTEM "libpq-fe\\.h")
layer("platform/engine/postgresql/.*" MAY ${text} ${system} "platform/engine/(engine|store)\\.h"
      "platform/postgresql/postgresql\\.h")
layer("platform/engine/sqlite/.*" MAY ${text} ${system} "platform/engine/(engine|store)\\.h"
      "platform/sqlite/sqlite\\.h")
layer("platform/engine/archive\\.cpp" MAY ${text} ${system} "platform/system/new_file\\.h" ${engine}
      "platform/engine/(sqlite|postgresql)/store\\.h" "platform/postgresql/postgresql\\.h")
layer("platform/engine/[a-z_.]+" MAY ${text} ${system})
layer("platform/toolkit/.*" MAY ${text})
layer("platform/desktop/.*" MAY ${text} ${toolkit} SYSTEM "Q[A-Za-z]+")

# --- the logic, from the lowest up. frame has two floors: what all share, and, at the top,
# the form's events, start and keys, which tie the other folders together.
layer("identity/.*" MAY ${text})
layer("(record/(avvisi|regole)|reference/(righe|eventi))\\..*" MAY ${text} "identity/identity\\.h")
layer("frame/schema\\..*" MAY ${text} "record/regole\\.h")
layer("record/LibrAgg770\\..*" MAY ${text} ${system} ${toolkit} ${rules})
layer("frame/(ANAGPARC\\.h|MOD770BAS\\..*|registro\\.cpp)" MAY ${platform} ${rules} ${shared})
# The one knot: leaving the record builds the list, and the list opens the record.
layer("record/spostamenti\\.cpp" MAY ${platform} ${rules} ${shared} "record/record\\.h"
      "selection/selection\\.h")
layer("record/.*" MAY ${platform} ${rules} ${shared})
layer("reference/.*" MAY ${platform} ${rules} ${shared} "record/record\\.h")
layer("selection/.*" MAY ${platform} ${rules} ${shared} "record/record\\.h")
layer("lifecycle/.*" MAY ${platform} ${rules} ${shared} "record/record\\.h"
      "selection/selection\\.h" "identity/identity\\.h")
layer("frame/.*" MAY ${platform} ${rules} ${shared}
      "(record/record|reference/reference|selection/selection|lifecycle/lifecycle)\\.h")

# --- programs
layer("anagparc\\.cpp" MAY "frame/ANAGPARC\\.h" "platform/desktop/desktop\\.h" ${text} ${system}
      "platform/system/environment\\.h" "version\\.h" SYSTEM "Q[A-Za-z]+")
layer("script/.*" MAY "frame/(ANAGPARC|MOD770BAS)\\.h" "script\\.h" "qt_actions\\.h" "version\\.h"
      ${text} ${system} "platform/system/(console|environment)\\.h" ${toolkit}
      "platform/desktop/(desktop|keys|look)\\.h" SYSTEM "Q[A-Za-z]+")
layer("archivio/jet/.*" MAY "archivio/(archivio|interruption|new_table)\\.h" "frame/schema\\.h" ${text}
      "platform/system/(child|code_page|environment|paths)\\.h" SYSTEM "(mdbtools|glib)\\.h")
layer("archivio/.*" MAY "archivio/jet/(plan|process|reader|values)\\.h" ${text}
      "platform/system/[a-z_]+\\.h" ${engine} "platform/(sqlite/sqlite|postgresql/postgresql)\\.h" ${rules}
      "identity/identity\\.h" "frame/MOD770BAS\\.h" "version\\.h")

# The folder's name may hold what means something in a pattern or a list.
string(REGEX REPLACE "([[*?])" "[\\1]" pattern "${SOURCE}")
set(bad "")
foreach(root src tools)
  file(GLOB_RECURSE files RELATIVE "${SOURCE}/${root}" "${pattern}/${root}/*.h" "${pattern}/${root}/*.cpp")
  foreach(file IN LISTS files)
    set(n 0)
    while(n LESS layers AND NOT file MATCHES "^(${layer_${n}})$")
      math(EXPR n "${n} + 1")
    endwhile()
    if(n EQUAL layers)
      string(APPEND bad "${root}/${file}: in no layer\n")
      continue()
    endif()
    list(JOIN may_${n} "|" may)
    list(JOIN system_${n} "|" system)
    file(STRINGS "${SOURCE}/${root}/${file}" includes REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS includes)
      # Standard headers have neither capital, point nor slash.
      if(line MATCHES "\\.\\./" OR NOT (line MATCHES "<[a-z_0-9]+>" OR line MATCHES "<(${system})>" OR
         line MATCHES "\"(${layer_${n}}|${may})\""))
        string(APPEND bad "${root}/${file}: ${line}\n")
      endif()
    endforeach()
    # What other systems don't have, in a header that they share.
    if(file MATCHES "^platform/system/[^/]*\\.h$")
      file(STRINGS "${SOURCE}/${root}/${file}" code REGEX "^[^/]*(errno|(^|[^a-z_])([a-z]+id|mode|off|ssize|sigset)_t|struct stat)")
      foreach(line IN LISTS code)
        string(APPEND bad "${root}/${file}: ${line}\n")
      endforeach()
    endif()
  endforeach()
endforeach()

if(bad)
  message(FATAL_ERROR "These may not stand there (cmake/CheckLayers.cmake):\n${bad}")
endif()
