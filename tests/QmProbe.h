#pragma once

// Movies read back as other programs see them: ffprobe's account of a file, a picture
// of it decoded by ffmpeg, and whether ffmpeg plays it through without a word. The
// tests that use it define QM_FFPROBE and QM_FFMPEG.
#include <QImage>
#include <QList>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <algorithm>

namespace QmProbe {

inline QByteArray Run(const QString& program, const QStringList& arguments, int* exitCode = nullptr, QByteArray* errors = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(60000);
    if (exitCode)
        *exitCode = process.exitCode();
    if (errors)
        *errors = process.readAllStandardError();
    return process.readAllStandardOutput();
}

// What ffprobe says of a file: its format and streams, packets counted.
struct Probe
{
    explicit Probe(const QString& path)
    {
        const QByteArray json = Run(QStringLiteral(QM_FFPROBE),
                                    {"-v", "error", "-print_format", "json", "-count_packets", "-show_format", "-show_streams", path});
        const QJsonObject root = QJsonDocument::fromJson(json).object();
        format = root.value("format").toObject();
        for (const QJsonValue& s : root.value("streams").toArray())
            (s.toObject().value("codec_type").toString() == u"video" ? video : audio) = s.toObject();
    }
    // The longest stream's: ASF's reader counts the pictures from a little after 0.
    double Duration() const
    {
        return std::max(video.value("duration").toString().toDouble(), audio.value("duration").toString().toDouble());
    }
    int Frames() const { return video.value("nb_read_packets").toString().toInt(); }
    QString Tag(const char* key) const { return format.value("tags").toObject().value(QLatin1String(key)).toString(); }
    QJsonObject format, video, audio;
};

// The picture of a file at a time, as ffmpeg decodes it.
inline QImage Decoded(const QString& path, double seconds, QSize size)
{
    const QByteArray rgb = Run(QStringLiteral(QM_FFMPEG), {"-v", "error", "-ss", QString::number(seconds), "-i", path, "-frames:v", "1",
                                                             "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    if (rgb.size() != size.width() * size.height() * 3)
        return {};
    return QImage(reinterpret_cast<const uchar*>(rgb.constData()), size.width(), size.height(), size.width() * 3,
                  QImage::Format_RGB888)
        .copy();
}

// Every picture of a file, as ffmpeg decodes them.
inline QList<QImage> DecodedFrames(const QString& path, QSize size)
{
    const QByteArray rgb = Run(QStringLiteral(QM_FFMPEG), {"-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    const qsizetype frame = qsizetype{size.width()} * size.height() * 3;
    QList<QImage> frames;
    for (qsizetype at = 0; at + frame <= rgb.size(); at += frame)
        frames << QImage(reinterpret_cast<const uchar*>(rgb.constData() + at), size.width(), size.height(), size.width() * 3,
                         QImage::Format_RGB888)
                      .copy();
    return frames;
}

// Whether ffmpeg decodes the whole file without a word.
inline bool Plays(const QString& path, QByteArray* errors)
{
    int code = -1;
    Run(QStringLiteral(QM_FFMPEG), {"-v", "error", "-i", path, "-f", "null", "-"}, &code, errors);
    return code == 0 && errors->trimmed().isEmpty();
}

} // namespace QmProbe
