#pragma once

#include <QString>
#include <QStringList>

// A render without a window: quillmont --render PROJECT.qpj OUTPUT.avi (or .wmv with
// --profile NAME) renders a saved project with the save options kept in the settings,
// says how far it has come on standard error, and ends 0 when the movie is as asked,
// 1 when the save failed or the movie read back differs, 2 when it could not start
// (bad arguments, a missing or damaged project, a missing media file), 130 when it was
// interrupted (the movie is finished where it stopped).
namespace RenderCommand {

bool Asked(const QStringList& arguments);
int Run(const QStringList& arguments, const QString& engineClass = QStringLiteral("TWCore.TarnwickTimeline"));

} // namespace RenderCommand
