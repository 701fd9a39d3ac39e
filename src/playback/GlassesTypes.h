#pragma once
// Glasses types: the viewing hardware chosen in the display settings dialog. With the window mode
// it decides the output method of every play. One table holds every type with its number, its
// command-line name, its caption in the dialog and its two methods; the dialog, Play and Full, the
// command line and its help all read it.

#include <cstdint>
#include <climits>
#include <optional>
#include <string_view>

#include "base/ModeTables.h"
#include "playback/OutputMethods.h"

namespace qv {

// The numbers are those that the settings store keeps.
enum class GlassesType : int16_t {
  EDimensional = 1,
  Eye3D = 2,
  IGlasses = 3,
  GenericOpenGL = 4,
  AnaglyphRedGreen = 5,
  AnaglyphBlueYellow = 6,
  NvidiaStereo = 7,
};

struct GlassesTypeInfo {
  GlassesType type;
  std::string_view name;     // command-line name
  std::string_view caption;  // as the settings dialog lists it
  OutputMethod fullscreenMethod;
  OutputMethod windowedMethod;
  bool shutter;  // page-flipping shutter glasses, whose eyes may need the vertical offset
  // The colours (0xRRGGBB) of the left and right lens in the type's icon.
  uint32_t leftLens;
  uint32_t rightLens;
};

inline constexpr GlassesTypeInfo kGlassesTypes[] = {
    {GlassesType::EDimensional, "edimensional", "eDimensional Glasses", OutputMethod::SyncDoubled,
     OutputMethod::Interlaced, true, 0x1e2026, 0x1e2026},
    {GlassesType::Eye3D, "eye3d", "Eye3D Shutter Glasses", OutputMethod::SyncDoubled,
     OutputMethod::Interlaced, true, 0x1e2026, 0x1e2026},
    {GlassesType::IGlasses, "i-glasses", "I-Glasses Shutter Glasses", OutputMethod::SyncDoubled,
     OutputMethod::Interlaced, true, 0x1e2026, 0x1e2026},
    {GlassesType::GenericOpenGL, "opengl", "Generic OpenGL", OutputMethod::SideBySide,
     OutputMethod::SideBySide, false, 0x5aa0ff, 0xffa03c},
    {GlassesType::AnaglyphRedGreen, "anaglyph-red-green", "Anaglyph (Red/Green)",
     OutputMethod::AnaglyphRedGreen, OutputMethod::AnaglyphRedGreen, false, 0xdc2828, 0x1ec8d2},
    {GlassesType::AnaglyphBlueYellow, "anaglyph-blue-yellow", "Anaglyph (Blue/Yellow)",
     OutputMethod::AnaglyphBlueYellow, OutputMethod::AnaglyphBlueYellow, false, 0xe6c81e,
     0x2850e6},
    {GlassesType::NvidiaStereo, "nvidia", "NVidia Stereo", OutputMethod::NvidiaStereo,
     OutputMethod::Interlaced, false, 0x76b900, 0x76b900},
};

inline constexpr int16_t NumberOf(GlassesType type) { return static_cast<int16_t>(type); }

// The row of a glasses type number (as the settings keep it), or nullptr outside the table.
inline const GlassesTypeInfo* FindGlassesType(int number) {
  if (number < INT16_MIN || number > INT16_MAX) return nullptr;
  return ModeRow<GlassesTypeInfo>(kGlassesTypes, &GlassesTypeInfo::type,
                                  static_cast<GlassesType>(number));
}

// A glasses type by command-line name or number ("opengl", "4"); nullopt when there is none.
inline std::optional<GlassesType> GlassesTypeByName(std::string_view text) {
  return ModeByNameOrNumber<GlassesTypeInfo>(kGlassesTypes, &GlassesTypeInfo::type, text);
}

// The output method for a glasses type number and window mode; nullopt for an unknown type.
inline std::optional<OutputMethod> OutputMethodFor(int glassesType, bool fullscreen) {
  const GlassesTypeInfo* info = FindGlassesType(glassesType);
  if (info == nullptr) return std::nullopt;
  return fullscreen ? info->fullscreenMethod : info->windowedMethod;
}

}  // namespace qv
