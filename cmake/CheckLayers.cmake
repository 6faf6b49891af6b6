# The logic stands on the standard library and on platform/'s headers alone,
# and those that it sees bring in nothing else either. Fails with the offending
# lines. Run with -DSOURCE=<the folder src>.
set(logic frame selection record reference identity lifecycle)
set(seen platform/text platform/toolkit platform/engine/engine.h platform/system)
set(bad "")

foreach(folder IN LISTS logic seen)
  if(folder MATCHES "\\.h$")
    set(files ${SOURCE}/${folder})
  elseif(folder MATCHES "^platform/system")
    file(GLOB files ${SOURCE}/${folder}/paths.h ${SOURCE}/${folder}/files.h
         ${SOURCE}/${folder}/registry.h ${SOURCE}/${folder}/process.h)
  elseif(folder MATCHES "^platform/")
    file(GLOB files ${SOURCE}/${folder}/*.h)
  else()
    file(GLOB_RECURSE files ${SOURCE}/${folder}/*.h ${SOURCE}/${folder}/*.cpp)
  endif()
  foreach(file IN LISTS files)
    file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS includes)
      # Standard headers have neither capital, point nor slash.
      if(line MATCHES "<[a-z_0-9]+>")
        continue()
      endif()
      if(line MATCHES "\"(platform/(text|toolkit|engine|system)|frame|selection|record|reference|identity|lifecycle)/[A-Za-z0-9_]+\\.h\"")
        continue()
      endif()
      string(APPEND bad "${file}: ${line}\n")
    endforeach()
  endforeach()
endforeach()

if(bad)
  message(FATAL_ERROR "The logic must not see the engine's, the screen's or the system's own headers:\n${bad}")
endif()
