#include "video/ScriptBridge.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "base/Error.h"
#include "base/Seams.h"

namespace qv {

namespace fs = std::filesystem;

namespace {

constexpr const char* kScriptExtensions = "*.mpg;*.mpeg;*.asf;*.wmv;*.dat;*.mov;*.vob";
constexpr const char* kScriptCall = "DirectShowSource";
// The base-name search gives up after this many separators and keeps the name whole.
constexpr int kMaxSeparatorSteps = 100;
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
    const size_t cut = tail[0] == '.' ? 3 : 4;
    if (fileName.size() < cut) throw err::InvalidArgument();
    std::string scriptName = fileName.substr(0, fileName.size() - cut) + "avs";

    size_t separators = 0;
    for (char c : scriptName) separators += c == '/';
    if (separators <= static_cast<size_t>(kMaxSeparatorSteps)) {
      const size_t last = scriptName.rfind('/');
      if (last != std::string::npos) scriptName = scriptName.substr(last + 1);
    }

    std::string folder = UserDataFolder();
    if (folder.empty() || folder.back() != '/') folder += '/';
    const std::string scriptPath = folder + scriptName;

    const std::string videoPath = fs::absolute(fs::path(fileName)).lexically_normal().string();
    std::ofstream out(scriptPath, std::ios::binary | std::ios::trunc);
    if (!out) throw err::FromErrno(errno != 0 ? errno : EACCES);
    out << kScriptCall << "(\"" << videoPath << "\")\r\n";
    out.close();
    if (!out) throw err::FromErrno(errno != 0 ? errno : EIO);
    return scriptPath;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in AviSynth. " + DescribeError(e));
    return "";
  }
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
