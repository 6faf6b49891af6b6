# The logic stands on the standard library and on the headers below alone, and
# these include nothing else either. Fails with the offending lines. Run with
# -DSOURCE=<the folder src>.
cmake_policy(VERSION 3.25)
set(logic frame selection record reference identity lifecycle)
set(allowed
    platform/engine/engine.h
    platform/system/files.h
    platform/system/old_format.h
    platform/system/paths.h
    platform/system/process.h
    platform/system/registry.h
    platform/text/conversion.h
    platform/text/text.h
    platform/toolkit/application.h
    platform/toolkit/control.h
    platform/toolkit/form.h
    platform/toolkit/keys.h)

# The folder's name may hold what means something in a pattern or a list.
string(REGEX REPLACE "([[*?])" "[\\1]" pattern "${SOURCE}")
set(files "")
foreach(folder IN LISTS logic)
  file(GLOB_RECURSE found RELATIVE "${SOURCE}" "${pattern}/${folder}/*.h" "${pattern}/${folder}/*.cpp")
  list(APPEND files ${found})
endforeach()
foreach(header IN LISTS allowed)
  if(EXISTS "${SOURCE}/${header}")
    list(APPEND files ${header})
  endif()
endforeach()

list(JOIN logic "|" folders)
set(bad "")
foreach(file IN LISTS files)
  file(STRINGS "${SOURCE}/${file}" includes REGEX "^[ \t]*#[ \t]*include")
  foreach(line IN LISTS includes)
    # Standard headers have neither capital, point nor slash.
    if(line MATCHES "<[a-z_0-9]+>" OR line MATCHES "\"(${folders})/[A-Za-z0-9_]+\\.h\"")
      continue()
    endif()
    if(line MATCHES "\"([^\"]+)\"" AND CMAKE_MATCH_1 IN_LIST allowed)
      continue()
    endif()
    string(APPEND bad "${file}: ${line}\n")
  endforeach()
endforeach()

if(bad)
  message(FATAL_ERROR "The logic must not see the engine's, the screen's or the system's own headers:\n${bad}")
endif()
