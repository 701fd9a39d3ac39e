#include "video/ScriptBridge.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <system_error>

#include "base/Error.h"
#include "base/FileGuard.h"
#include "base/Seams.h"

namespace qv {

namespace fs = std::filesystem;

namespace {

constexpr const char* kScriptExtensions = "*.mpg;*.mpeg;*.asf;*.wmv;*.dat;*.mov;*.vob";
constexpr const char* kScriptCall = "DirectShowSource";
// A script of the one-line form is a few hundred bytes; anything much larger is not one.
constexpr std::uintmax_t kMaxScriptBytes = 64 * 1024;

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool EndsWithNoCase(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && Lower(text.substr(text.size() - tail.size())) == tail;
}

// Longest stem kept in a script's name, in bytes, so that the name stays well inside NAME_MAX.
constexpr size_t kMaxStemBytes = 120;

// Cuts a long stem at a character boundary of UTF-8 text.
std::string ShortStem(std::string stem) {
  if (stem.size() <= kMaxStemBytes) return stem;
  size_t end = kMaxStemBytes;
  while (end > 0 && (static_cast<unsigned char>(stem[end]) & 0xC0) == 0x80) --end;
  stem.resize(end);
  return stem;
}

// 64-bit FNV-1a: the same path gives the same name in every run and on every build.
uint64_t PathHash(const std::string& text) {
  uint64_t hash = 0xcbf29ce484222325ull;
  for (unsigned char c : text) {
    hash ^= c;
    hash *= 0x100000001b3ull;
  }
  return hash;
}

std::string ScriptName(const std::string& stem, const std::string& videoPath, pid_t process) {
  char tag[48];
  std::snprintf(tag, sizeof tag, "-%016llx-%ld.avs",
                static_cast<unsigned long long>(PathHash(videoPath)), static_cast<long>(process));
  return stem + tag;
}

// A script's name (or that of a script being written) and the process that wrote it.
const std::regex& ScriptNamePattern() {
  static const std::regex pattern(R"(-[0-9a-f]{16}-([0-9]+)\.avs(\.[A-Za-z0-9]{6})?$)");
  return pattern;
}

void RemoveScriptsOfEndedProcesses(const std::string& folder) {
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    std::smatch match;
    if (!std::regex_search(name, match, ScriptNamePattern())) continue;
    const long process = std::strtol(match[1].str().c_str(), nullptr, 10);
    if (process <= 0 || process == ::getpid()) continue;
    if (::kill(static_cast<pid_t>(process), 0) == -1 && errno == ESRCH) {
      std::error_code ignored;
      fs::remove(it->path(), ignored);
    }
  }
}

// Writes the file beside its final name and renames it into place, so that a reader sees the
// old script or the new one, never part of one.
void WriteWhole(const std::string& path, const std::string& content) {
  std::string temporary = path + ".XXXXXX";
  const FileDescriptor file(::mkstemp(temporary.data()));
  if (!file.IsOpen()) throw err::FromErrno(errno);
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(file.Get(), content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int why = n < 0 ? errno : EIO;
      ::unlink(temporary.c_str());
      throw err::FromErrno(why);
    }
    done += static_cast<size_t>(n);
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    const int why = errno;
    ::unlink(temporary.c_str());
    throw err::FromErrno(why);
  }
}

// The scripts this process has written; removed when the process ends.
class WrittenScripts {
 public:
  ~WrittenScripts() { RemoveAll(); }
  void Add(const std::string& path) {
    std::lock_guard lock(mutex_);
    paths_.insert(path);
  }
  void RemoveAll() {
    std::lock_guard lock(mutex_);
    for (const std::string& path : paths_) ::unlink(path.c_str());
    paths_.clear();
  }

 private:
  std::mutex mutex_;
  std::set<std::string> paths_;
};

WrittenScripts& Written() {
  static WrittenScripts scripts;
  return scripts;
}

}  // namespace

std::string UserDataFolder() {
  fs::path base;
  const char* xdg = std::getenv("XDG_DATA_HOME");
  if (xdg != nullptr && *xdg != '\0' && fs::path(xdg).is_absolute()) {
    base = xdg;
  } else {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') throw err::FromErrno(ENOENT);
    base = fs::path(home) / ".local" / "share";
  }
  const fs::path folder = base / kAppName;
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw err::FromErrno(error.value());
  return folder.string();
}

std::string MakeScript(const std::string& fileName) {
  try {
    if (fileName.size() < 3) {
      MsgBox("Filename does not contain a valid extension.");
      return "";
    }
    const std::string tail = fileName.substr(fileName.size() >= 4 ? fileName.size() - 4 : 0);
    if (std::string(kScriptExtensions).find(Lower(tail)) == std::string::npos) return "";

    // ".mpg" style tails are three-letter extensions, "mpeg" style ones four-letter.
    const size_t cut = tail[0] == '.' ? 4 : 5;
    std::string stem = fileName.size() > cut ? fileName.substr(0, fileName.size() - cut) : "";
    if (const size_t last = stem.rfind('/'); last != std::string::npos) stem.erase(0, last + 1);
    stem = stem.empty() ? "video" : ShortStem(stem);

    const std::string videoPath = fs::absolute(fs::path(fileName)).lexically_normal().string();
    std::string folder = UserDataFolder();
    if (folder.empty() || folder.back() != '/') folder += '/';
    const std::string scriptPath = folder + ScriptName(stem, videoPath, ::getpid());
    RemoveScriptsOfEndedProcesses(folder);
    WriteWhole(scriptPath, std::string(kScriptCall) + "(\"" + videoPath + "\")\r\n");
    Written().Add(scriptPath);
    return scriptPath;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in AviSynth. " + DescribeError(e));
    return "";
  }
}

void RemoveScripts() {
  Written().RemoveAll();
}

bool IsScriptName(const std::string& fileName) {
  return EndsWithNoCase(fileName, ".avs") || EndsWithNoCase(fileName, ".vdr");
}

std::optional<std::string> ReadScriptTarget(const std::string& scriptPath) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(scriptPath, error);
  if (error || size > kMaxScriptBytes) return std::nullopt;
  std::ifstream in(scriptPath, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  std::string line = content.str();

  if (EndsWithNoCase(line, "\r\n")) {
    line.resize(line.size() - 2);
  } else if (EndsWithNoCase(line, "\n")) {
    line.resize(line.size() - 1);
  }
  const std::string opening = Lower(kScriptCall) + "(\"";
  if (line.size() <= opening.size() + 2 || Lower(line.substr(0, opening.size())) != opening ||
      line.compare(line.size() - 2, 2, "\")") != 0) {
    return std::nullopt;
  }
  const std::string target = line.substr(opening.size(), line.size() - opening.size() - 2);
  if (target.find_first_of("\"\r\n") != std::string::npos) return std::nullopt;

  fs::path path(target);
  if (path.is_relative()) path = fs::path(scriptPath).parent_path() / path;
  return path.string();
}

}  // namespace qv
