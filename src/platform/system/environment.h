// What this process was started with.
#pragma once

#include <string>
#include <vector>

namespace sys {

// The words after the program's own name, in UTF-8 (where the system's words are bytes,
// those bytes). Takes what main was given.
std::vector<std::string> Arguments(int count, char** words);

// The value of a variable of the environment, in UTF-8 as the words are; empty where there
// is none.
std::string Variable(const char* name);

// Takes a variable out of this process's environment.
void RemoveVariable(const char* name);

}  // namespace sys
