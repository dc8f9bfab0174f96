// The media side of the engine: opening files and streams with FFmpeg, their
// particulars against what ffprobe says of the same files, lengths and rates that the
// headers lie about or leave out, and the render check with its result codes, on
// generated media and on broken files.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWStreamInfo.h"
#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/MltRuntime.h"

extern "C" {
#include <libavformat/version.h>
}

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace Code = Tarnwick::ResultCode;

namespace {

QString Fixture(const QString& name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + name;
}

double Rate(const QString& fraction)
{
    const QStringList parts = fraction.split(QLatin1Char('/'));
    if (parts.size() != 2 || parts[1].toDouble() == 0.0)
        return 0.0;
    return parts[0].toDouble() / parts[1].toDouble();
}

// What ffprobe says of the video and audio streams of a file, in file order.
QJsonArray ProbeWithFfprobe(const QString& path, double& formatDuration)
{
    QProcess probe;
    probe.start(QStringLiteral(QM_FFPROBE),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_streams"),
                 QStringLiteral("-show_format"), QStringLiteral("-of"), QStringLiteral("json"), path});
    if (!probe.waitForFinished(30000))
        return {};
    const QJsonObject root = QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
    formatDuration = root.value(QStringLiteral("format")).toObject().value(QStringLiteral("duration")).toString().toDouble();
    QJsonArray usable;
    for (const QJsonValue& value : root.value(QStringLiteral("streams")).toArray()) {
        const QJsonObject stream = value.toObject();
        const QString type = stream.value(QStringLiteral("codec_type")).toString();
        const bool coverArt =
            stream.value(QStringLiteral("disposition")).toObject().value(QStringLiteral("attached_pic")).toInt() == 1;
        if ((type == QLatin1String("video") && !coverArt) || type == QLatin1String("audio"))
            usable.append(stream);
    }
    return usable;
}

bool Passes(int32_t code)
{
    return code == Code::Ok || code == Code::NotFound || code == Code::InvalidArgument;
}

} // namespace

class TestTarnwickMedia : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void streamsMatchFfprobe_data();
    void streamsMatchFfprobe();
    void numbersStreamsAndClosesFiles();
    void lengthsAndRatesComeFromTheStream();
    void goodFilesRender();
    void brokenFilesAreRefused_data();
    void brokenFilesAreRefused();
    void whatTheSystemRefusesIsSaidSo();
    void answersAboutTheSystem();

private:
    std::shared_ptr<ITWObject> m_object;
    ITWCoreRoot* m_root = nullptr;
    ITWMediaFiles* m_files = nullptr;
    ITWStreamInfo* m_info = nullptr;
};

void TestTarnwickMedia::init()
{
    m_object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    m_root = &TWCast<ITWCoreRoot>(m_object.get());
    m_files = &TWCast<ITWMediaFiles>(m_object.get());
    m_info = &TWCast<ITWStreamInfo>(m_object.get());
}

void TestTarnwickMedia::streamsMatchFfprobe_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("still");
    for (const char* name : {"video.avi", "video.asf", "video.wmv", "video.mpg", "twovideo.avi", "audioonly.avi",
                             "audio.aiff", "audio.au", "audio.mp3", "audio.wav", "audio.wma", "empty.wav"})
        QTest::newRow(name) << QString::fromLatin1(name) << false;
    for (const char* name : {"image.bmp", "image.gif", "image.jpg", "image.tga", "still.png", "animated.gif"})
        QTest::newRow(name) << QString::fromLatin1(name) << true;
}

