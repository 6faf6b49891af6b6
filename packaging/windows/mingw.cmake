# Debian's mingw for 64-bit Windows: GCC with POSIX threads, which the standard library's
# own threads stand on.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${MINGW}-windres)

# Programs are the build machine's; libraries and headers never are. ANAGPARC_LIBRARIES are
# folders with those built for Windows.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ANAGPARC_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH /usr/${MINGW} ${ANAGPARC_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
