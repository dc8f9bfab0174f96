#pragma once

#include <QFile>
#include <QHash>
#include <QIcon>
#include <QString>

// Quillmont's pictures by image list key ("CUT", "PLAY", "LINK", ...), drawn as SVG in
// icons/ and built into the program. An unknown key gives an empty icon. Each key's
// icon is made once and shared, so that a list of thousands of rows draws its pictures
// from one rendering.
inline QIcon QmIcon(const QString& key)
{
    static QHash<QString, QIcon> icons;
    auto it = icons.find(key);
    if (it == icons.end()) {
        const QString path = QStringLiteral(":/icons/") + key.toLower() + QStringLiteral(".svg");
        it = icons.insert(key, QFile::exists(path) ? QIcon(path) : QIcon());
    }
    return *it;
}
