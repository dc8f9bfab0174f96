#include "core/QmXml.h"

#include "core/QmError.h"
#include "core/QmNumbers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cmath>
#include <cstring>

namespace QmXml {

namespace {

[[noreturn]] void Raise(int32_t number, const QString& text)
{
    throw QmError(number, text);
}

class ByteWriter final : public pugi::xml_writer
{
public:
    explicit ByteWriter(QByteArray& bytes)
        : m_bytes(bytes)
    {
    }
    void write(const void* data, size_t size) override { m_bytes.append(static_cast<const char*>(data), static_cast<qsizetype>(size)); }

private:
    QByteArray& m_bytes;
};

} // namespace

bool Parse(pugi::xml_document& document, const QByteArray& text)
{
    document.reset();
    if (text.size() > MaxBytes)
        return false;
    // The default parse keeps no declaration, comment or document type: the root is the
    // first child. Entities other than XML's own five are left as they stand.
    const pugi::xml_parse_result result = document.load_buffer(text.constData(), static_cast<size_t>(text.size()),
                                                                pugi::parse_default, pugi::encoding_auto);
    if (!result) {
        document.reset();
        return false;
    }
    return true;
}

bool Load(pugi::xml_document& document, const QString& path)
{
    document.reset();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaxBytes)
        return false;
    return Parse(document, file.read(MaxBytes + 1));
}

QByteArray Text(const pugi::xml_document& document)
{
    QByteArray bytes;
    ByteWriter writer(bytes);
    document.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration, pugi::encoding_utf8);
    return bytes;
}

void WriteFile(const QString& path, const QByteArray& bytes)
{
    // A file that may not be written keeps its content: the new one would otherwise take
    // its place, as a rename over it is the folder's business. Without any write
    // permission it counts as read-only for every user, the administrator too.
    const QFileInfo info(path);
    constexpr auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    if (info.exists() && (!info.isWritable() || !(info.permissions() & anyWrite)))
        Raise(QmErr::AccessDenied, QStringLiteral("Permission denied"));
    if (!info.absoluteDir().exists())
        Raise(QmErr::PathNotFound, QStringLiteral("Path not found"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        Raise(QmErr::PathFileAccess, QStringLiteral("Path/File access error"));
}

void Save(const pugi::xml_document& document, const QString& path)
{
    WriteFile(path, Text(document));
}

pugi::xml_node Root(const pugi::xml_document& document)
{
    const pugi::xml_node root = document.first_child();
    if (root.type() != pugi::node_element)
        Raise(QmErr::ObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
    return root;
}

pugi::xml_node FirstByTagName(const pugi::xml_document& document, const char* name)
{
    return document.find_node([name](pugi::xml_node node) {
        return node.type() == pugi::node_element && std::strcmp(node.name(), name) == 0;
    });
}

pugi::xml_attribute AttributeAt(pugi::xml_node element, int index)
{
    int at = 0;
    for (pugi::xml_attribute attribute : element.attributes()) {
        if (at++ == index)
            return attribute;
    }
    Raise(QmErr::ObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
}

QString Value(pugi::xml_attribute attribute)
{
    return QString::fromUtf8(attribute.value());
}

int64_t Number(pugi::xml_attribute attribute, int64_t low, int64_t high)
{
    bool ok = false;
    const double value = Value(attribute).trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        Raise(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    const double rounded = QmNumbers::RoundHalfEven(value);
    if (rounded < static_cast<double>(low) || rounded > static_cast<double>(high))
        Raise(QmErr::Overflow, QStringLiteral("Overflow"));
    return static_cast<int64_t>(rounded);
}

void Rename(const QString& from, const QString& to)
{
    if (QFileInfo::exists(to) || QFileInfo(to).isSymLink())
        Raise(QmErr::FileAlreadyExists, QStringLiteral("File already exists"));
    if (!QFileInfo::exists(from))
        Raise(QmErr::FileNotFound, QStringLiteral("File not found"));
    if (!QFileInfo(to).absoluteDir().exists())
        Raise(QmErr::PathNotFound, QStringLiteral("Path not found"));
    if (!QFile::rename(from, to))
        Raise(QmErr::PathFileAccess, QStringLiteral("Path/File access error"));
}

} // namespace QmXml
