#pragma once
// Helpers shared by the test suites: a message recorder, temporary folders, whole files, raised
// errors, and pictures whose every pixel is known, compared whole with a report of where they
// differ.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Seams.h"
#include "image/Picture.h"

namespace qv::test {

struct RecordedMessage {
  std::string text;
  int style;
  std::string title;
};

// Records every message box instead of showing it; input boxes take the queued answers (or their
// default when none is queued).
class RecordingSink : public MessageSink {
 public:
  RecordingSink() : previous_(&Messages()) { SetMessageSink(this); }
  ~RecordingSink() override { SetMessageSink(previous_ == this ? nullptr : previous_); }

  void ShowMessage(const std::string& text, int style, const std::string& title) override {
    messages.push_back({text, style, title});
  }
  std::optional<std::string> InputBox(const std::string& prompt, const std::string&,
                                      const std::string& defaultAnswer) override {
    prompts.push_back(prompt);
    if (answers.empty()) return defaultAnswer;
    auto answer = answers.front();
    answers.erase(answers.begin());
    return answer;
  }

  std::vector<std::string> Texts() const {
    std::vector<std::string> out;
    for (const auto& m : messages) out.push_back(m.text);
    return out;
  }

  std::vector<RecordedMessage> messages;
  std::vector<std::string> prompts;
  std::vector<std::optional<std::string>> answers;

 private:
  MessageSink* previous_;
};

// A fresh folder under the system's temporary folder, removed with its contents at the end.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorvex-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& Path() const { return path_; }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The names of the entries of a folder, sorted; none when it does not exist.
inline std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
       it.increment(error)) {
    names.push_back(it->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// An environment variable set for the lifetime of this object, then restored.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// Installs a seam's object (SetScreenInfo, SetEventPump, ...) for its lifetime, then the default.
template <typename T>
class Installed {
 public:
  Installed(void (*install)(T*), T* object) : install_(install) { install_(object); }
  ~Installed() { install_(nullptr); }

 private:
  void (*install_)(T*);
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// The AppError that f raises; number 0 and "no error" when it raises none.
inline AppError ErrorOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const AppError& e) {
    return e;
  }
  return AppError(0, "", "no error");
}

// (blue, green, red) of a pixel.
struct Bgr {
  uint8_t b, g, r;
  bool operator==(const Bgr&) const = default;
};

inline Bgr Grey(uint8_t level) {
  return Bgr{level, level, level};
}

// A width x height picture whose pixel at column x and device row y (0 = top) is f(x, y).
inline PictureRef MakePicture(int32_t width, int32_t height, const std::function<Bgr(int, int)>& f) {
  auto picture = std::make_shared<Picture>();
  if (!picture->Create(width, height)) return nullptr;
  const PixelGrid grid = picture->Grid();
  for (int y = 0; y < height; ++y) {
    uint8_t* row = grid.DeviceRow(y);
    for (int x = 0; x < width; ++x) {
      const Bgr p = f(x, y);
      row[3 * x] = p.b;
      row[3 * x + 1] = p.g;
      row[3 * x + 2] = p.r;
    }
  }
  return picture;
}

inline PictureRef SolidPicture(int32_t width, int32_t height, Bgr colour) {
  return MakePicture(width, height, [colour](int, int) { return colour; });
}

// A picture whose column x is columns[x] all the way down.
inline PictureRef Columns(const std::vector<Bgr>& columns, int32_t height = 1) {
  return MakePicture(static_cast<int32_t>(columns.size()), height,
                     [&](int x, int) { return columns[static_cast<size_t>(x)]; });
}

// A picture in which every pixel has its own colour, derived from its position and a seed.
inline PictureRef PatternPicture(int32_t width, int32_t height, int seed = 0) {
  return MakePicture(width, height, [seed](int x, int y) {
    return Bgr{static_cast<uint8_t>(x * 7 + y * 3 + seed),
               static_cast<uint8_t>(x * 13 + y * 29 + seed),
               static_cast<uint8_t>((x ^ y) * 5 + seed)};
  });
}

// A grey picture from levels listed row by row, the top row first.
inline PictureRef GreyRows(const std::vector<std::vector<int>>& rows) {
  return MakePicture(static_cast<int32_t>(rows[0].size()), static_cast<int32_t>(rows.size()),
                     [&](int x, int y) { return Grey(static_cast<uint8_t>(rows[y][x])); });
}

// Random colours that repeat nowhere, the same for the same seed; `shift` moves the content that
// many pixels left (pixel x shows what pixel x + shift of the unshifted texture shows).
inline PictureRef Texture(int32_t width, int32_t height, int shift = 0, int seed = 1) {
  return MakePicture(width, height, [=](int x, int y) {
    std::minstd_rand r(static_cast<unsigned>((x + shift + 1000) * 7919 + y * 104729 + seed));
    return Bgr{uint8_t(r()), uint8_t(r()), uint8_t(r())};
  });
}

// A fixture that holds one object under test, `p`.
template <typename T>
struct With : ::testing::Test {
  T p;
};

// An image processor's events as one line: "init N", the progress positions, then ", done" (or
// ", negative time"); the processor's handlers are cleared again at the end.
template <typename Processor>
struct EventLog {
  explicit EventLog(Processor& p) : processor(p) {
    p.Events.InitProgress = [this](int32_t v) { text += "init " + std::to_string(v); };
    p.Events.Progress = [this](int32_t v) { text += " " + std::to_string(v); };
    p.Events.Complete = [this](int32_t ms) { text += ms >= 0 ? ", done" : ", negative time"; };
  }
  ~EventLog() { processor.Events = {}; }
  Processor& processor;
  std::string text;
};

// Pixel at column x, device row y (0 = top).
inline Bgr PixelAt(const Picture& picture, int x, int y) {
  const uint8_t* p = picture.Grid().DeviceRow(y) + 3 * x;
  return Bgr{p[0], p[1], p[2]};
}

// Compares two pictures pixel for pixel (padding ignored), allowing channels to differ by up to
// `tolerance`, and reports the first differences.
inline ::testing::AssertionResult SamePicture(const Picture& actual,
                                              const Picture& expected, int tolerance = 0) {
  if (actual.Width() != expected.Width() || actual.Height() != expected.Height()) {
    return ::testing::AssertionFailure()
           << "size " << actual.Width() << "x" << actual.Height() << ", expected "
           << expected.Width() << "x" << expected.Height();
  }
  std::ostringstream report;
  int differences = 0;
  int largest = 0;
  for (int y = 0; y < actual.Height(); ++y) {
    for (int x = 0; x < actual.Width(); ++x) {
      const Bgr a = PixelAt(actual, x, y);
      const Bgr e = PixelAt(expected, x, y);
      const int by = std::max({std::abs(a.b - e.b), std::abs(a.g - e.g), std::abs(a.r - e.r)});
      if (by <= tolerance) continue;
      largest = std::max(largest, by);
      if (differences++ < 5) {
        report << "\n  (" << x << ", top row " << y << "): (" << int(a.b) << "," << int(a.g) << ","
               << int(a.r) << ") expected (" << int(e.b) << "," << int(e.g) << "," << int(e.r)
               << ")";
      }
    }
  }
  if (differences == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << differences << " pixels differ, by up to " << largest << report.str();
}

}  // namespace qv::test
