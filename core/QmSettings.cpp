#include "core/QmSettings.h"

#include "core/QmPaths.h"
#include "core/QmShared.h"

#include <QSettings>

namespace QmSettings {

namespace {

QSettings Store()
{
    return QSettings(StoreFile(), QSettings::IniFormat);
}

QString Path(const QString& section, const QString& key)
{
    return QmShared::AppSection + u'/' + section + u'/' + key;
}

} // namespace

QString StoreFile()
{
    return QmPaths::ConfigFolder() + QStringLiteral("/quillmont.ini");
}

QString GetSetting(const QString& section, const QString& key, const QString& def)
{
    const QVariant value = Store().value(Path(section, key));
    return value.isValid() ? value.toString() : def;
}

void SaveSetting(const QString& section, const QString& key, const QString& value)
{
    QSettings store = Store();
    store.setValue(Path(section, key), value);
    store.sync();
}

void DeleteSetting(const QString& section)
{
    QSettings store = Store();
    store.remove(QmShared::AppSection + u'/' + section);
    store.sync();
}

} // namespace QmSettings
