#pragma once
// The three families of modes: input formats (how the eye views are packed in a source frame),
// output methods (how a stereo pair reaches the eyes) and glasses types (the viewing hardware,
// which with the window mode chooses the output method). Each family is one table; the command
// line, its help, the menus, the settings dialog and the dispatchers all read these tables.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace qv {

struct InputFormatInfo {
  int16_t number;
  std::string_view name;     // command-line name
  std::string_view caption;  // Format-menu caption, empty for formats the menu does not offer
  std::string_view description;
};

inline constexpr InputFormatInfo kInputFormats[] = {
    {1, "above-below", "Above/Below", "left view in the upper half, right view in the lower half"},
    {2, "interleaved", "", "the two views on alternate rows"},
    {3, "2d", "", "a plain picture shown to both eyes"},
    {4, "2d-to-3d", "2D", "a plain picture turned into stereo"},
    {5, "parallel", "Parallel", "left view in the left half, right view in the right half"},
    {6, "anaglyph", "", "a red/cyan anaglyph, shown in grey"},
    {7, "anaglyph-colour", "", "a red/cyan anaglyph, kept in colour"},
};

struct OutputMethodInfo {
  int16_t number;
  std::string_view name;  // command-line name
  std::string_view description;
};

inline constexpr OutputMethodInfo kOutputMethods[] = {
    {1, "sync-doubled-eye3d", "above/below frame with a gap, Eye3D line codes, full screen"},
    {2, "anaglyph-gray", "grey red/cyan anaglyph"},
    {3, "anaglyph-red-green", "colour red/cyan anaglyph"},
    {4, "anaglyph-blue-yellow", "blue/yellow anaglyph"},
    {5, "interlaced", "row-interlaced lines"},
    {6, "nvidia", "side-by-side pair for the stereo-tagged full-screen surface"},
    {7, "sync-doubled", "above/below frame with a gap, shutter-glasses line codes, full screen"},
    {8, "side-by-side", "side-by-side pair for quad-buffered OpenGL stereo"},
};

struct GlassesTypeInfo {
  int16_t number;
  std::string_view caption;  // as the settings dialog lists it
  int16_t fullscreenMethod;  // output method when playing full screen
  int16_t windowedMethod;    // output method when playing in a window
};

inline constexpr GlassesTypeInfo kGlassesTypes[] = {
    {1, "eDimensional Glasses", 7, 5},
    {2, "Eye3D Shutter Glasses", 7, 5},
    {3, "I-Glasses Shutter Glasses", 7, 5},
    {4, "Generic OpenGL", 8, 8},
    {5, "Anaglyph (Red/Green)", 3, 3},
    {6, "Anaglyph (Blue/Yellow)", 4, 4},
    {7, "NVidia Stereo", 6, 5},
};

template <typename Info>
const Info* FindByNumber(std::span<const Info> table, int number) {
  for (const Info& info : table) {
    if (info.number == number) return &info;
  }
  return nullptr;
}

inline const InputFormatInfo* FindInputFormat(int number) {
  return FindByNumber<InputFormatInfo>(kInputFormats, number);
}
inline const OutputMethodInfo* FindOutputMethod(int number) {
  return FindByNumber<OutputMethodInfo>(kOutputMethods, number);
}
inline const GlassesTypeInfo* FindGlassesType(int number) {
  return FindByNumber<GlassesTypeInfo>(kGlassesTypes, number);
}

// The output method for a glasses type and window mode; nullopt for an unknown type.
inline std::optional<int16_t> OutputMethodFor(int glassesType, bool fullscreen) {
  const GlassesTypeInfo* info = FindGlassesType(glassesType);
  if (info == nullptr) return std::nullopt;
  return fullscreen ? info->fullscreenMethod : info->windowedMethod;
}

}  // namespace qv
