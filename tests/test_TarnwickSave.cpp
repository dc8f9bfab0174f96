// The engine's save: movies written through ITWSave and read back with ffprobe and
// ffmpeg (streams, compressors, size, length, frames, key frames, descriptive fields),
// their pictures against the engine's own frames at the same time, every compressor
// listed, the range, the tracks and effects left out, the Windows Media profiles, a
// stop half way, and the profiles of ITWProfiles with a custom one from a file.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWProfiles.h"
#include "engine/ITWSave.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/MovieFile.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "QmProbe.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using QmProbe::Decoded;
using QmProbe::Plays;
using QmProbe::Probe;
using QmProbe::Run;

namespace {

QString Fixture(const char* name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name);
}

bool Near(QRgb a, QRgb b, int tolerance = 40)
{
    return std::abs(qRed(a) - qRed(b)) <= tolerance && std::abs(qGreen(a) - qGreen(b)) <= tolerance
           && std::abs(qBlue(a) - qBlue(b)) <= tolerance;
}

QString Rgb(QRgb pixel)
{
    return QStringLiteral("(%1,%2,%3)").arg(qRed(pixel)).arg(qGreen(pixel)).arg(qBlue(pixel));
}

} // namespace

class TestTarnwickSave : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void aviHoldsTheRangeAtTheRateAndSizeAsked();
    void picturesAreTheGraphsFrameForFrame();
    void everyListedCompressorMakesAPlayableFile();
    void ratesAndQualityReachTheCompressor();
    void tracksAndEffectsLeftOut();
    void windowsMediaFollowsItsProfile();
    void descriptiveFieldsAreReadBack();
    void stopKeepsAPlayableStart();
    void readBackTellsWhatDiffers();
    void profilesSystemAndCustom();

private:
    int32_t Stream(const char* name);
    // Saves the whole timeline to name as AVI with the compressors given.
    QString SaveAvi(const char* name, const QString& video = QStringLiteral("MPEG-4 Part 2 (mpeg4)"),
                    const QString& audio = QStringLiteral("Uncompressed"));
    void AddAll();

    QTemporaryDir m_folder;
    std::shared_ptr<ITWObject> m_object;
    TarnwickTimeline* m_engine = nullptr;
    ITWTimeline* m_tl = nullptr;
    ITWSave* m_save = nullptr;
    int32_t m_video = 0, m_overlay = 0, m_audio1 = 0, m_audio2 = 0;
};

void TestTarnwickSave::initTestCase()
{
    // QM_KEEP_MOVIES=1 leaves the movies in place, to look at.
    m_folder.setAutoRemove(!qEnvironmentVariableIsSet("QM_KEEP_MOVIES"));
    if (!m_folder.autoRemove())
        qInfo("movies stay in %s", qPrintable(m_folder.path()));
    // Custom profiles are read from the user's data folder: one of the test's own.
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
}

void TestTarnwickSave::init()
{
    m_object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    m_engine = dynamic_cast<TarnwickTimeline*>(m_object.get());
    m_tl = &TWCast<ITWTimeline>(m_object.get());
    m_save = &TWCast<ITWSave>(m_object.get());
    m_video = m_tl->CreateTrack(true);
    m_overlay = m_tl->CreateTrack(true);
    m_audio1 = m_tl->CreateTrack(false);
    m_audio2 = m_tl->CreateTrack(false);
}

void TestTarnwickSave::cleanup()
{
    m_object.reset();
}

int32_t TestTarnwickSave::Stream(const char* name)
{
    const int32_t file = TWCast<ITWCoreRoot>(m_object.get()).OpenFile(Fixture(name));
    return TWCast<ITWMediaFiles>(m_object.get()).OpenStream(file, 0);
}

void TestTarnwickSave::AddAll()
{
    for (int32_t track : {m_video, m_overlay, m_audio1, m_audio2})
        m_save->AddSaveTrack(track);
}

QString TestTarnwickSave::SaveAvi(const char* name, const QString& video, const QString& audio)
{
    const QString path = m_folder.filePath(QLatin1String(name));
    m_save->SetVideoCompressor(video);
    m_save->SetAudioCompressor(audio);
    AddAll();
    if (!m_save->PrepareAviFile(path))
        return QString();
    m_save->RunSaveToEnd();
    const bool complete = m_save->GetSaveState() == ITWSave::Complete;
    m_save->CloseSave();
    return complete ? path : QString();
}

