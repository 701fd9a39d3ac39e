#include "shell/GlassesSet.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "shell/Artwork.h"

namespace qv {

namespace {
QComboBox* ListOf(const ChoiceList& list, QWidget* parent) {
  auto* combo = new QComboBox(parent);
  for (const std::string& item : list.Items()) combo->addItem(QString::fromStdString(item));
  return combo;
}
}  // namespace

GlassesSet::GlassesSet(DisplaySettingsModel& model, SettingsStore& store, QWidget* parent)
    : QDialog(parent), model_(model), store_(store) {
  setWindowTitle(tr("Display Settings"));
  setModal(true);

  imageCombo1_ = new QComboBox(this);
  imageCombo1_->setIconSize(QSize(32, 32));
  int number = 1;
  for (const std::string& caption : model_.Glasses().Items()) {
    imageCombo1_->addItem(GlassesIcon(number++), QString::fromStdString(caption));
  }
  combo2_ = ListOf(model_.Resolutions(), this);
  combo1_ = ListOf(model_.Depths(), this);
  combo3_ = ListOf(model_.Refreshes(), this);
  scrollVertOffset_ = new QScrollBar(Qt::Horizontal, this);
  scrollVertOffset_->setRange(DisplaySettingsModel::kVertOffsetMin, DisplaySettingsModel::kVertOffsetMax);
  scrollVertOffset_->setMinimumWidth(180);
  txtVertOffset_ = new QLineEdit(this);
  txtVertOffset_->setReadOnly(true);
  txtVertOffset_->setMaximumWidth(48);
  megaPixelCap_ = new QLabel(this);
  command1_ = new QPushButton(tr("OK"), this);
  command1_->setDefault(true);

  auto* form = new QFormLayout;
  form->addRow(tr("Glasses:"), imageCombo1_);
  form->addRow(tr("Resolution:"), combo2_);
  form->addRow(QString(), megaPixelCap_);
  form->addRow(tr("Colour Depth:"), combo1_);
  form->addRow(tr("Refresh Rate:"), combo3_);
  auto* offsetRow = new QHBoxLayout;
  offsetRow->addWidget(scrollVertOffset_, 1);
  offsetRow->addWidget(txtVertOffset_);
  form->addRow(tr("Sync-doubled vertical offset factor:"), offsetRow);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(command1_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addLayout(buttons);

  connect(imageCombo1_, &QComboBox::currentIndexChanged, this,
          [this](int index) { model_.SelectGlasses(index); });
  connect(combo2_, &QComboBox::currentIndexChanged, this, [this](int index) {
    model_.SelectResolution(index);
    megaPixelCap_->setText(QString::fromStdString(model_.MegaPixelCaption()));
  });
  connect(combo1_, &QComboBox::currentIndexChanged, this, [this](int index) { model_.SelectDepth(index); });
  connect(combo3_, &QComboBox::currentIndexChanged, this, [this](int index) { model_.SelectRefresh(index); });
  connect(scrollVertOffset_, &QScrollBar::valueChanged, this, [this](int value) {
    model_.SetVertOffset(value);
    txtVertOffset_->setText(QString::fromStdString(model_.VertOffsetText()));
  });
  connect(command1_, &QPushButton::clicked, this, &GlassesSet::Confirm);
  SyncFromModel();
}

void GlassesSet::SyncFromModel() {
  const QSignalBlocker b1(imageCombo1_), b2(combo1_), b3(combo2_), b4(combo3_), b5(scrollVertOffset_);
  imageCombo1_->setCurrentIndex(model_.Glasses().Index());
  combo2_->setCurrentIndex(model_.Resolutions().Index());
  combo1_->setCurrentIndex(model_.Depths().Index());
  combo3_->setCurrentIndex(model_.Refreshes().Index());
  scrollVertOffset_->setValue(model_.VertOffsetValue());
  txtVertOffset_->setText(QString::fromStdString(model_.VertOffsetText()));
  megaPixelCap_->setText(QString::fromStdString(model_.MegaPixelCaption()));
}

void GlassesSet::Confirm() {
  model_.Confirm(store_);
  hide();
}

}  // namespace qv
