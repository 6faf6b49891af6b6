#!/usr/bin/env bash
# Compiler launcher: runs the command with the source folder's name, the first argument,
# replaced by the second, the way to it from the build folder. For folders whose names
# ninja can't read back from the compiler's list of headers: there all would be compiled
# anew each time.
source=$1 way=$2
shift 2
exec "${@//"$source"/"$way"}"