void TestTarnwickSave::aviHoldsTheRangeAtTheRateAndSizeAsked()
{
    // Red for a second, then green; a tone beneath.
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetFrameRate(15);
    m_save->SetVideoSize(240, 180);
    m_save->SetQuality(90);
    const QString whole = SaveAvi("whole.avi");
    QVERIFY(!whole.isEmpty());
    QCOMPARE(m_save->GetSaveProblem(500), QString());
    Probe probe(whole);
    QCOMPARE(probe.format.value("format_name").toString(), QStringLiteral("avi"));
    QCOMPARE(probe.video.value("codec_name").toString(), QStringLiteral("mpeg4"));
    QCOMPARE(probe.video.value("width").toInt(), 240);
    QCOMPARE(probe.video.value("height").toInt(), 180);
    QCOMPARE(probe.video.value("r_frame_rate").toString(), QStringLiteral("15/1"));
    QCOMPARE(probe.Frames(), 30);
    QCOMPARE(probe.audio.value("codec_name").toString(), QStringLiteral("pcm_s16le"));
    QCOMPARE(probe.audio.value("sample_rate").toString(), QStringLiteral("48000"));
    QVERIFY2(std::fabs(probe.Duration() - 2.0) <= 1.0 / 15, qPrintable(QString::number(probe.Duration())));

    // The stretch from 0.5 s to 1.7 s: 1.2 s, and its pictures are the engine's own at
    // the same moments of the timeline.
    m_save->SetSaveWholeTimeline(false);
    m_save->SetSaveRange(500, 1700);
    const QString range = SaveAvi("range.avi");
    QVERIFY(!range.isEmpty());
    Probe part(range);
    QCOMPARE(part.Frames(), 18);
    QVERIFY2(std::fabs(part.Duration() - 1.2) <= 1.0 / 15, qPrintable(QString::number(part.Duration())));
    m_tl->SetFrameSize(240, 180);
    for (double at : {0.2, 0.4, 0.8}) { // timeline 700, 900 and 1300 ms: red, red, green
        const QImage saved = Decoded(range, at, {240, 180});
        const QImage shown = m_engine->RenderFrame(500 + static_cast<int32_t>(at * 1000));
        QVERIFY(!saved.isNull());
        for (QPoint p : {QPoint(10, 10), QPoint(120, 90), QPoint(230, 170)})
            QVERIFY2(Near(saved.pixel(p), shown.pixel(p), 30),
                     qPrintable(QStringLiteral("%1 s: %2 against %3").arg(at).arg(Rgb(saved.pixel(p)), Rgb(shown.pixel(p)))));
    }
    QVERIFY(Near(Decoded(range, 0.2, {240, 180}).pixel(120, 90), qRgb(255, 0, 0)));
    QVERIFY(Near(Decoded(range, 0.8, {240, 180}).pixel(120, 90), qRgb(0, 128, 0), 50));

    // A range past the end of the timeline is black and silent there, and as long.
    m_save->SetSaveRange(1500, 3000);
    const QString past = SaveAvi("past.avi");
    QVERIFY(!past.isEmpty());
    QVERIFY(std::fabs(Probe(past).Duration() - 1.5) <= 1.0 / 15);
    QVERIFY(qGray(Decoded(past, 1.2, {240, 180}).pixel(120, 90)) < 30);
    // An empty range is refused, and leaves no file.
    m_save->SetSaveRange(1000, 1000);
    QVERIFY(SaveAvi("empty.avi").isEmpty());
    QVERIFY(!QFile::exists(m_folder.filePath(QStringLiteral("empty.avi"))));
}

