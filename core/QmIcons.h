#pragma once

#include <QFile>
#include <QIcon>
#include <QString>

// Quillmont's pictures by image list key ("CUT", "PLAY", "LINK", ...), drawn as SVG in
// icons/ and built into the program. An unknown key gives an empty icon.
inline QIcon QmIcon(const QString& key)
{
    const QString path = QStringLiteral(":/icons/") + key.toLower() + QStringLiteral(".svg");
    return QFile::exists(path) ? QIcon(path) : QIcon();
}
