#include "shell/SettingsStore.h"

#include <QSettings>
#include <QStringList>

#include "base/Error.h"

namespace qv {

namespace {
QString KeyOf(const std::string& section, const std::string& key) {
  return QString::fromStdString(section) + "/" + QString::fromStdString(key);
}
}  // namespace

SettingsStore::SettingsStore(const std::string& iniPath)
    : settings_(iniPath.empty()
                    ? std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                  kAppName, kAppName)
                    : std::make_unique<QSettings>(QString::fromStdString(iniPath),
                                                  QSettings::IniFormat)) {}

SettingsStore::~SettingsStore() = default;

std::string SettingsStore::GetSetting(const std::string& section, const std::string& key,
                                      const std::string& defaultValue) const {
  const QVariant value = settings_->value(KeyOf(section, key));
  if (!value.isValid()) return defaultValue;
  // A hand-edited value with commas reads back as a list; take the text as it was written.
  if (value.typeId() == QMetaType::QStringList) return value.toStringList().join(",").toStdString();
  return value.toString().toStdString();
}

void SettingsStore::SaveSetting(const std::string& section, const std::string& key,
                                const std::string& value) {
  settings_->setValue(KeyOf(section, key), QString::fromStdString(value));
}

bool SettingsStore::Sync() {
  settings_->sync();
  return settings_->status() == QSettings::NoError;
}

std::string SettingsStore::FileName() const { return settings_->fileName().toStdString(); }

}  // namespace qv