void TestTarnwickSave::picturesAreTheGraphsFrameForFrame()
{
    // A file at 15 frames a second, each frame a colour of its own, in a graph of 25:
    // every picture saved is the one the preview shows at that moment, from the start
    // and from a range that begins between two of the file's frames.
    QVERIFY(m_tl->AppendSource(m_video, Stream("frames15.avi"), 0));
    m_tl->SetFrameSize(160, 120);
    m_save->SetFrameRate(25);
    m_save->SetVideoSize(160, 120);
    m_save->SetQuality(100);
    for (const auto& [start, stop] : {std::pair{0, 2000}, std::pair{1030, 1760}}) {
        m_save->SetSaveWholeTimeline(start == 0);
        m_save->SetSaveRange(start, stop);
        const QString path = SaveAvi("frames.avi", QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
        QVERIFY(!path.isEmpty());
        const QList<QImage> saved = QmProbe::DecodedFrames(path, {160, 120});
        QCOMPARE(saved.size(), (stop - start) / 40);
        for (int i = 0; i < saved.size(); ++i) {
            const QRgb shown = m_engine->RenderFrame(start + i * 40).pixel(80, 60);
            QVERIFY2(Near(saved[i].pixel(80, 60), shown, 12),
                     qPrintable(QStringLiteral("from %1 ms, frame %2: %3 against %4")
                                    .arg(start).arg(i).arg(Rgb(saved[i].pixel(80, 60)), Rgb(shown))));
        }
    }
    // An MPEG whose header gives no length: all of it, as the preview shows it.
    QVERIFY(m_tl->RemoveSource(m_video, 0));
    QVERIFY(m_tl->AppendSource(m_video, Stream("nolength.mpg"), 0));
    m_tl->SetFrameSize(320, 240);
    m_save->SetVideoSize(320, 240);
    m_save->SetSaveWholeTimeline(true);
    const QString path = SaveAvi("nolength.avi", QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QVERIFY(!path.isEmpty());
    QCOMPARE(m_save->GetSaveProblem(500), QString());
    const QList<QImage> saved = QmProbe::DecodedFrames(path, {320, 240});
    QCOMPARE(saved.size(), 75);
    for (int i : {0, 1, 30, 74}) {
        const QImage shown = m_engine->RenderFrame(i * 40);
        // In a bar, and on the colour band that moves a little every frame.
        for (QPoint at : {QPoint(100, 60), QPoint(100, 195), QPoint(220, 195)})
            QVERIFY2(Near(saved[i].pixel(at), shown.pixel(at), 30),
                     qPrintable(QStringLiteral("frame %1: %2 against %3").arg(i).arg(Rgb(saved[i].pixel(at)), Rgb(shown.pixel(at)))));
    }
}

void TestTarnwickSave::everyListedCompressorMakesAPlayableFile()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetSaveWholeTimeline(false);
    m_save->SetSaveRange(0, 1000);
    QVERIFY(m_save->OpenVideoCompressorList());
    QStringList video;
    for (int16_t i = 0; !m_save->GetVideoCompressorName(i, 128).isEmpty(); ++i)
        video << m_save->GetVideoCompressorName(i, 128);
    m_save->CloseVideoCompressorList();
    QVERIFY(m_save->OpenAudioCompressorList());
    QStringList audio;
    for (int16_t i = 0; !m_save->GetAudioCompressorName(i, 128).isEmpty(); ++i)
        audio << m_save->GetAudioCompressorName(i, 128);
    m_save->CloseAudioCompressorList();
    for (const char* name : {"mpeg4", "msmpeg4v2", "msmpeg4v3", "msvideo1", "cinepak", "mjpeg", "huffyuv", "ffv1", "dvvideo"})
        QVERIFY2(video.filter(QStringLiteral("(%1)").arg(QLatin1String(name))).size() == 1, name);
    for (const char* name : {"pcm_s16le", "adpcm_ms", "adpcm_ima_wav", "pcm_alaw", "pcm_mulaw"})
        QVERIFY2(audio.filter(QStringLiteral("(%1)").arg(QLatin1String(name))).size() == 1, name);
    video << QStringLiteral("Uncompressed");
    audio << QStringLiteral("Uncompressed");

    int file = 0;
    for (const QString& compressor : video) {
        // DV is made at its television size and rate only; other sizes it refuses.
        const bool dv = compressor.contains(u"dvvideo");
        m_save->SetFrameRate(dv ? 25 : 15);
        m_save->SetVideoSize(dv ? 720 : 320, dv ? 576 : 240);
        const QString path = SaveAvi(qPrintable(QStringLiteral("video%1.avi").arg(++file)), compressor);
        QVERIFY2(!path.isEmpty(), qPrintable(compressor));
        QVERIFY2(m_save->GetSaveProblem(500).isEmpty(), qPrintable(compressor + u' ' + m_save->GetSaveProblem(500)));
        QByteArray errors;
        QVERIFY2(Plays(path, &errors), qPrintable(compressor + u' ' + QString::fromUtf8(errors)));
        QCOMPARE(Probe(path).Frames(), dv ? 25 : 15);
        if (dv) {
            m_save->SetVideoSize(320, 240);
            QVERIFY2(SaveAvi("refused.avi", compressor).isEmpty(), "DV at 320 x 240");
            QVERIFY(!QFile::exists(m_folder.filePath(QStringLiteral("refused.avi"))));
        }
    }
    m_save->SetFrameRate(15);
    m_save->SetVideoSize(320, 240);
    for (const QString& compressor : audio) {
        const QString path = SaveAvi(qPrintable(QStringLiteral("audio%1.avi").arg(++file)), QStringLiteral("MPEG-4 Part 2 (mpeg4)"), compressor);
        QVERIFY2(!path.isEmpty(), qPrintable(compressor));
        QVERIFY2(m_save->GetSaveProblem(500).isEmpty(), qPrintable(compressor + u' ' + m_save->GetSaveProblem(500)));
        QByteArray errors;
        QVERIFY2(Plays(path, &errors), qPrintable(compressor + u' ' + QString::fromUtf8(errors)));
    }
    // A name the engine does not know is refused.
    QVERIFY(SaveAvi("unknown.avi", QStringLiteral("No such compressor")).isEmpty());
}

void TestTarnwickSave::ratesAndQualityReachTheCompressor()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("video.avi"), 0));
    m_save->SetFrameRate(15);
    m_save->SetVideoCompressor(QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    const int32_t mpeg4 = m_save->GetVideoCompressorIndex();
    QVERIFY(mpeg4 >= 0);
    QVERIFY(m_save->CanSetKeyFrameRate(mpeg4) && m_save->CanSetPFrameFrequency(mpeg4) && m_save->CanSetQuality(mpeg4));
    m_save->SetVideoCompressor(QStringLiteral("Uncompressed"));
    const int32_t raw = m_save->GetVideoCompressorIndex();
    QVERIFY(raw > mpeg4);
    QVERIFY(!m_save->CanSetKeyFrameRate(raw) && !m_save->CanSetPFrameFrequency(raw) && !m_save->CanSetQuality(raw));
    m_save->SetVideoCompressor(QStringLiteral("Motion JPEG (mjpeg)"));
    const int32_t mjpeg = m_save->GetVideoCompressorIndex();
    QVERIFY(!m_save->CanSetKeyFrameRate(mjpeg) && m_save->CanSetQuality(mjpeg));
    m_save->SetVideoCompressor(QStringLiteral("No such compressor"));
    QCOMPARE(m_save->GetVideoCompressorIndex(), -1);

    // A key frame every 5 frames of 30; then 2 predicted frames between key frames of 15,
    // the rest bidirectional.
    auto pictureTypes = [](const QString& path) {
        return QString::fromLatin1(Run(QStringLiteral(QM_FFPROBE), {"-v", "error", "-select_streams", "v", "-show_entries",
                                                                    "frame=pict_type", "-of", "csv=p=0", path}))
            .split(u'\n', Qt::SkipEmptyParts);
    };
    m_save->SetKeyFrameRate(5);
    const QString keyed = SaveAvi("keyed.avi");
    QCOMPARE(pictureTypes(keyed).count(QStringLiteral("I")), 6);
    QCOMPARE(m_save->GetKeyFrameRate(), int16_t{5});
    m_save->SetKeyFrameRate(15);
    m_save->SetPFrameFrequency(2);
    // (The compressor makes its very last picture a key frame.)
    const QStringList types = pictureTypes(SaveAvi("predicted.avi"));
    QCOMPARE(types.size(), 30);
    QVERIFY2(types[0] == u"I" && types[15] == u"I" && types.mid(1, 14).count(QStringLiteral("P")) == 2,
             qPrintable(types.join(u',')));
    QVERIFY2(types.count(QStringLiteral("B")) > 10, qPrintable(types.join(u',')));
    m_save->SetPFrameFrequency(-1);

    // Quality makes the file larger or smaller; -1 is the compressor's own.
    auto bitRate = [](const QString& path) { return Probe(path).video.value("bit_rate").toString().toLongLong(); };
    m_save->SetQuality(10);
    const qint64 small = bitRate(SaveAvi("q10.avi"));
    m_save->SetQuality(95);
    const qint64 large = bitRate(SaveAvi("q95.avi"));
    QVERIFY2(large > 3 * small, qPrintable(QStringLiteral("%1 against %2").arg(large).arg(small)));
    QCOMPARE(m_save->GetQuality(), int16_t{95});
    m_save->SetQuality(-1);
    QCOMPARE(m_save->GetQuality(), int16_t{-1});
    // The size of a save is the timeline's until one is set.
    m_save->ResetSave();
    QCOMPARE(m_save->GetFrameRate(), int16_t{-1});
    m_tl->SetFrameSize(400, 300);
    QCOMPARE(m_save->GetVideoWidth(), int16_t{400});
    QCOMPARE(m_save->GetVideoHeight(), int16_t{300});
    m_save->SetVideoSize(160, 120);
    QCOMPARE(m_save->GetVideoWidth(), int16_t{160});
}

