#pragma once

#include <QString>

// Quillmont's web pages are told by path; the host is one place.
namespace QmWeb {

inline const QString Host = QStringLiteral("https://quillmont.invalid");

inline QString Address(const QString& path)
{
    return Host + path;
}

} // namespace QmWeb
