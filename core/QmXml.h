#pragma once

#include <QByteArray>
#include <QString>

#include <pugixml.hpp>

#include <cstdint>

// Quillmont's XML files (projects and recovery copies). They are read with pugixml,
// which never loads a DTD or an external entity, and a file larger than MaxBytes is not
// read at all. They are written whole to a new file in the same folder, which then takes
// the old one's place (QSaveFile), so a crash never leaves half a file.
namespace QmXml {

// Far beyond any project: 1,000 items a track make about a megabyte.
constexpr qint64 MaxBytes = qint64{64} << 20;

// The document at path; false, the document empty, when the file cannot be read, is
// larger than MaxBytes or is not well-formed XML.
bool Load(pugi::xml_document& document, const QString& path);
bool Parse(pugi::xml_document& document, const QByteArray& text);

// The document as text: its root first, no declaration before it.
QByteArray Text(const pugi::xml_document& document);
// Writes the document to path. Error 0x80070005 when the file is there and read-only,
// 76 when the folder is missing, 75 when the file cannot be written.
void Save(const pugi::xml_document& document, const QString& path);
// The same for text made already.
void WriteFile(const QString& path, const QByteArray& bytes);

// The document's first child, its root element; error 91 when it has none.
pugi::xml_node Root(const pugi::xml_document& document);
// The first element of that name anywhere in the document, in document order; null when
// there is none.
pugi::xml_node FirstByTagName(const pugi::xml_document& document, const char* name);
// Attribute number index of an element, in document order; error 91 when it has fewer.
pugi::xml_attribute AttributeAt(pugi::xml_node element, int index);
QString Value(pugi::xml_attribute attribute);
// An attribute's text as a whole number within low..high; error 13 when it is not a
// number, 6 when it is out of range. Decimals are rounded half to even first, as a
// number read through text is.
int64_t Number(pugi::xml_attribute attribute, int64_t low, int64_t high);

// A plain rename, as the project's names are moved: error 58 when a file of the new
// name is there, 53 when the old one is missing, 76 when the new name's folder is
// missing, 75 when the rename fails otherwise.
void Rename(const QString& from, const QString& to);

} // namespace QmXml