void TestTarnwickSave::tracksAndEffectsLeftOut()
{
    // Blue under a keyed overlay with a red box, faded in; a tone on each sound track.
    QVERIFY(m_tl->AppendSource(m_video, Stream("blue.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("greenkey.avi"), 0));
    QVERIFY(m_tl->AddTransitionAt(m_overlay, QStringLiteral("DxtKey"), 0, 3000));
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 0));
    QVERIFY(key.SetKeyColor(m_overlay, 0, 0, 255, 0));
    QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Fade"), 0, 2000));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetFrameRate(25);
    m_save->SetSaveWholeTimeline(false);
    m_save->SetSaveRange(0, 1200);
    const QSize size(320, 240);

    const QString all = SaveAvi("all.avi");
    QVERIFY(!all.isEmpty());
    QVERIFY(qGray(Decoded(all, 0.04, size).pixel(20, 20)) < 30);             // faded
    QVERIFY(Near(Decoded(all, 1.0, size).pixel(160, 120), qRgb(255, 0, 0))); // the overlay's box
    QVERIFY(Near(Decoded(all, 1.0, size).pixel(20, 20), qRgb(0, 0, 255), 60));
    QVERIFY(!Probe(all).audio.isEmpty());

    // Effects off: blue from the first frame.
    m_save->SetSaveEffects(false);
    const QString plain = SaveAvi("plain.avi");
    QVERIFY(Near(Decoded(plain, 0.04, size).pixel(20, 20), qRgb(0, 0, 255), 60));
    m_save->SetSaveEffects(true);

    // A disabled track takes no part, though it is added; a track not added neither.
    m_tl->SetTrackDisabled(m_overlay, true);
    const QString disabled = SaveAvi("disabled.avi");
    QVERIFY(Near(Decoded(disabled, 1.0, size).pixel(160, 120), qRgb(0, 0, 255), 60));
    m_tl->SetTrackDisabled(m_overlay, false);
    const QString path = m_folder.filePath(QStringLiteral("pictures.avi"));
    m_save->AddSaveTrack(m_video);
    QVERIFY(m_save->PrepareAviFile(path));
    m_save->RunSaveToEnd();
    m_save->CloseSave();
    const Probe pictures(path);
    QVERIFY(pictures.audio.isEmpty());
    QVERIFY(Near(Decoded(path, 1.0, size).pixel(160, 120), qRgb(0, 0, 255), 60));
    // Nothing added: nothing to save. And a source's own file is never written over.
    QVERIFY(!m_save->PrepareAviFile(m_folder.filePath(QStringLiteral("none.avi"))));
    m_save->AddSaveTrack(m_video);
    QVERIFY(!m_save->PrepareAviFile(Fixture("blue.avi")));
    m_save->CloseSave();
    QVERIFY(Probe(Fixture("blue.avi")).Frames() == 100);
}

void TestTarnwickSave::windowsMediaFollowsItsProfile()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetVideoProfile(QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"));
    m_save->SetAudioProfile(QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    QCOMPARE(m_save->GetVideoProfile(260), QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"));
    const QString movie = m_folder.filePath(QStringLiteral("movie.wmv"));
    AddAll();
    QVERIFY(m_save->PrepareWindowsMediaFile(movie));
    m_save->RunSaveToEnd();
    QCOMPARE(m_save->GetSaveState(), int32_t{ITWSave::Complete});
    m_save->CloseSave();
    QCOMPARE(m_save->GetSaveProblem(500), QString());
    Probe wmv(movie);
    QCOMPARE(wmv.format.value("format_name").toString(), QStringLiteral("asf"));
    QCOMPARE(wmv.video.value("codec_name").toString(), QStringLiteral("wmv2"));
    QCOMPARE(wmv.video.value("width").toInt(), 320);
    QCOMPARE(wmv.Frames(), 30); // 2 s at the profile's 15 frames a second
    QCOMPARE(wmv.audio.value("codec_name").toString(), QStringLiteral("wmav2"));
    QCOMPARE(wmv.audio.value("sample_rate").toString(), QStringLiteral("22050"));
    QCOMPARE(wmv.audio.value("channels").toInt(), 2);
    QVERIFY(std::fabs(wmv.Duration() - 2.0) <= 1.0 / 15);
    QByteArray errors;
    QVERIFY2(Plays(movie, &errors), errors.constData());

    // The size given for Windows Media wins over the profile's.
    m_save->SetWindowsMediaVideoSize(160, 120);
    AddAll();
    QVERIFY(m_save->PrepareWindowsMediaFile(movie));
    m_save->RunSaveToEnd();
    m_save->CloseSave();
    QCOMPARE(Probe(movie).video.value("width").toInt(), 160);

    // Sound alone follows the audio profile: a WMA file.
    const QString sound = m_folder.filePath(QStringLiteral("sound.wma"));
    m_save->AddSaveTrack(m_audio1);
    QVERIFY(m_save->PrepareWindowsMediaFile(sound));
    m_save->RunSaveToEnd();
    m_save->CloseSave();
    Probe wma(sound);
    QVERIFY(wma.video.isEmpty());
    QCOMPARE(wma.audio.value("codec_name").toString(), QStringLiteral("wmav2"));
    QCOMPARE(wma.audio.value("sample_rate").toString(), QStringLiteral("44100"));
    QCOMPARE(wma.audio.value("bit_rate").toString(), QStringLiteral("96000"));
    QVERIFY(std::fabs(wma.Duration() - 2.0) <= 0.05);
    // A profile the engine does not know is refused.
    m_save->SetAudioProfile(QStringLiteral("No such profile"));
    m_save->AddSaveTrack(m_audio1);
    QVERIFY(!m_save->PrepareWindowsMediaFile(m_folder.filePath(QStringLiteral("nothing.wma"))));
    m_save->CloseSave();
}

void TestTarnwickSave::descriptiveFieldsAreReadBack()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("red.avi"), 0));
    m_save->SetSaveWholeTimeline(false);
    m_save->SetSaveRange(0, 400);
    const QString avi = SaveAvi("fields.avi");
    QVERIFY(m_save->OpenMetadata(avi));
    m_save->SetTitle(QStringLiteral("Harbour at dawn"));
    m_save->SetAuthor(QStringLiteral("R. Okafor"));
    m_save->SetRating(QStringLiteral("PG"));
    m_save->SetCopyright(QStringLiteral("(c) 2024 R. Okafor"));
    m_save->SetDescription(QStringLiteral("Boats leaving, gulls, \"fog\"."));
    QVERIFY(m_save->SaveMetadata());
    Probe tagged(avi);
    QCOMPARE(tagged.Tag("title"), QStringLiteral("Harbour at dawn"));
    QCOMPARE(tagged.Tag("artist"), QStringLiteral("R. Okafor"));
    QCOMPARE(tagged.Tag("IRTD"), QStringLiteral("PG"));
    QCOMPARE(tagged.Tag("copyright"), QStringLiteral("(c) 2024 R. Okafor"));
    QCOMPARE(tagged.Tag("comment"), QStringLiteral("Boats leaving, gulls, \"fog\"."));
    QCOMPARE(tagged.Frames(), 10);
    QByteArray errors;
    QVERIFY2(Plays(avi, &errors), errors.constData());

    // ASF carries the five in its content description; a blank one is left out.
    const QString wmv = m_folder.filePath(QStringLiteral("fields.wmv"));
    AddAll();
    QVERIFY(m_save->PrepareWindowsMediaFile(wmv));
    m_save->RunSaveToEnd();
    m_save->CloseSave();
    QVERIFY(m_save->OpenMetadata(wmv));
    m_save->SetTitle(QStringLiteral("Harbour"));
    m_save->SetAuthor(QStringLiteral("R. Okafor"));
    m_save->SetCopyright(QStringLiteral("(c) 2024"));
    m_save->SetDescription(QStringLiteral("Boats"));
    QVERIFY(m_save->SaveMetadata());
    Probe asf(wmv);
    QCOMPARE(asf.Tag("title"), QStringLiteral("Harbour"));
    QCOMPARE(asf.Tag("artist"), QStringLiteral("R. Okafor"));
    QCOMPARE(asf.Tag("copyright"), QStringLiteral("(c) 2024"));
    QCOMPARE(asf.Tag("comment"), QStringLiteral("Boats"));
    QVERIFY(!asf.format.value("tags").toObject().contains(QStringLiteral("rating")));
    QVERIFY(Plays(wmv, &errors));

    // A sound file carries none of them, nor does a file that is not there.
    QVERIFY(!m_save->OpenMetadata(Fixture("sine440.wav")));
    QVERIFY(!m_save->SaveMetadata());
    QVERIFY(!m_save->OpenMetadata(m_folder.filePath(QStringLiteral("missing.avi"))));
}

