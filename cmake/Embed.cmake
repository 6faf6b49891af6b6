# Writes OUT, a C++ source that holds each file of DATA_DIR named in NAMES
# (comma separated, without .csv) as a constant of namespace archivio.
# Run as a script: cmake -DOUT=... -DDATA_DIR=... -DNAMES=a,b -P Embed.cmake
string(REPLACE "," ";" names "${NAMES}")
set(source "#include \"archivio/reference_data.h\"\n\nnamespace archivio {\n")
foreach(name IN LISTS names)
  file(READ "${DATA_DIR}/${name}.csv" content)
  string(APPEND source "\nconst std::string_view ${name}_csv = R\"csv(${content})csv\";\n")
endforeach()
string(APPEND source "\n}  // namespace archivio\n")
file(WRITE "${OUT}" "${source}")
