#include "shell/DisplaySettingsDialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "playback/GlassesTypes.h"
#include "shell/Artwork.h"

namespace qv {

namespace {
QComboBox* ListOf(const ChoiceList& list, QWidget* parent) {
  auto* combo = new QComboBox(parent);
  for (const std::string& item : list.Items()) combo->addItem(QString::fromStdString(item));
  return combo;
}
}  // namespace

DisplaySettingsDialog::DisplaySettingsDialog(DisplaySettingsModel& model, SettingsStore& store, QWidget* parent)
    : QDialog(parent), model_(model), store_(store) {
  setWindowTitle(tr("Display Settings"));
  setModal(true);

  glassesList_ = new QComboBox(this);
  glassesList_->setIconSize(QSize(32, 32));
  for (const GlassesTypeInfo& type : kGlassesTypes) {
    glassesList_->addItem(GlassesIcon(NumberOf(type.type)),
                          QString::fromUtf8(type.caption.data(), static_cast<int>(type.caption.size())));
  }
  resolutionList_ = ListOf(model_.Resolutions(), this);
  colourDepthList_ = ListOf(model_.Depths(), this);
  refreshList_ = ListOf(model_.Refreshes(), this);
  vertOffsetBar_ = new QScrollBar(Qt::Horizontal, this);
  vertOffsetBar_->setRange(DisplaySettingsModel::kVertOffsetMin, DisplaySettingsModel::kVertOffsetMax);
  vertOffsetBar_->setMinimumWidth(180);
  vertOffsetBox_ = new QLineEdit(this);
  vertOffsetBox_->setReadOnly(true);
  vertOffsetBox_->setMaximumWidth(48);
  megaPixelLabel_ = new QLabel(this);
  okButton_ = new QPushButton(tr("OK"), this);
  okButton_->setDefault(true);

  auto* form = new QFormLayout;
  form->addRow(tr("Glasses:"), glassesList_);
  form->addRow(tr("Resolution:"), resolutionList_);
  form->addRow(QString(), megaPixelLabel_);
  form->addRow(tr("Colour Depth:"), colourDepthList_);
  form->addRow(tr("Refresh Rate:"), refreshList_);
  auto* offsetRow = new QHBoxLayout;
  offsetRow->addWidget(vertOffsetBar_, 1);
  offsetRow->addWidget(vertOffsetBox_);
  form->addRow(tr("Sync-doubled vertical offset factor:"), offsetRow);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(okButton_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addLayout(buttons);

  connect(glassesList_, &QComboBox::currentIndexChanged, this,
          [this](int index) { model_.SelectGlasses(index); });
  connect(resolutionList_, &QComboBox::currentIndexChanged, this, [this](int index) {
    model_.SelectResolution(index);
    megaPixelLabel_->setText(QString::fromStdString(model_.MegaPixelCaption()));
  });
  connect(colourDepthList_, &QComboBox::currentIndexChanged, this, [this](int index) { model_.SelectDepth(index); });
  connect(refreshList_, &QComboBox::currentIndexChanged, this, [this](int index) { model_.SelectRefresh(index); });
  connect(vertOffsetBar_, &QScrollBar::valueChanged, this, [this](int value) {
    model_.SetVertOffset(value);
    vertOffsetBox_->setText(QString::fromStdString(model_.VertOffsetText()));
  });
  connect(okButton_, &QPushButton::clicked, this, &DisplaySettingsDialog::Confirm);
  SyncFromModel();
}

void DisplaySettingsDialog::SyncFromModel() {
  const QSignalBlocker b1(glassesList_), b2(colourDepthList_), b3(resolutionList_), b4(refreshList_), b5(vertOffsetBar_);
  glassesList_->setCurrentIndex(model_.Glasses().Index());
  resolutionList_->setCurrentIndex(model_.Resolutions().Index());
  colourDepthList_->setCurrentIndex(model_.Depths().Index());
  refreshList_->setCurrentIndex(model_.Refreshes().Index());
  vertOffsetBar_->setValue(model_.VertOffsetValue());
  vertOffsetBox_->setText(QString::fromStdString(model_.VertOffsetText()));
  megaPixelLabel_->setText(QString::fromStdString(model_.MegaPixelCaption()));
}

void DisplaySettingsDialog::Confirm() {
  model_.Confirm(store_);
  hide();
}

}  // namespace qv
