# What a program's file for Windows holds besides its code: icon, version, and the manifest,
# which says how it wants to be run.
enable_language(RC)
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_program(CONVERT convert REQUIRED)  # ImageMagick's

set(icon ${PROJECT_BINARY_DIR}/generated/anagparc.ico)
set(pictures)
foreach(size 16 20 24 32 40 48 64 128 256)
  set(picture ${PROJECT_BINARY_DIR}/generated/anagparc-${size}.png)
  add_custom_command(OUTPUT ${picture}
    COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} ${PROJECT_SOURCE_DIR}/packaging/anagparc.svg -o ${picture}
    DEPENDS ${PROJECT_SOURCE_DIR}/packaging/anagparc.svg VERBATIM)
  list(APPEND pictures ${picture})
endforeach()
add_custom_command(OUTPUT ${icon} COMMAND ${CONVERT} ${pictures} ${icon} DEPENDS ${pictures} VERBATIM)
add_custom_target(icon DEPENDS ${icon})

function(anagparc_resources target description)
  set(here ${PROJECT_SOURCE_DIR}/packaging/windows)
  string(REPLACE "." "," numbers ${PROJECT_VERSION}.0)
  set(source ${PROJECT_BINARY_DIR}/generated/${target}.rc)
  configure_file(${here}/program.rc.in ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${icon};${here}/program.manifest")
  target_sources(${target} PRIVATE ${source})
  add_dependencies(${target} icon)
endfunction()
