// A user's actions on real widgets, by real events, on a platform of Qt's that needs no display.
#pragma once

#include <memory>

#include "script.h"

namespace script {

// Makes the application and the window; they live as long as the result.
// The result is also the toolkit's screen.
std::unique_ptr<Actions> MakeQtActions(Answers& answers);

}  // namespace script