void TestTarnwickMedia::streamsMatchFfprobe()
{
    QFETCH(QString, name);
    QFETCH(bool, still);
    const QString path = Fixture(name);
    double formatDuration = 0.0;
    const QJsonArray expected = ProbeWithFfprobe(path, formatDuration);
    QVERIFY2(!expected.isEmpty(), "ffprobe found no streams");

    const int32_t file = m_root->OpenFile(path);
    QVERIFY(file != 0);
    QString opened;
    QVERIFY(m_root->GetFileName(file, 260, opened));
    QCOMPARE(opened, path);
    m_info->OpenFileInfo(path, 0);
    QCOMPARE(m_info->GetStreamCount(), expected.size());

    for (int i = 0; i < expected.size(); ++i) {
        const QJsonObject want = expected[i].toObject();
        const int32_t stream = m_files->OpenStream(file, static_cast<int16_t>(i));
        QVERIFY(stream != 0);
        QCOMPARE(m_files->GetStreamFile(stream), file);
        QVERIFY(m_files->SelectStream(stream));
        const bool video = want.value(QStringLiteral("codec_type")).toString() == QLatin1String("video");
        QCOMPARE(m_files->IsVideoStream(stream), video);
        QCOMPARE(m_info->IsVideo(), video);
        QCOMPARE(m_info->IsAudio(), !video);

        const QString wantDuration = want.value(QStringLiteral("duration")).toString();
        const double duration = still ? 5.0 : (wantDuration.isEmpty() ? formatDuration : wantDuration.toDouble());
        QVERIFY2(qAbs(m_info->GetDuration() - duration) < 0.05,
                 qPrintable(QStringLiteral("duration %1, ffprobe %2").arg(m_info->GetDuration()).arg(duration)));
        if (video) {
            int32_t height = 0, width = 0;
            m_info->GetVideoSize(height, width);
            QCOMPARE(width, want.value(QStringLiteral("width")).toInt());
            QCOMPARE(height, want.value(QStringLiteral("height")).toInt());
            double rate = Rate(want.value(QStringLiteral("avg_frame_rate")).toString());
            if (rate == 0.0)
                rate = Rate(want.value(QStringLiteral("r_frame_rate")).toString());
            QCOMPARE(m_info->GetFrameRate(), still ? 0.0 : rate);
            QCOMPARE(m_info->GetAudioSampleRate(), 0);
        } else {
            QCOMPARE(m_info->GetAudioSampleRate(), want.value(QStringLiteral("sample_rate")).toString().toInt());
        }
    }
    QCOMPARE(m_files->OpenStream(file, static_cast<int16_t>(expected.size())), 0);
}

void TestTarnwickMedia::numbersStreamsAndClosesFiles()
{
    // Two video streams: handles for 0 and 1, then 0.
    const int32_t file = m_root->OpenFile(Fixture(QStringLiteral("twovideo.avi")));
    QVERIFY(file != 0);
    const int32_t first = m_files->OpenStream(file, 0);
    const int32_t second = m_files->OpenStream(file, 1);
    QVERIFY(first != 0 && second != 0 && first != second && first != file);
    QCOMPARE(m_files->OpenStream(file, 2), 0);
    QCOMPARE(m_files->OpenStream(file, -1), 0);
    QCOMPARE(m_files->OpenStream(file, 0), first); // already open
    QVERIFY(m_files->IsVideoStream(first) && m_files->IsVideoStream(second));
    QVERIFY(m_files->SelectStream(second));
    int32_t height = 0, width = 0;
    m_info->GetVideoSize(height, width);
    QCOMPARE(width, 176);
    QCOMPARE(height, 144);

    // The same file opened twice is two files.
    const int32_t again = m_root->OpenFile(Fixture(QStringLiteral("twovideo.avi")));
    QVERIFY(again != 0 && again != file);

    // The media list closes the file first and its streams after.
    QVERIFY(m_root->CloseFile(file));
    QVERIFY(!m_root->CloseFile(file));
    QCOMPARE(m_files->OpenStream(file, 1), 0); // a closed file hands out no streams
    QString name;
    QVERIFY(m_root->GetFileName(file, 12, name));
    QCOMPARE(name, Fixture(QStringLiteral("twovideo.avi")).left(12));
    QList<int32_t> closed;
    for (int32_t stream = m_root->GetFirstStream(file); stream != 0; stream = m_root->GetFirstStream(file)) {
        QVERIFY(m_files->CloseStream(stream));
        closed.append(stream);
        QVERIFY(closed.size() <= 2);
    }
    QCOMPARE(closed.size(), 2);
    QVERIFY(!m_files->CloseStream(first));
    QVERIFY(!m_root->GetFileName(file, 260, name)); // gone with its last stream
    QCOMPARE(m_files->GetStreamFile(first), 0);
    QVERIFY(!m_files->SelectStream(second));
    QVERIFY(!m_info->IsVideo());
    QCOMPARE(m_info->GetDuration(), 0.0);

    // Closing streams first and the file last works as well.
    const int32_t wav = m_root->OpenFile(Fixture(QStringLiteral("audio.wav")));
    const int32_t sound = m_files->OpenStream(wav, 0);
    QVERIFY(m_files->CloseStream(sound));
    QCOMPARE(m_root->GetFirstStream(wav), 0);
    QVERIFY(m_root->GetFileName(wav, 260, name)); // the file itself is still open
    QVERIFY(m_root->CloseFile(wav));
    QVERIFY(!m_root->GetFileName(wav, 260, name));

    // Files that cannot be read give no handle; neither does a missing one.
    QCOMPARE(m_root->OpenFile(Fixture(QStringLiteral("zero.avi"))), 0);
    QCOMPARE(m_root->OpenFile(Fixture(QStringLiteral("text.avi"))), 0);
    QCOMPARE(m_root->OpenFile(Fixture(QStringLiteral("missing.avi"))), 0);
    QCOMPARE(m_root->OpenFile(QString()), 0);

    // The reader of a file by path: unreadable files have no streams.
    m_info->OpenFileInfo(Fixture(QStringLiteral("video.avi")), 0);
    QCOMPARE(m_info->GetStreamCount(), 2);
    m_info->OpenFileInfo(Fixture(QStringLiteral("missing.avi")), 0);
    QCOMPARE(m_info->GetStreamCount(), 0);
}

