#pragma once
// The per-user settings store: string values under a section and a key, kept by QSettings in INI
// form at ~/.config/Quorvex/Quorvex.conf (or a file of the caller's choice).

#include <memory>
#include <string>

class QSettings;

namespace qv {

class SettingsStore {
 public:
  // iniPath empty: the per-user store of the application.
  explicit SettingsStore(const std::string& iniPath = {});
  ~SettingsStore();

  // The stored text, or defaultValue when the key is missing or unreadable.
  std::string GetSetting(const std::string& section, const std::string& key,
                         const std::string& defaultValue) const;
  void SaveSetting(const std::string& section, const std::string& key, const std::string& value);
  // Writes pending changes to disk; false when the store could not be written.
  bool Sync();
  std::string FileName() const;

 private:
  std::unique_ptr<QSettings> settings_;
};

}  // namespace qv
