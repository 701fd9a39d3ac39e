#pragma once
// Input formats: how the two eye views are packed in a source frame. One table holds every format
// with its number, its command-line name, its Format-menu caption and its decoder; the frame loop,
// the command line, its help and the Format menu all read it.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "base/ModeTables.h"
#include "stereo/Decoders.h"

namespace qv {

// The numbers are those that requests, settings and the command line use.
enum class InputFormat : int16_t {
  AboveBelow = 1,      // left view in the upper half, right view in the lower half
  Interleaved = 2,     // the two views on alternate rows
  Plain2D = 3,         // a plain picture, shown to both eyes
  Converted2D = 4,     // a plain picture turned into stereo by the conversion
  Parallel = 5,        // left view in the left half, right view in the right half
  Anaglyph = 6,        // a red/cyan anaglyph, split into grey views
  AnaglyphColour = 7,  // a red/cyan anaglyph, split into its colour channels
};

struct InputFormatInfo {
  InputFormat format;
  std::string_view name;     // command-line name
  std::string_view caption;  // Format-menu caption; empty for formats the menu does not offer
  int menuPosition;          // 1, 2, ... from the top of the Format menu; 0 when not offered
  std::string_view description;
  FrameDecoder decoder;
  bool converted;  // after decoding, the conversion makes view 1 from view 0
};

inline constexpr InputFormatInfo kInputFormats[] = {
    {InputFormat::AboveBelow, "above-below", "Above/Below", 3,
     "left view in the upper half, right view in the lower half", LoadAboveBelow, false},
    {InputFormat::Interleaved, "interleaved", "", 0, "the two views on alternate rows",
     LoadInterleaved, false},
    {InputFormat::Plain2D, "2d", "", 0, "a plain picture shown to both eyes", Load2D, false},
    {InputFormat::Converted2D, "2d-to-3d", "2D", 1, "a plain picture turned into stereo", Load2D,
     true},
    {InputFormat::Parallel, "parallel", "Parallel", 2,
     "left view in the left half, right view in the right half", LoadJPS, false},
    {InputFormat::Anaglyph, "anaglyph", "", 0, "a red/cyan anaglyph, shown in grey", LoadAnaglyph,
     false},
    {InputFormat::AnaglyphColour, "anaglyph-colour", "", 0, "a red/cyan anaglyph, kept in colour",
     LoadAnaglyphColour, false},
};

inline constexpr int16_t NumberOf(InputFormat format) { return static_cast<int16_t>(format); }

// The row of a format, or nullptr for a number outside the table.
inline const InputFormatInfo* FindInputFormat(InputFormat format) {
  return ModeRow<InputFormatInfo>(kInputFormats, &InputFormatInfo::format, format);
}

// A format by command-line name or number ("parallel", "5"); nullopt when the table has none.
inline std::optional<InputFormat> InputFormatByName(std::string_view text) {
  return ModeByNameOrNumber<InputFormatInfo>(kInputFormats, &InputFormatInfo::format, text);
}

}  // namespace qv