void TestTarnwickMedia::lengthsAndRatesComeFromTheStream()
{
    // The length and rate of the first stream of a fixture, as the media list reads
    // them; false when the file does not open.
    auto facts = [this](const char* name, double& seconds, double& rate) {
        const int32_t file = m_root->OpenFile(Fixture(QString::fromLatin1(name)));
        seconds = rate = -1.0;
        if (!file || !m_files->SelectStream(m_files->OpenStream(file, 0)))
            return false;
        seconds = m_info->GetDuration();
        rate = m_info->GetFrameRate();
        return true;
    };
    double seconds = 0.0, rate = 0.0;

    // Headers that claim more time than their files hold: the samples' own times
    // count. 3000 bytes at 1 Hz, not 2^31 - 1 seconds; 2 seconds, not 389,563.
    for (const auto& [name, truth] : {std::pair{"liar.au", 3000.0}, std::pair{"liar.wav", 2.0}}) {
        QCOMPARE(m_root->GetFileError(Fixture(QString::fromLatin1(name))), Code::Ok);
        QVERIFY(facts(name, seconds, rate));
        QVERIFY2(qAbs(seconds - truth) < 0.01, qPrintable(QStringLiteral("%1: %2 s").arg(name).arg(seconds)));
    }
    // A length the file truly has past the engine's milliseconds: refused, not wrapped.
    QCOMPARE(m_root->GetFileError(Fixture(QStringLiteral("toolong.au"))), Code::InvalidFileFormat);
    QCOMPARE(m_root->OpenFile(Fixture(QStringLiteral("toolong.au"))), 0);

    // No length in the headers: found where the stream's frames end (3 s at 25 fps).
    QVERIFY(facts("nolength.mpg", seconds, rate));
    QVERIFY2(qAbs(seconds - 3.0) < 0.05, qPrintable(QString::number(seconds)));
    QCOMPARE(rate, 25.0);

    // No average rate, and FFmpeg's guess is its 1 ms clock: the first frames' times
    // say 25 a second on the whole.
    QVERIFY(facts("unsetrate.asf", seconds, rate));
    QVERIFY2(qAbs(rate - 25.0) < 1.0, qPrintable(QString::number(rate)));
    QVERIFY2(qAbs(seconds - 2.0) < 0.1, qPrintable(QString::number(seconds)));

    // The instant preview plays the same lengths (into no sound device).
    qputenv("SDL_AUDIODRIVER", "dummy");
    auto& preview = TWCast<ITWFilePreview>(m_object.get());
    for (const auto& [name, ms] : {std::pair{"liar.au", 3000000}, std::pair{"liar.wav", 2000},
                                   std::pair{"nolength.mpg", 3000}}) {
        QVERIFY2(preview.OpenFile(Fixture(QString::fromLatin1(name))), name);
        QVERIFY2(qAbs(preview.GetDuration() - ms) <= 40,
                 qPrintable(QStringLiteral("%1: %2 ms").arg(name).arg(preview.GetDuration())));
    }
    QVERIFY(!preview.OpenFile(Fixture(QStringLiteral("toolong.au"))));
    QCOMPARE(preview.GetDuration(), 0);
    preview.Close();
}

