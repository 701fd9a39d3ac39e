// libFuzzer target: the BMP reader must refuse or read any byte string without crashing, and a
// picture it accepts must copy into a Picture when its header describes one.
#include <cstdint>
#include <cstdio>
#include <optional>

#include "base/Error.h"
#include "base/Seams.h"
#include "image/BitmapFile.h"

namespace {
class SilentSink : public qv::MessageSink {
 public:
  void ShowMessage(const std::string&, int, const std::string&) override {}
  std::optional<std::string> InputBox(const std::string&, const std::string&,
                                      const std::string& answer) override {
    return answer;
  }
};
SilentSink gSink;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qv::SetMessageSink(&gSink);
  std::FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (file == nullptr) return 0;
  qv::BitmapFile dib;
  if (!dib.ReadBmp(file, "fuzz.bmp")) return 0;
  qv::Picture section;
  if (dib.BitCount() == 24 && section.Create(dib.Width(), dib.Height())) {
    try {
      dib.CopyToSection(section);
    } catch (const qv::AppError&) {
    }
  }
  return 0;
}
