#include "core/QmSettings.h"

#include "core/QmPaths.h"
#include "core/QmShared.h"

#include <QSettings>

#include <memory>
#include <type_traits>

namespace QmSettings {

namespace {

// The store a batch writes through, while one lives.
struct Batching
{
    int depth = 0;
    std::unique_ptr<QSettings> store;
};

Batching& Open()
{
    static Batching batching;
    return batching;
}

// Runs with the store: the batch's own while one lives, else one read from the file and
// written back at once when changed.
template <class F>
auto WithStore(bool writes, F&& use)
{
    if (Open().store)
        return use(*Open().store);
    QSettings store(StoreFile(), QSettings::IniFormat);
    if constexpr (std::is_void_v<decltype(use(store))>) {
        use(store);
        if (writes)
            store.sync();
    } else {
        auto result = use(store);
        if (writes)
            store.sync();
        return result;
    }
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
    const QVariant value = WithStore(false, [&](QSettings& store) { return store.value(Path(section, key)); });
    return value.isValid() ? value.toString() : def;
}

void SaveSetting(const QString& section, const QString& key, const QString& value)
{
    WithStore(true, [&](QSettings& store) { store.setValue(Path(section, key), value); });
}

void DeleteSetting(const QString& section)
{
    WithStore(true, [&](QSettings& store) { store.remove(QmShared::AppSection + u'/' + section); });
}

Batch::Batch()
{
    if (Open().depth++ == 0)
        Open().store = std::make_unique<QSettings>(StoreFile(), QSettings::IniFormat);
}

Batch::~Batch()
{
    if (--Open().depth == 0) {
        Open().store->sync();
        Open().store.reset();
    }
}

} // namespace QmSettings
