#pragma once
// The display settings dialog: widgets over DisplaySettingsModel. Loaded hidden at start-up (the
// stored settings reach the widgets through the model), shown modal from File>Settings, hidden by
// OK, which writes the settings.

#include <QDialog>

#include "shell/DisplaySettingsModel.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollBar;

namespace qv {

class SettingsStore;

class GlassesSet : public QDialog {
  Q_OBJECT
 public:
  GlassesSet(DisplaySettingsModel& model, SettingsStore& store, QWidget* parent = nullptr);

  // Shows the model's state in the widgets (after LoadSettings changed the model directly).
  void SyncFromModel();

  QComboBox* ImageCombo1() const { return imageCombo1_; }
  QComboBox* Combo1() const { return combo1_; }
  QComboBox* Combo2() const { return combo2_; }
  QComboBox* Combo3() const { return combo3_; }
  QScrollBar* ScrollVertOffset() const { return scrollVertOffset_; }
  QLineEdit* TxtVertOffset() const { return txtVertOffset_; }
  QLabel* MegaPixelCap() const { return megaPixelCap_; }
  QPushButton* Command1() const { return command1_; }

 private:
  void Confirm();

  DisplaySettingsModel& model_;
  SettingsStore& store_;
  QComboBox* imageCombo1_;
  QComboBox* combo1_;
  QComboBox* combo2_;
  QComboBox* combo3_;
  QScrollBar* scrollVertOffset_;
  QLineEdit* txtVertOffset_;
  QLabel* megaPixelCap_;
  QPushButton* command1_;
};

}  // namespace qv