void TestTarnwickSave::stopKeepsAPlayableStart()
{
    // A picture over ten minutes at 640x480: a save of it stops half way.
    QVERIFY(m_tl->AppendSource(m_video, Stream("image.bmp"), 0));
    QVERIFY(m_tl->SetSourceTimes(m_video, 0, 0, 600000));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetVideoSize(640, 480);
    m_save->SetFrameRate(25);
    m_save->SetVideoCompressor(QStringLiteral("Uncompressed"));
    const QString path = m_folder.filePath(QStringLiteral("stopped.avi"));
    AddAll();
    QVERIFY(m_save->PrepareAviFile(path));
    QCOMPARE(m_save->GetSaveDuration(), 600000);
    QCOMPARE(m_save->GetSavePosition(), 0);
    QVERIFY(m_save->StartSave());
    QVERIFY(!m_save->StartSave());
    QTRY_VERIFY_WITH_TIMEOUT(m_save->GetSavePosition() >= 400, 20000);
    QCOMPARE(m_save->GetSaveState(), int32_t{ITWSave::Running});
    QElapsedTimer stopping;
    stopping.start();
    QVERIFY(m_save->StopSave());
    QVERIFY2(stopping.elapsed() < 1000, qPrintable(QString::number(stopping.elapsed())));
    const int32_t saved = m_save->GetSavePosition();
    QVERIFY(saved < 600000);
    QCOMPARE(m_save->GetSaveState(), int32_t{ITWSave::Stopped});
    QVERIFY(m_save->StopSave()); // a second stop does nothing
    m_save->CloseSave();
    // What was saved plays, as long as the position said.
    Probe partial(path);
    QVERIFY2(std::fabs(partial.Duration() * 1000 - saved) <= 80, qPrintable(QStringLiteral("%1 against %2").arg(partial.Duration()).arg(saved)));
    QByteArray errors;
    QVERIFY2(Plays(path, &errors), errors.constData());

    // Prepared and closed without a start: no file is left.
    const QString never = m_folder.filePath(QStringLiteral("never.avi"));
    AddAll();
    QVERIFY(m_save->PrepareAviFile(never));
    QVERIFY(QFile::exists(never));
    m_save->CloseSave();
    QVERIFY(!QFile::exists(never));
    QCOMPARE(m_save->GetSaveDuration(), 0);
}

