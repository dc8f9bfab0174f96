#pragma once

#include <QString>

// The per-user settings store: application section (QmShared::AppSection), section,
// key, string values. Kept as an INI file in QmPaths::ConfigFolder().
namespace QmSettings {

// The value, or def when it is missing.
QString GetSetting(const QString& section, const QString& key, const QString& def = QString());
void SaveSetting(const QString& section, const QString& key, const QString& value);
void DeleteSetting(const QString& section);
// The file behind the store.
QString StoreFile();

} // namespace QmSettings
