#pragma once
// Sub Main of the player: sets up the engine and the display settings, installs the window
// system's seams and the blit surface, shows the main window with the control bar docked under
// it, and runs the windows' events until the program ends.

#include <string>

namespace qv {

// Opens `file` as a dropped file would when it is not empty. Returns the process's exit status;
// 1, with a message on standard error, when no display can be opened.
int RunPlayer(int argc, char** argv, const std::string& file);

}  // namespace qv