void TestTarnwickSave::readBackTellsWhatDiffers()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("red.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    m_save->SetFrameRate(15);
    const QString path = SaveAvi("checked.avi");
    using Tarnwick::MovieFile::Expected;
    const Expected right{QStringLiteral("mpeg4"), QStringLiteral("pcm_s16le"), 320, 240, 30, 15.0, 2000, 48000, 2};
    QCOMPARE(Tarnwick::MovieFile::Differences(path, right), QStringList());
    Expected wrong = right;
    wrong.videoCodec = QStringLiteral("mjpeg");
    wrong.width = 640;
    wrong.frames = 31;
    wrong.lengthMs = 2200;
    wrong.sampleRate = 44100;
    const QStringList differences = Tarnwick::MovieFile::Differences(path, wrong);
    QCOMPARE(differences.size(), 6); // the sound's length too
    QVERIFY(differences.join(u' ').contains(QStringLiteral("lasts 2000 ms, not 2200 ms")));
    QVERIFY(differences.join(u' ').contains(QStringLiteral("not 640 x 240")));
    QVERIFY(differences.join(u' ').contains(QStringLiteral("30 pictures, not 31")));
    wrong = right;
    wrong.audioCodec.clear();
    QCOMPARE(Tarnwick::MovieFile::Differences(path, wrong), QStringList{QStringLiteral("It holds sound that was not asked for.")});
    QCOMPARE(Tarnwick::MovieFile::Differences(m_folder.filePath(QStringLiteral("missing.avi")), right),
             QStringList{QStringLiteral("The movie cannot be read back.")});
}