void TestTarnwickMedia::goodFilesRender()
{
    const QDir dir(QStringLiteral(QM_FIXTURE_DIR));
    const QStringList good = {"video.avi",     "video.asf",  "video.wmv", "video.mpg",    "twovideo.avi",
                              "audioonly.avi", "audio.aiff", "audio.au",  "audio.mp3",    "audio.wav",
                              "audio.wma",     "empty.wav",  "image.bmp", "image.gif",    "image.jpg",
                              "image.tga",     "still.png",  "liar.au",   "nolength.mpg", "unsetrate.asf"};
    for (const QString& name : good)
        QVERIFY2(m_root->GetFileError(dir.filePath(name)) == Code::Ok, qPrintable(name));

    // A good file under a name of no known type is judged by its content.
    QTemporaryDir temp;
    const QString renamed = temp.filePath(QStringLiteral("holiday.xyz"));
    QVERIFY(QFile::copy(dir.filePath(QStringLiteral("video.wmv")), renamed));
    QCOMPARE(m_root->GetFileError(renamed), Code::Ok);
    QVERIFY(m_root->OpenFile(renamed) != 0);

    // Paths the program lets pass: a missing file, and no path at all.
    QCOMPARE(m_root->GetFileError(dir.filePath(QStringLiteral("missing.avi"))), Code::NotFound);
    QCOMPARE(m_root->GetFileError(QString()), Code::InvalidArgument);
    QVERIFY(m_root->FileExists(dir.filePath(QStringLiteral("video.avi"))));
    QVERIFY(!m_root->FileExists(dir.filePath(QStringLiteral("missing.avi"))));
}

void TestTarnwickMedia::brokenFilesAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int32_t>("code");
    // Nothing of a media type in the content, whatever the name says (the media list's
    // test goes through every name). TGA has no signature: its name counts only for a
    // picture that decodes.
    QTest::newRow("zero bytes named .avi") << QStringLiteral("zero.avi") << Code::UnknownFileType;
    QTest::newRow("text named .tga") << QStringLiteral("text.tga") << Code::UnknownFileType;
    QTest::newRow("text of no known type") << QStringLiteral("notes.qxz") << Code::UnknownFileType;
    QTest::newRow("noise named .wmv") << QStringLiteral("noise.wmv") << Code::UnknownFileType;
    // Known by content, their headers cut short. FFmpeg says "invalid data" of the AVI,
    // an I/O error of the AIFF and "operation not permitted" of the WMA: the files read
    // well all the same, and their headers are what is broken.
    QTest::newRow("truncated AVI") << QStringLiteral("truncated.avi") << Code::InvalidFileFormat;
    QTest::newRow("truncated AIFF") << QStringLiteral("truncated.aiff") << Code::InvalidFileFormat;
    QTest::newRow("truncated WMA") << QStringLiteral("truncated.wma") << Code::InvalidFileFormat;
    QTest::newRow("MIDI without a synthesizer") << QStringLiteral("sound.mid") << Code::UnsupportedStream;
    // Files that decode in part are refused all the same.
    QTest::newRow("video undecodable") << QStringLiteral("badvideo.avi") << Code::VideoNotRendered;
    QTest::newRow("sound undecodable") << QStringLiteral("badaudio.avi") << Code::AudioNotRendered;
    QTest::newRow("one of two videos undecodable") << QStringLiteral("onebadvideo.avi") << Code::PartialSuccess;
}

