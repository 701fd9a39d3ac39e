#pragma once
// Output files of the commands. An output never replaces one of the command's inputs, and it
// appears whole or not at all: it is written under a temporary name beside its final one and
// renamed into place once complete.

#include <functional>
#include <string>

#include "image/Picture.h"

namespace qv::cli {

// True when the two names lead to one existing file (through links and relative paths too).
bool SameFile(const std::string& a, const std::string& b);

// Creates an empty file with a unique name in the folder of `target` (".NAME.XXXXXX.EXT") and
// returns its name; "" with `why` set when it cannot.
std::string CreateTemporaryBeside(const std::string& target, std::string& why);

// Renames `temporary` to `target`; on failure removes it and sets `why`.
bool MoveIntoPlace(const std::string& temporary, const std::string& target, std::string& why);

// Has `write` write the file under a temporary name beside `target` (which it is given) and moves
// it into place when that succeeds. False with `why` set when it cannot; nothing is left behind.
bool WriteThroughTemporary(const std::string& target,
                           const std::function<bool(const std::string&, std::string&)>& write,
                           std::string& why);

// Writes the picture as PNG (a name ending in .png, any case) or BMP (any other name), through a
// temporary file. False with `why` set when it cannot; nothing is left behind then.
bool WritePictureFile(const Picture& picture, const std::string& target, std::string& why);

}  // namespace qv::cli