void TestTarnwickSave::profilesSystemAndCustom()
{
    auto& profiles = TWCast<ITWProfiles>(m_object.get());
    QVERIFY(profiles.InitProfileManager());
    QStringList names;
    for (int16_t i = 0; i < profiles.GetSystemProfileCount(); ++i) {
        QVERIFY(profiles.OpenSystemProfile(i));
        names << profiles.GetProfileName(500);
        profiles.CloseProfile();
    }
    for (const char* name : {"Video for dial-up modems or single channel ISDN (28.8 to 56 Kbps)",
                             "Video for dial-up modems or LAN (28.8 to 100 Kbps)", "Video for e-mail and dual-channel ISDN (128 Kbps)",
                             "Audio for near-CD quality (64 Kbps stereo)", "Audio for CD-quality (96 Kbps stereo)",
                             "Audio for CD-quality transparency (128 Kbps stereo)"})
        QVERIFY2(names.contains(QLatin1String(name)), name);
    QVERIFY(!profiles.OpenSystemProfile(profiles.GetSystemProfileCount()));
    QVERIFY(profiles.OpenProfile(QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)")));
    QCOMPARE(profiles.GetStreamCount(), int16_t{2});
    QVERIFY(profiles.SelectStream(0));
    QCOMPARE(profiles.GetStreamType(), ITWProfiles::VideoStream);
    QCOMPARE(profiles.GetVideoWidth(), int16_t{320});
    QCOMPARE(profiles.GetVideoFps(), int16_t{15});
    QVERIFY(profiles.GetStreamBitRate() > 0);
    QVERIFY(profiles.SelectStream(1));
    QCOMPARE(profiles.GetStreamType(), ITWProfiles::AudioStream);
    QCOMPARE(profiles.GetAudioChannels(), int16_t{2});
    QVERIFY(!profiles.SelectStream(2));
    profiles.CloseStream();
    QVERIFY_THROWS_EXCEPTION(QmError, profiles.GetStreamBitRate());
    profiles.CloseProfile();
    QVERIFY_THROWS_EXCEPTION(QmError, profiles.GetStreamCount());
    QString first;
    QVERIFY(!profiles.GetFirstCustomProfile(260, first));

    // A custom profile from a file of the user's data folder: two video streams, sound.
    const QString folder = m_folder.filePath(QStringLiteral("data/Quillmont/Profiles"));
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + QStringLiteral("/small.profile"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Profile]\nName=Small pictures\nDescription=For a phone.\n"
               "[Stream1]\nType=Video\nBitRate=64000\nWidth=176\nHeight=144\nFps=12\nKeyFrameInterval=3\nQuality=40\n"
               "[Stream2]\nType=Video\nBitRate=32000\nWidth=128\nHeight=96\nFps=12\n"
               "[Stream3]\nType=Audio\nBitRate=32000\nSampleRate=22050\nChannels=1\n");
    file.close();
    QVERIFY(profiles.GetFirstCustomProfile(260, first));
    QCOMPARE(first, QStringLiteral("Small pictures"));
    QCOMPARE(profiles.GetNextCustomProfile(260), QString());
    profiles.CloseCustomProfileList();
    QVERIFY(profiles.OpenProfile(first));
    QCOMPARE(profiles.GetProfileDescription(5000), QStringLiteral("For a phone."));
    QCOMPARE(profiles.GetStreamCount(), int16_t{3});
    QVERIFY(profiles.SelectStream(0));
    QCOMPARE(profiles.GetKeyFrameInterval(), 3);
    QCOMPARE(profiles.GetVideoQuality(), 40);
    profiles.ReleaseProfileManager();

    // Saved by it: its first video stream and its sound.
    QVERIFY(m_tl->AppendSource(m_video, Stream("red.avi"), 0));
    m_save->SetVideoProfile(first);
    AddAll();
    const QString movie = m_folder.filePath(QStringLiteral("phone.wmv"));
    QVERIFY(m_save->PrepareWindowsMediaFile(movie));
    m_save->RunSaveToEnd();
    m_save->CloseSave();
    Probe phone(movie);
    QCOMPARE(phone.video.value("width").toInt(), 176);
    QCOMPARE(phone.video.value("r_frame_rate").toString(), QStringLiteral("12/1"));
    QCOMPARE(phone.audio.value("channels").toInt(), 1);
    QCOMPARE(m_save->GetSaveProblem(500), QString());
}

QTEST_GUILESS_MAIN(TestTarnwickSave)
#include "test_TarnwickSave.moc"