void TestTarnwickMedia::brokenFilesAreRefused()
{
    QFETCH(QString, name);
    QFETCH(int32_t, code);
    const int32_t answer = m_root->GetFileError(Fixture(name));
    QVERIFY(!Passes(answer));
    QCOMPARE(QString::number(uint32_t(answer), 16), QString::number(uint32_t(code), 16));
}

void TestTarnwickMedia::whatTheSystemRefusesIsSaidSo()
{
    const QString refused = QString::number(uint32_t(Code::CannotLoadSourceFilter), 16);
    auto answer = [this](const QString& path) { return QString::number(uint32_t(m_root->GetFileError(path)), 16); };
    QTemporaryDir temp;

    // A folder, and a pipe, which FFmpeg would wait on for ever.
    QCOMPARE(answer(temp.path()), refused);
    const QString pipe = temp.filePath(QStringLiteral("movie.avi"));
    QVERIFY(mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0);
    QCOMPARE(answer(pipe), refused);
    QCOMPARE(m_root->OpenFile(pipe), 0);

    // A good file this user may not read. (The superuser reads everything.)
    const QString locked = temp.filePath(QStringLiteral("locked.wav"));
    QVERIFY(QFile::copy(Fixture(QStringLiteral("audio.wav")), locked));
    QVERIFY(QFile::setPermissions(locked, QFileDevice::WriteOwner));
    QCOMPARE(answer(locked), geteuid() == 0 ? QStringLiteral("0") : refused);
}

void TestTarnwickMedia::answersAboutTheSystem()
{
    QVERIFY(m_root->CheckDirectShowVersion());
    QVERIFY(Tarnwick::MltRuntime::Start());

    int32_t load = -1, total = 0, free = -1, swap = -1;
    m_root->GetMemoryStatus(load, total, free, swap);
    QVERIFY(total > 0);
    QVERIFY(free >= 0 && free <= total);
    QVERIFY(load >= 0 && load <= 100);
    QVERIFY(swap >= 0);

    // QtCore is loaded in this process; an unknown component reads as zeros.
    int32_t major = 0, minor = 0, build = 0, revision = 0;
    m_root->GetFileVersionInfo(QStringLiteral("libQt6Core"), major, minor, build, revision);
    QCOMPARE(major, QT_VERSION_MAJOR);
    QCOMPARE(minor, QT_VERSION_MINOR);
    // The report's three component names answer with Qt's, MLT's and FFmpeg's versions.
    m_root->GetFileVersionInfo(QStringLiteral("mscomctl.ocx"), major, minor, build, revision);
    QCOMPARE(major, 0); // Qt Widgets is not loaded by this test
    m_root->GetFileVersionInfo(QStringLiteral("comdlg32.ocx"), major, minor, build, revision);
    QCOMPARE(major, 7);
    QVERIFY(minor > 0);
    m_root->GetFileVersionInfo(QStringLiteral("msxml.dll"), major, minor, build, revision);
    QCOMPARE(major, LIBAVFORMAT_VERSION_MAJOR);
    QCOMPARE(minor, LIBAVFORMAT_VERSION_MINOR);
    m_root->GetFileVersionInfo(QStringLiteral("nothing-like-this.dll"), major, minor, build, revision);
    QCOMPARE(major + minor + build + revision, 0);

    QVERIFY(m_root->GetSystemVersion(10).size() <= 10);
    QCOMPARE(m_root->GetSystemVersion(2).size(), qMin<qsizetype>(2, QLocale::system().name().size()));
    const QString folder = m_root->GetWorkingFolder(500);
    QVERIFY(QFileInfo(folder).isDir());
    QVERIFY(!m_root->ReleaseStillSource(12345));
}

QTEST_GUILESS_MAIN(TestTarnwickMedia)
#include "test_TarnwickMedia.moc"
