#include "shell/DisplaySettingsModel.h"

#include <algorithm>
#include <cstdio>

#include "base/Numbers.h"
#include "base/Seams.h"
#include "playback/GlassesTypes.h"
#include "shell/SettingsStore.h"

namespace qv {

bool ChoiceList::SelectText(const std::string& text) {
  const auto it = std::find(items_.begin(), items_.end(), text);
  if (it == items_.end()) return false;
  index_ = static_cast<int>(it - items_.begin());
  return true;
}

bool ChoiceList::Select(int index) {
  if (index < 0 || index >= static_cast<int>(items_.size())) return false;
  index_ = index;
  return true;
}

namespace {

std::vector<std::string> GlassesCaptions() {
  std::vector<std::string> captions;
  for (const GlassesTypeInfo& info : kGlassesTypes) captions.emplace_back(info.caption);
  return captions;
}

// "0.3", "1.3", "2": the shortest text of a value rounded to one decimal.
std::string OneDecimal(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", RoundHalfEven(value * 10.0) / 10.0);
  return text;
}

int32_t ValToInt32(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return 0;
  return static_cast<int32_t>(v);
}

}  // namespace

DisplaySettingsModel::DisplaySettingsModel(DisplayConfig& config)
    : config_(config),
      glasses_(GlassesCaptions()),
      resolutions_({"640 x480", "800 x600", "1024x768", "1152x864", "1280x1024", "1600x1200",
                    "1800x1440"}),
      depths_({"32 bit", "24 bit", "16 bit"}),
      refreshes_({"Default", "56", "60", "75", "80", "85", "100", "110", "120", "130", "140",
                  "150", "160", "170"}) {}

bool DisplaySettingsModel::Load() {
  // The scroll bar's designed position is what VertOffset starts from.
  config_.VertOffset = static_cast<int16_t>(vertOffset_);
  // The list holds the glasses types in the order of their numbers, from 1.
  if (config_.GlassesType > static_cast<int>(std::size(kGlassesTypes))) {
    glasses_.Select(0);
    config_.GlassesType = NumberOf(kGlassesTypes[0].type);
    return true;
  }
  return glasses_.Select(config_.GlassesType - 1);
}

bool DisplaySettingsModel::SelectGlasses(int index) { return glasses_.Select(index); }

bool DisplaySettingsModel::SelectResolution(int index) {
  if (!resolutions_.Select(index)) return false;
  OnResolution();
  return true;
}

bool DisplaySettingsModel::SetResolutionText(const std::string& text) {
  if (!resolutions_.SelectText(text)) return false;
  OnResolution();
  return true;
}

bool DisplaySettingsModel::SelectDepth(int index) {
  if (!depths_.Select(index)) return false;
  OnDepth();
  return true;
}

bool DisplaySettingsModel::SetDepthText(const std::string& text) {
  if (!depths_.SelectText(text)) return false;
  OnDepth();
  return true;
}

bool DisplaySettingsModel::SelectRefresh(int index) {
  if (!refreshes_.Select(index)) return false;
  OnRefresh();
  return true;
}

bool DisplaySettingsModel::SetRefreshText(const std::string& text) {
  if (!refreshes_.SelectText(text)) return false;
  OnRefresh();
  return true;
}

bool DisplaySettingsModel::SetVertOffset(int value) {
  if (value < kVertOffsetMin || value > kVertOffsetMax) return false;
  vertOffset_ = value;
  OnVertOffset();
  return true;
}

// The width sits in the first four characters of a resolution text and the height from the
// sixth on ("640 x480", "1280x1024").
void DisplaySettingsModel::OnResolution() {
  const std::string text = resolutions_.Text();
  config_.ScreenWidth = ValToInt32(LeadingNumber(text.substr(0, 4)));
  config_.ScreenHeight = ValToInt32(LeadingNumber(text.size() > 5 ? text.substr(5) : std::string()));
  megaPixelCaption_ =
      OneDecimal(static_cast<double>(config_.ScreenWidth) * config_.ScreenHeight / 1000000.0) +
      " Megapixel(s)";
}

void DisplaySettingsModel::OnDepth() {
  config_.ColourDepth = ValToInt32(LeadingNumber(depths_.Text().substr(0, 2)));
}

void DisplaySettingsModel::OnRefresh() {
  const std::string text = refreshes_.Text();
  config_.RefreshRate = text == "Default" ? -1 : ValToInt32(LeadingNumber(text));
}

void DisplaySettingsModel::OnVertOffset() {
  vertOffsetText_ = std::to_string(vertOffset_);
  config_.VertOffset = static_cast<int16_t>(vertOffset_);
}

void DisplaySettingsModel::Confirm(SettingsStore& store) {
  const std::string selected = glasses_.Text();
  for (const GlassesTypeInfo& info : kGlassesTypes) {
    if (selected == info.caption) config_.GlassesType = NumberOf(info.type);
  }
  store.SaveSetting(settings::kGlassesSection, settings::kGlassesKey,
                    std::to_string(config_.GlassesType));
  store.SaveSetting(settings::kModeSection, settings::kRefreshKey, refreshes_.Text());
  store.SaveSetting(settings::kModeSection, settings::kDepthKey, depths_.Text());
  store.SaveSetting(settings::kModeSection, settings::kResolutionKey, resolutions_.Text());
  store.SaveSetting(settings::kOptionsSection, settings::kVertFactorKey,
                    std::to_string(vertOffset_));
  if (!store.Sync()) {
    MsgBox("The display settings could not be saved to " + store.FileName() + ".",
           msg::kExclamation);
  }
  const GlassesTypeInfo* chosen = FindGlassesType(config_.GlassesType);
  if (chosen != nullptr && chosen->shutter) MsgBox(kShutterGlassesHint);
}

void LoadSettings(SettingsStore& store, DisplaySettingsModel& dialog, DisplayConfig& config) {
  try {
    config.GlassesType = ToInt16FromText(
        store.GetSetting(settings::kGlassesSection, settings::kGlassesKey, settings::kGlassesDefault));
  } catch (const AppError&) {
  }
  dialog.Load();
  dialog.SetRefreshText(
      store.GetSetting(settings::kModeSection, settings::kRefreshKey, settings::kRefreshDefault));
  dialog.SetDepthText(
      store.GetSetting(settings::kModeSection, settings::kDepthKey, settings::kDepthDefault));
  dialog.SetResolutionText(store.GetSetting(settings::kModeSection, settings::kResolutionKey,
                                            settings::kResolutionDefault));
  try {
    dialog.SetVertOffset(ToInt16FromText(store.GetSetting(
        settings::kOptionsSection, settings::kVertFactorKey, settings::kVertFactorDefault)));
  } catch (const AppError&) {
  }
}

}  // namespace qv
