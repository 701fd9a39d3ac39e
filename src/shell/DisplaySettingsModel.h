#pragma once
// The display settings dialog without its widgets: the glasses list, the resolution, colour-depth
// and refresh lists, the vertical-offset scroll bar with its text box and the megapixel caption,
// and the handlers that keep the display configuration in step with what is selected. The dialog
// window puts widgets on this model and forwards their changes to it.

#include <string>
#include <vector>

#include "base/DisplayConfig.h"

namespace qv {

class SettingsStore;

// A drop-down list that only takes its own entries.
class ChoiceList {
 public:
  explicit ChoiceList(std::vector<std::string> items) : items_(std::move(items)) {}
  const std::vector<std::string>& Items() const { return items_; }
  int Index() const { return index_; }  // -1: nothing selected
  std::string Text() const { return index_ < 0 ? std::string() : items_[static_cast<size_t>(index_)]; }
  // Selects the entry with this text; false (selection unchanged) when there is none.
  bool SelectText(const std::string& text);
  bool Select(int index);

 private:
  std::vector<std::string> items_;
  int index_ = -1;
};

class DisplaySettingsModel {
 public:
  static constexpr int kVertOffsetMin = 0;
  static constexpr int kVertOffsetMax = 100;
  static constexpr int kVertOffsetDesigned = 10;

  explicit DisplaySettingsModel(DisplayConfig& config = gDisplay);

  // Loading the dialog: fills the glasses list and selects the configured type (a type above 7
  // becomes 1). Returns false when the configured type has no item (nothing selected then).
  bool Load();

  const ChoiceList& Glasses() const { return glasses_; }
  const ChoiceList& Resolutions() const { return resolutions_; }  // "Resolution:"
  const ChoiceList& Depths() const { return depths_; }            // "Colour Depth:"
  const ChoiceList& Refreshes() const { return refreshes_; }

  // Selection changes, from the user or from the stored settings. Each runs its handler when an
  // entry was selected and returns false when the text or index names no entry.
  bool SelectGlasses(int index);
  bool SelectResolution(int index);
  bool SetResolutionText(const std::string& text);
  bool SelectDepth(int index);
  bool SetDepthText(const std::string& text);
  bool SelectRefresh(int index);
  bool SetRefreshText(const std::string& text);
  // The scroll bar takes 0 ... 100; other values are refused (false) and change nothing.
  bool SetVertOffset(int value);

  int VertOffsetValue() const { return vertOffset_; }
  const std::string& VertOffsetText() const { return vertOffsetText_; }
  const std::string& MegaPixelCaption() const { return megaPixelCaption_; }

  // OK: takes the glasses type from the selected item, writes the five settings and, for shutter
  // glasses, shows the alignment hint. Hiding the dialog is the window's business.
  void Confirm(SettingsStore& store);

 private:
  void OnResolution();
  void OnDepth();
  void OnRefresh();
  void OnVertOffset();

  DisplayConfig& config_;
  ChoiceList glasses_;
  ChoiceList resolutions_;
  ChoiceList depths_;
  ChoiceList refreshes_;
  int vertOffset_ = kVertOffsetDesigned;
  std::string vertOffsetText_ = "10";
  std::string megaPixelCaption_;
};

// Reads the five stored settings into the display configuration through the model, with the
// defaults on a first start. A step that fails (unreadable or unknown value) leaves its target
// unchanged and the next step runs.
void LoadSettings(SettingsStore& store, DisplaySettingsModel& dialog, DisplayConfig& config = gDisplay);

// Settings sections, keys and defaults.
namespace settings {
inline constexpr const char* kGlassesSection = "3D";
inline constexpr const char* kGlassesKey = "Glasses";
inline constexpr const char* kGlassesDefault = "5";
inline constexpr const char* kModeSection = "DX7";
inline constexpr const char* kRefreshKey = "Refresh";
inline constexpr const char* kRefreshDefault = "Default";
inline constexpr const char* kDepthKey = "Depth";
inline constexpr const char* kDepthDefault = "32 bit";
inline constexpr const char* kResolutionKey = "Res";
inline constexpr const char* kResolutionDefault = "640 x480";
inline constexpr const char* kOptionsSection = "Options";
inline constexpr const char* kVertFactorKey = "VertFactor";
inline constexpr const char* kVertFactorDefault = "10";
}  // namespace settings

inline constexpr const char* kShutterGlassesHint =
    "When viewing fullscreen with your selected glasses, you may find that the left and right eyes "
    "don't align vertically. To adjust this use the vertical offset adjustment.";

}  // namespace qv
