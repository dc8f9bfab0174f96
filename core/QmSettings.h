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

// Each write reaches the file at once (a new file renamed over the old one), which costs
// a flush to disk. Writes made while a Batch lives reach it together, once, when the
// outermost Batch ends: for routines that store several keys at a time.
class Batch
{
public:
    Batch();
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
};

} // namespace QmSettings
