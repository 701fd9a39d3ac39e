#pragma once
// The script bridge. Videos whose names end in .mpg, .mpeg, .asf, .wmv, .dat, .mov or .vob are
// handed to the reader through a one-line script that names them:
//     DirectShowSource("/full/path/of/the/video")<CR><LF>
// written into the per-user data folder. The reader reads such a script back and opens the video it
// names; any other .avs or .vdr file is refused by the reader.
//
// A script's name is the video's base name, a hash of the video's whole path and the number of
// the process that wrote it (clip-0123456789abcdef-4242.avs): two videos of one base name never
// share a script, and neither do two runs of the program. Scripts are written whole or not at
// all, and a process removes its own when it ends, and those of processes that are gone.

#include <optional>
#include <string>

namespace qv {

// The folder that holds the program's scripts: $XDG_DATA_HOME/Quorvex, or
// ~/.local/share/Quorvex when XDG_DATA_HOME is unset or not an absolute path. Created when
// missing. Raises an AppError when there is no home folder or the folder cannot be made.
std::string UserDataFolder();

// Writes the script for fileName and returns its path, or "" when the name needs no script. A
// script this process wrote for the same video before is replaced. Failures are shown to the
// user ("An error occurred in AviSynth. " followed by the reason) and give "".
std::string MakeScript(const std::string& fileName);

// Removes the scripts this process has written (also done when the process ends normally).
void RemoveScripts();

// True for the names the reader treats as scripts: those ending in .avs or .vdr (any case).
bool IsScriptName(const std::string& fileName);

// The video that a one-line script names; nullopt when the file cannot be read or is not exactly
// one DirectShowSource("...") line (an optional line ending after it is allowed).
std::optional<std::string> ReadScriptTarget(const std::string& scriptPath);

}  // namespace qv
