#include "cli/OutputFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/Error.h"
#include "cli/PictureFiles.h"

namespace qv::cli {

namespace fs = std::filesystem;

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  return fs::equivalent(a, b, error);
}

std::string CreateTemporaryBeside(const std::string& target, std::string& why) {
  const fs::path path(target);
  const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
  // The name keeps the target's extension, which picks the file format of a video.
  const std::string extension = path.extension().string();
  std::string pattern =
      (folder / ("." + path.filename().string() + ".XXXXXX" + extension)).string();
  const int fd = ::mkstemps(pattern.data(), static_cast<int>(extension.size()));
  if (fd < 0) {
    why = std::strerror(errno);
    return "";
  }
  // mkstemp makes the file private; an output gets the permissions any new file of the user gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  const bool shared = ::fchmod(fd, 0666 & ~mask) == 0;
  ::close(fd);
  if (!shared) {
    why = std::strerror(errno);
    std::remove(pattern.c_str());
    return "";
  }
  return pattern;
}

bool MoveIntoPlace(const std::string& temporary, const std::string& target, std::string& why) {
  if (std::rename(temporary.c_str(), target.c_str()) == 0) return true;
  why = std::strerror(errno);
  std::remove(temporary.c_str());
  return false;
}

bool WriteThroughTemporary(const std::string& target,
                           const std::function<bool(const std::string&, std::string&)>& write,
                           std::string& why) {
  const std::string temporary = CreateTemporaryBeside(target, why);
  if (temporary.empty()) return false;
  if (!write(temporary, why)) {
    std::remove(temporary.c_str());
    return false;
  }
  return MoveIntoPlace(temporary, target, why);
}

bool WritePictureFile(const Picture& picture, const std::string& target, std::string& why) {
  const std::string tail = target.size() >= 4 ? target.substr(target.size() - 4) : "";
  const bool png = tail.size() == 4 && tail[0] == '.' && (tail[1] | 0x20) == 'p' &&
                   (tail[2] | 0x20) == 'n' && (tail[3] | 0x20) == 'g';
  return WriteThroughTemporary(
      target,
      [&](const std::string& temporary, std::string& failure) {
        if (png) return SavePng(picture, temporary, failure);
        try {
          if (picture.SavePicture(temporary)) return true;
          failure = "the file could not be written";
        } catch (const std::exception& e) {
          failure = DescribeError(e);
        }
        return false;
      },
      why);
}

}  // namespace qv::cli
