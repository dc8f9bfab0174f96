// The engine's rendering of the timeline: frames and sound taken from its graph at given
// times, checked by their pixels and their spectrum; and the preview player over it.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"
#include "engine/ITWVideoSurface.h"
#include "engine/tarnwick/MltPlayer.h"
#include "engine/tarnwick/MltServices.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <random>
#include <functional>
#include <mutex>

namespace {

QString Fixture(const char* name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name);
}

// Near a colour, allowing for the codec's rounding.
bool Near(QRgb pixel, int r, int g, int b, int tolerance = 40)
{
    return std::abs(qRed(pixel) - r) <= tolerance && std::abs(qGreen(pixel) - g) <= tolerance
           && std::abs(qBlue(pixel) - b) <= tolerance;
}

QString Rgb(QRgb pixel)
{
    return QStringLiteral("(%1,%2,%3)").arg(qRed(pixel)).arg(qGreen(pixel)).arg(qBlue(pixel));
}

// The strength of one pitch in a mono signal (Goertzel).
double Strength(const std::vector<double>& signal, double hz, double rate = 48000.0)
{
    const double k = 2.0 * std::cos(2.0 * M_PI * hz / rate);
    double s1 = 0, s2 = 0;
    for (double x : signal) {
        const double s = x + k * s1 - s2;
        s2 = s1;
        s1 = s;
    }
    const double power = s1 * s1 + s2 * s2 - k * s1 * s2;
    return 2.0 * std::sqrt(std::max(0.0, power)) / static_cast<double>(signal.size());
}

std::vector<double> Left(const std::vector<int16_t>& interleaved)
{
    std::vector<double> left;
    for (size_t i = 0; i < interleaved.size(); i += 2)
        left.push_back(interleaved[i] / 32768.0);
    return left;
}

class Surface : public ITWVideoSurface
{
public:
    void PresentFrame(const QImage& frame, const QRect&) override
    {
        std::lock_guard lock(mutex);
        last = frame;
        ++count;
    }
    void ClearFrame() override {}
    QSize DisplaySize() const override { return display; }
    QSize display;
    int Count()
    {
        std::lock_guard lock(mutex);
        return count;
    }
    QImage Last()
    {
        std::lock_guard lock(mutex);
        return last;
    }

private:
    std::mutex mutex;
    QImage last;
    int count = 0;
};

} // namespace

class TestTarnwickRender : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void sourcesGapsAndSpeed();
    void overlayKeysOutItsColour();
    void effectsActOnlyOverTheirRange();
    void pixelateTakesEachBlocksMean();
    void stretchModesFitAWidePicture();
    void stillsShowAsTheInstantPreviewShowsThem();
    void filesWhoseHeadersLieOrAreSilentPlayTheirLength();
    void disabledTracksAndEffectsAreLeftOut();
    void soundsAreMixed();
    void previewPlaysSeeksAndFollowsEdits();
    void playingRendersAtTheSizeShown();
    void previewRefreshTakesInEveryChange();
    void movieHoldsWhatThePreviewShows();

private:
    std::shared_ptr<ITWObject> m_object;
    TarnwickTimeline* m_engine = nullptr;
    ITWTimeline* m_tl = nullptr;
    int32_t m_video = 0, m_overlay = 0, m_audio1 = 0, m_audio2 = 0;

    int32_t Stream(const char* name, int16_t index = 0);
    QRgb At(int32_t ms, int x, int y) { return m_engine->RenderFrame(ms).pixel(x, y); }
};

void TestTarnwickRender::init()
{
    m_object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    m_engine = dynamic_cast<TarnwickTimeline*>(m_object.get());
    m_tl = &TWCast<ITWTimeline>(m_object.get());
    // The tracks as the program makes them: video, overlay, two sound tracks.
    m_video = m_tl->CreateTrack(true);
    m_overlay = m_tl->CreateTrack(true);
    m_audio1 = m_tl->CreateTrack(false);
    m_audio2 = m_tl->CreateTrack(false);
}

void TestTarnwickRender::cleanup()
{
    m_object.reset();
}

int32_t TestTarnwickRender::Stream(const char* name, int16_t index)
{
    const int32_t file = TWCast<ITWCoreRoot>(m_object.get()).OpenFile(Fixture(name));
    return TWCast<ITWMediaFiles>(m_object.get()).OpenStream(file, index);
}

void TestTarnwickRender::sourcesGapsAndSpeed()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("red.avi"), 0));          // 0..2000
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 3000)); // 3000..5000, gap before
    const QImage frame = m_engine->RenderFrame(1000);
    QCOMPARE(frame.size(), QSize(320, 240));
    QVERIFY2(Near(frame.pixel(160, 120), 255, 0, 0), qPrintable(Rgb(frame.pixel(160, 120))));
    QVERIFY2(Near(At(2500, 160, 120), 0, 0, 0, 8), "a gap is black");
    QVERIFY(Near(At(3500, 160, 120), 255, 0, 0));
    QVERIFY(Near(At(4500, 160, 120), 0, 128, 0, 60));

    // Slowed four times: media 1000..2000 over 6000..10000 is green all through;
    // hurried: media 0..2000 over 10000..11000 turns green half way.
    QVERIFY(m_tl->InsertSource(m_video, Stream("redgreen.avi"), 2, 6000, 0));
    QVERIFY(m_tl->SetSourceTimes(m_video, 2, 6000, 10000));
    QVERIFY(m_tl->SetSourceMediaTimes(m_video, 2, 1000, 2000));
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 10000));
    QVERIFY(m_tl->SetSourceTimes(m_video, 3, 10000, 11000));
    QVERIFY2(Near(At(6300, 160, 120), 0, 128, 0, 60), qPrintable(Rgb(At(6300, 160, 120))));
    QVERIFY(Near(At(9800, 160, 120), 0, 128, 0, 60));
    QVERIFY(Near(At(10200, 160, 120), 255, 0, 0));
    QVERIFY2(Near(At(10800, 160, 120), 0, 128, 0, 60), qPrintable(Rgb(At(10800, 160, 120))));

    // Where sources overlap, the later sequence number shows.
    QVERIFY(m_tl->InsertSource(m_video, Stream("blue.avi"), 4, 500, 0));
    QVERIFY(m_tl->SetSourceTimes(m_video, 4, 500, 1500));
    QVERIFY(m_tl->SetSourceMediaTimes(m_video, 4, 0, 1000));
    QVERIFY(Near(At(1000, 160, 120), 0, 0, 255));
    QVERIFY(Near(At(1800, 160, 120), 255, 0, 0));
}

void TestTarnwickRender::overlayKeysOutItsColour()
{
    // The keying by itself, in the studio-range YUV the decoders give: pure green, and a
    // green that compression has moved, are keyed; a darker green and red are not.
    using Tarnwick::MltServices::IsKeyed;
    QVERIFY(IsKeyed(145, 54, 34, 0, 255, 0, Tarnwick::KeyTolerance));
    QVERIFY(IsKeyed(143, 70, 54, 0, 255, 0, Tarnwick::KeyTolerance));   // (30, 230, 30)
    QVERIFY(!IsKeyed(81, 91, 81, 0, 255, 0, Tarnwick::KeyTolerance));   // (0, 128, 0)
    QVERIFY(!IsKeyed(81, 90, 240, 0, 255, 0, Tarnwick::KeyTolerance));  // red
    QVERIFY(IsKeyed(81, 90, 240, 255, 0, 0, Tarnwick::KeyTolerance));
    QVERIFY(!IsKeyed(143, 70, 54, 0, 255, 0, 0.01));
    // Over whole pictures (odd sizes too), pixel for pixel as IsKeyed decides: random
    // lumas over chroma blocks that repeat and change, near the key and far from it.
    std::mt19937 random(11);
    for (QSize size : {QSize(64, 48), QSize(33, 17)}) {
        const int w = size.width(), h = size.height(), cw = (w + 1) / 2, ch = (h + 1) / 2;
        std::vector<uint8_t> picture(static_cast<size_t>(w * h + 2 * cw * ch));
        for (size_t i = 0; i < picture.size(); ++i)
            picture[i] = static_cast<uint8_t>(i < size_t(w * h) ? random() % 256 : 40 + random() % 8 * 8);
        std::vector<uint8_t> alpha(static_cast<size_t>(w * h));
        Tarnwick::MltServices::KeyPicture(picture.data(), w, h, 0, 255, 0, 0.4, alpha.data());
        int keyed = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int u = picture[w * h + (y / 2) * cw + x / 2], v = picture[w * h + cw * ch + (y / 2) * cw + x / 2];
                const bool expected = IsKeyed(picture[y * w + x], u, v, 0, 255, 0, 0.4);
                QVERIFY2(alpha[y * w + x] == (expected ? 0 : 255), qPrintable(QStringLiteral("%1,%2").arg(x).arg(y)));
                keyed += expected;
            }
        QVERIFY(keyed > 0 && keyed < w * h);
    }

    QVERIFY(m_tl->AppendSource(m_video, Stream("blue.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("greenkey.avi"), 0));
    QVERIFY(m_tl->AddTransitionAt(m_overlay, QStringLiteral("DxtKey"), 0, 3000));
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    // Without a key the overlay covers the video.
    QVERIFY(Near(At(1000, 10, 10), 0, 255, 0));
    QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 0));
    QVERIFY(key.SetKeyColor(m_overlay, 0, 0, 255, 0));
    // The key colour shows the video beneath; the overlay's other colours stay.
    QVERIFY2(Near(At(1000, 10, 10), 0, 0, 255), qPrintable(Rgb(At(1000, 10, 10))));
    QVERIFY(Near(At(1000, 300, 220), 0, 0, 255));
    QVERIFY2(Near(At(1000, 160, 120), 255, 0, 0), qPrintable(Rgb(At(1000, 160, 120))));
    // After the overlay ends the video shows whole; without the video the keyed parts are black.
    QVERIFY(Near(At(3500, 160, 120), 0, 0, 255));
    m_tl->SetTrackDisabled(m_video, true);
    QVERIFY2(Near(At(1000, 10, 10), 0, 0, 0, 8), qPrintable(Rgb(At(1000, 10, 10))));
    QVERIFY(Near(At(1000, 160, 120), 255, 0, 0));
}

void TestTarnwickRender::effectsActOnlyOverTheirRange()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("wide.avi"), 0));
    m_tl->SetSourceStretchMode(m_video, 0, 2);
    const QImage plain = m_engine->RenderFrame(880);
    for (const char* effect : {"Fade", "Pixelate", "Blur", "Wave", "Emboss", "Engrave"}) {
        while (m_tl->RemoveEffect(m_video, 0)) {
        }
        QVERIFY(m_tl->AddEffectAt(m_video, QString::fromLatin1(effect), 800, 1600));
        // Early in the range, where the fade is still dark.
        const QImage inside = m_engine->RenderFrame(880);
        const QImage outside = m_engine->RenderFrame(400);
        QVERIFY2(inside != plain, effect);
        QCOMPARE(outside, m_engine->RenderFrame(400 /* again */));
        int changed = 0;
        for (int y = 0; y < 240; y += 4)
            for (int x = 0; x < 320; x += 4)
                changed += inside.pixel(x, y) != plain.pixel(x, y) ? 1 : 0;
        QVERIFY2(changed > 100, qPrintable(QStringLiteral("%1 changed only %2 pixels").arg(effect).arg(changed)));
    }
    // Without effects, the frame before the range is the plain one at that time.
    while (m_tl->RemoveEffect(m_video, 0)) {
    }
    const QImage before = m_engine->RenderFrame(400);
    QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Emboss"), 800, 1600));
    QCOMPARE(m_engine->RenderFrame(400), before);
    QCOMPARE(m_engine->RenderFrame(1800), [&] {
        while (m_tl->RemoveEffect(m_video, 0)) {
        }
        return m_engine->RenderFrame(1800);
    }());
    // Fade goes from black and back to black.
    QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Fade"), 0, 2000));
    QVERIFY(qGray(At(0, 10, 100)) < 20);
    QVERIFY2(qGray(At(1000, 10, 100)) > 100, qPrintable(Rgb(At(1000, 10, 100))));
    QVERIFY(qGray(At(1960, 10, 100)) < 30);

    // Many effects on the lane: a frame goes through the one whose range holds it, as it
    // would alone, and through each of those that lie over one another, in turn.
    auto alone = [&](const char* effect, int32_t start, int32_t stop, int32_t at) {
        while (m_tl->RemoveEffect(m_video, 0)) {
        }
        if (!m_tl->AddEffectAt(m_video, QString::fromLatin1(effect), start, stop))
            return QImage();
        return m_engine->RenderFrame(at);
    };
    const QImage blurred = alone("Blur", 0, 1000, 500), embossed = alone("Emboss", 1200, 2000, 1500);
    const QImage embossedEarly = alone("Emboss", 0, 2000, 500), between = alone("Blur", 1200, 1300, 1100);
    QVERIFY(!blurred.isNull() && !embossed.isNull() && !embossedEarly.isNull());
    while (m_tl->RemoveEffect(m_video, 0)) {
    }
    for (int i = 0; i < 40; ++i)
        QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Wave"), 2000 + i * 20, 2000 + i * 20 + 20));
    QVERIFY(m_tl->InsertEffect(m_video, QStringLiteral("Emboss"), 0, 1200, 2000, 0));
    QVERIFY(m_tl->InsertEffect(m_video, QStringLiteral("Blur"), 0, 0, 1000, 0));
    QCOMPARE(m_engine->RenderFrame(500), blurred);
    QCOMPARE(m_engine->RenderFrame(1500), embossed);
    QCOMPARE(m_engine->RenderFrame(1100), between);
    QVERIFY(m_tl->InsertEffect(m_video, QStringLiteral("Emboss"), 2, 0, 2000, 0));
    const QImage both = m_engine->RenderFrame(500);
    QVERIFY(both != blurred && both != embossedEarly);
    // Which acts first is the lane's order, whatever their starts.
    auto inOrder = [&](const char* first, int32_t firstStart, const char* second, int32_t secondStart) {
        while (m_tl->RemoveEffect(m_video, 0)) {
        }
        m_tl->InsertEffect(m_video, QString::fromLatin1(first), 0, firstStart, 2000, 0);
        m_tl->InsertEffect(m_video, QString::fromLatin1(second), 1, secondStart, 2000, 0);
        return m_engine->RenderFrame(1000);
    };
    QVERIFY(inOrder("Blur", 0, "Emboss", 500) != inOrder("Emboss", 500, "Blur", 0));
}

void TestTarnwickRender::pixelateTakesEachBlocksMean()
{
    // Blocks of a 25th of the width by a 20th of the height (12 x 12 at 320 x 240), each
    // one colour: the mean of the block it covers.
    QVERIFY(m_tl->AppendSource(m_video, Stream("video.avi"), 0));
    const QImage plain = m_engine->RenderFrame(1000);
    QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Pixelate"), 0, 2000));
    const QImage blocks = m_engine->RenderFrame(1000);
    for (QPoint corner : {QPoint(0, 0), QPoint(48, 96), QPoint(156, 108), QPoint(300, 228)}) {
        double r = 0, g = 0, b = 0;
        const QRgb first = blocks.pixel(corner);
        for (int y = corner.y(); y < std::min(corner.y() + 12, 240); ++y)
            for (int x = corner.x(); x < std::min(corner.x() + 12, 320); ++x) {
                QVERIFY2(Near(blocks.pixel(x, y), qRed(first), qGreen(first), qBlue(first), 6),
                         qPrintable(QStringLiteral("%1,%2").arg(x).arg(y)));
                r += qRed(plain.pixel(x, y)), g += qGreen(plain.pixel(x, y)), b += qBlue(plain.pixel(x, y));
            }
        const int n = std::min(12, 320 - corner.x()) * std::min(12, 240 - corner.y());
        QVERIFY2(Near(first, r / n, g / n, b / n, 24),
                 qPrintable(Rgb(first) + QStringLiteral(" against the mean (%1,%2,%3)").arg(r / n).arg(g / n).arg(b / n)));
    }
}

void TestTarnwickRender::stretchModesFitAWidePicture()
{
    // A 640x360 picture on a 320x240 frame: blue, yellow bands at the sides (80 pixels
    // each), a 40x40 red box at the centre.
    QVERIFY(m_tl->AppendSource(m_video, Stream("wide.avi"), 0));
    auto redWidth = [](const QImage& f) {
        int n = 0;
        for (int x = 0; x < 320; ++x)
            n += Near(f.pixel(x, 120), 255, 0, 0) ? 1 : 0;
        return n;
    };
    // 0 stretch: the whole picture, no borders.
    m_tl->SetSourceStretchMode(m_video, 0, 0);
    QImage f = m_engine->RenderFrame(1000);
    QVERIFY2(Near(f.pixel(2, 120), 255, 255, 0) && Near(f.pixel(160, 2), 0, 0, 255),
             qPrintable(Rgb(f.pixel(2, 120)) + Rgb(f.pixel(160, 2))));
    // 1 crop: the original size, centred: the box keeps its 40 pixels, no bands.
    m_tl->SetSourceStretchMode(m_video, 0, 1);
    f = m_engine->RenderFrame(1000);
    QVERIFY2(std::abs(redWidth(f) - 40) <= 3, qPrintable(QString::number(redWidth(f))));
    QVERIFY(Near(f.pixel(2, 120), 0, 0, 255) && Near(f.pixel(160, 2), 0, 0, 255));
    // 2 preserve the aspect with borders: black above and below, bands at the sides.
    m_tl->SetSourceStretchMode(m_video, 0, 2);
    f = m_engine->RenderFrame(1000);
    QVERIFY2(Near(f.pixel(160, 5), 0, 0, 0, 8), qPrintable(Rgb(f.pixel(160, 5))));
    QVERIFY(Near(f.pixel(2, 120), 255, 255, 0));
    // 3 fill keeping the aspect: the sides cut off, no borders, the box scaled by 2/3.
    m_tl->SetSourceStretchMode(m_video, 0, 3);
    f = m_engine->RenderFrame(1000);
    QVERIFY(Near(f.pixel(2, 120), 0, 0, 255) && Near(f.pixel(160, 2), 0, 0, 255));
    QVERIFY2(std::abs(redWidth(f) - 27) <= 3, qPrintable(QString::number(redWidth(f))));
}

void TestTarnwickRender::stillsShowAsTheInstantPreviewShowsThem()
{
    // Each still is a red field with a green box in its middle (the GIF of two pictures
    // turns blue in its second); stretched over the 320x240 frame, the box covers the
    // centre and the corners stay red.
    const QList<const char*> stills = {"still.bmp", "still.gif", "still.jpg", "still.png", "still.tga", "animated.gif"};
    auto looksRight = [](const QImage& frame, const QPoint& centre, const QPoint& corner) {
        return !frame.isNull() && Near(frame.pixel(centre), 0, 255, 0) && Near(frame.pixel(corner), 255, 0, 0);
    };
    auto describe = [](const char* name, int32_t ms, const QImage& frame) {
        return QStringLiteral("%1 at %2 ms: %3 %4")
            .arg(QLatin1String(name))
            .arg(ms)
            .arg(frame.isNull() ? QStringLiteral("no frame") : Rgb(frame.pixel(frame.width() / 2, frame.height() / 2)))
            .arg(frame.isNull() ? QString() : Rgb(frame.pixel(3, 3)));
    };

    // The instant preview, whose first picture is the one to match.
    qputenv("SDL_AUDIODRIVER", "dummy");
    auto& instant = TWCast<ITWFilePreview>(m_object.get());
    Surface small;
    instant.SetOwnerWindow(&small);
    for (const char* name : stills) {
        const int before = small.Count();
        QVERIFY2(instant.OpenFile(Fixture(name)), name);
        QVERIFY(instant.ShowFirstFrame());
        QTRY_VERIFY(small.Count() > before);
        const QImage first = small.Last();
        QVERIFY2(looksRight(first, QPoint(first.width() / 2, first.height() / 2), QPoint(3, 3)),
                 qPrintable(describe(name, 0, first)));
    }
    instant.SetOwnerWindow(nullptr);
    instant.Close();

    // One after another on the timeline, a second each: the same picture from the first
    // frame of each to its last.
    for (const char* name : stills)
        QVERIFY2(m_tl->AppendSource(m_video, Stream(name), -1), name);
    for (int16_t seq = 0; seq < stills.size(); ++seq)
        QVERIFY(m_tl->SetSourceTimes(m_video, seq, seq * 1000, seq * 1000 + 1000));
    for (int i = 0; i < stills.size(); ++i) {
        for (int32_t ms : {i * 1000, i * 1000 + 520, i * 1000 + 960}) {
            const QImage frame = m_engine->RenderFrame(ms);
            QVERIFY2(looksRight(frame, QPoint(160, 120), QPoint(3, 3)), qPrintable(describe(stills[i], ms, frame)));
        }
    }

    // The timeline's player shows them so.
    auto& preview = TWCast<ITWPreview>(m_object.get());
    Surface surface;
    preview.SetOwnerWindow(&surface);
    QVERIFY(preview.BuildPreview());
    for (int i = 0; i < stills.size(); ++i) {
        QVERIFY(preview.Seek(i * 1000 + 520));
        QVERIFY2(looksRight(surface.Last(), QPoint(160, 120), QPoint(3, 3)),
                 qPrintable(describe(stills[i], i * 1000 + 520, surface.Last())));
    }
    preview.SetOwnerWindow(nullptr);
    preview.ClosePreview();

    // And a movie of the timeline holds them, read back through a timeline of its own.
    QTemporaryDir folder;
    Tarnwick::EncodeSettings settings;
    settings.path = folder.filePath(QStringLiteral("stills.avi"));
    settings.audioCodec.clear(); // pictures only
    QString error;
    QVERIFY2(m_engine->RenderMovie(settings, {}, &error), qPrintable(error));
    TestTarnwickRender reader;
    reader.init();
    const int32_t movie = TWCast<ITWCoreRoot>(reader.m_object.get()).OpenFile(settings.path);
    QVERIFY(reader.m_tl->AppendSource(reader.m_video, TWCast<ITWMediaFiles>(reader.m_object.get()).OpenStream(movie, 0), 0));
    for (int i = 0; i < stills.size(); ++i) {
        for (int32_t ms : {i * 1000 + 40, i * 1000 + 960}) {
            const QImage frame = reader.m_engine->RenderFrame(ms);
            QVERIFY2(looksRight(frame, QPoint(160, 120), QPoint(3, 3)), qPrintable(describe(stills[i], ms, frame)));
        }
    }
    reader.cleanup();
}

void TestTarnwickRender::filesWhoseHeadersLieOrAreSilentPlayTheirLength()
{
    // An MPEG whose headers give no length: 3 seconds of a moving test picture, all of
    // them shown.
    QVERIFY(m_tl->AppendSource(m_video, Stream("nolength.mpg"), 0));
    int32_t start = 0, stop = 0;
    QVERIFY(m_tl->GetSourceTimes(m_video, 0, start, stop));
    QCOMPARE(stop, 3000);
    // Through the timeline's player, which opens the file once for all the frames.
    auto& preview = TWCast<ITWPreview>(m_object.get());
    Surface surface;
    preview.SetOwnerWindow(&surface);
    QVERIFY(preview.BuildPreview());
    QCOMPARE(preview.GetDuration(), 3000);
    QImage previous;
    for (int32_t ms : {100, 1500, 2900}) {
        QVERIFY(preview.Seek(ms));
        const QImage frame = surface.Last();
        QVERIFY2(!Near(frame.pixel(160, 60), 0, 0, 0, 8), qPrintable(QStringLiteral("%1 ms is black").arg(ms)));
        QVERIFY2(frame != previous, qPrintable(QStringLiteral("%1 ms shows the frame before").arg(ms)));
        previous = frame;
    }
    preview.SetOwnerWindow(nullptr);
    preview.ClosePreview();
    // A WAV that claims 389,563 seconds and holds 2: a tone of 2 seconds, then silence.
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("liar.wav"), 0));
    QVERIFY(m_tl->GetSourceTimes(m_audio1, 0, start, stop));
    QCOMPARE(stop, 2000);
    QVERIFY(Strength(Left(m_engine->RenderSound(500, 1000)), 11025.0 / 8 * 48000 / 48000) > 0.1);
}

void TestTarnwickRender::disabledTracksAndEffectsAreLeftOut()
{
    QVERIFY(m_tl->AppendSource(m_video, Stream("red.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("blue.avi"), 0));
    QVERIFY(Near(At(1000, 160, 120), 0, 0, 255)); // the unkeyed overlay covers
    m_tl->SetTrackDisabled(m_overlay, true);
    QVERIFY(Near(At(1000, 160, 120), 255, 0, 0));
    m_tl->SetTrackDisabled(m_video, true);
    QVERIFY(Near(At(1000, 160, 120), 0, 0, 0, 8));
    m_tl->SetTrackDisabled(m_video, false);
    QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Emboss"), 0, 2000));
    const QImage embossed = m_engine->RenderFrame(1000);
    m_tl->SetEffectsEnabled(false);
    QVERIFY(Near(At(1000, 160, 120), 255, 0, 0));
    m_tl->SetEffectsEnabled(true);
    QCOMPARE(m_engine->RenderFrame(1000), embossed);
}

void TestTarnwickRender::soundsAreMixed()
{
    // 440 Hz at 0.6 on Audio 1 from 0, 1000 Hz at 0.3 on Audio 2 from 500; the video
    // track's sound is never heard.
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    QVERIFY(m_tl->AppendSource(m_audio2, Stream("sine1000.wav"), 500));
    QVERIFY(m_tl->AppendSource(m_video, Stream("video.avi"), 0));
    const std::vector<double> both = Left(m_engine->RenderSound(800, 800));
    QVERIFY(both.size() > 30000);
    const double a = Strength(both, 440), b = Strength(both, 1000);
    QVERIFY2(std::abs(a - 0.6) < 0.08 && std::abs(b - 0.3) < 0.05,
             qPrintable(QStringLiteral("440 Hz %1, 1000 Hz %2").arg(a).arg(b)));
    QVERIFY(Strength(both, 700) < 0.02);
    // Before the second starts, only the first; after both end, silence.
    const std::vector<double> first = Left(m_engine->RenderSound(0, 400));
    QVERIFY(Strength(first, 440) > 0.5 && Strength(first, 1000) < 0.02);
    m_tl->SetTrackDisabled(m_audio1, true);
    const std::vector<double> second = Left(m_engine->RenderSound(800, 800));
    QVERIFY(Strength(second, 440) < 0.02 && Strength(second, 1000) > 0.25);
    m_tl->SetTrackDisabled(m_audio1, false);
    // Played at half speed the pitch drops by half.
    QVERIFY(m_tl->SetSourceTimes(m_audio1, 0, 0, 4000));
    m_tl->SetTrackDisabled(m_audio2, true);
    const std::vector<double> slow = Left(m_engine->RenderSound(1000, 1000));
    QVERIFY2(Strength(slow, 220) > 0.3 && Strength(slow, 440) < 0.1,
             qPrintable(QStringLiteral("220 Hz %1, 440 Hz %2").arg(Strength(slow, 220)).arg(Strength(slow, 440))));
}

void TestTarnwickRender::previewPlaysSeeksAndFollowsEdits()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    auto& preview = TWCast<ITWPreview>(m_object.get());
    Surface surface;
    preview.SetOwnerWindow(&surface);
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    QVERIFY(preview.BuildPreview());
    QVERIFY(preview.IsPreviewValid());
    QCOMPARE(preview.GetDuration(), 2000);
    QVERIFY(surface.Count() > 0);

    // Seeking while stopped shows the frame there.
    QVERIFY(preview.Seek(1510));
    QVERIFY(Near(surface.Last().pixel(160, 120), 0, 128, 0, 60));
    QCOMPARE(preview.GetPosition(), 1520); // the nearest frame
    QVERIFY(preview.Seek(-300));
    QCOMPARE(preview.GetPosition(), 0);

    // Playing moves on; pausing keeps the place; stop goes back to the place sought.
    QVERIFY(preview.Play());
    QTRY_VERIFY_WITH_TIMEOUT(preview.GetPosition() > 300, 3000);
    QVERIFY(preview.Pause());
    const int32_t paused = preview.GetPosition();
    QTest::qWait(300);
    QVERIFY(std::abs(preview.GetPosition() - paused) <= 40);
    QVERIFY(preview.Seek(800));
    QVERIFY(preview.Play());
    QTRY_VERIFY_WITH_TIMEOUT(preview.GetPosition() > 1000, 3000);
    QVERIFY(preview.Stop());
    QCOMPARE(preview.GetPosition(), 800);
    // Played to the end, the position is the end, held there.
    QVERIFY(preview.Seek(1700));
    QVERIFY(preview.Play());
    QTRY_COMPARE_WITH_TIMEOUT(preview.GetPosition(), 2000, 3000);
    QVERIFY(preview.Stop());
    QVERIFY(preview.Seek(800));

    // An edit is taken in at the same place; a new frame size wants a new player.
    QVERIFY(m_tl->AppendSource(m_video, Stream("blue.avi"), -1));
    QVERIFY(preview.RefreshPreview());
    QCOMPARE(preview.GetDuration(), 6000);
    QCOMPARE(preview.GetPosition(), 800);
    QVERIFY(preview.Seek(3000));
    QVERIFY(Near(surface.Last().pixel(160, 120), 0, 0, 255));
    m_tl->SetFrameSize(640, 480);
    QVERIFY(!preview.IsPreviewValid());
    preview.ClosePreview();
    QVERIFY(preview.BuildPreview());
    QVERIFY(preview.Seek(3000));
    QCOMPARE(surface.Last().size(), QSize(640, 480));
    preview.SetVolume(-100);
    preview.SetVolume(0);
    preview.SetOwnerWindow(nullptr);
    preview.ClosePreview();
    QCOMPARE(preview.GetDuration(), 0);
}

void TestTarnwickRender::playingRendersAtTheSizeShown()
{
    // The size: the display's in the frame's shape, never above the frame's, even.
    QCOMPARE(Tarnwick::PlayingSize({1920, 1080}, {434, 244}), QSize(432, 244));
    QCOMPARE(Tarnwick::PlayingSize({1920, 1080}, {300, 600}), QSize(300, 168));
    QCOMPARE(Tarnwick::PlayingSize({320, 240}, {434, 325}), QSize(320, 240));
    QCOMPARE(Tarnwick::PlayingSize({320, 240}, {}), QSize(320, 240));
    QCOMPARE(Tarnwick::PlayingSize({640, 480}, {1, 1}), QSize(2, 2));

    // Played on a small display, a keyed overlay over a picture: frames come at the
    // display's size and show what the full frame shows; stills stay at full size.
    qputenv("SDL_AUDIODRIVER", "dummy");
    auto& preview = TWCast<ITWPreview>(m_object.get());
    Surface surface;
    surface.display = QSize(160, 100);
    preview.SetOwnerWindow(&surface);
    QVERIFY(m_tl->AppendSource(m_video, Stream("blue.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AddTransitionAt(m_overlay, QStringLiteral("DxtKey"), 0, 2000));
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 0));
    QVERIFY(key.SetKeyColor(m_overlay, 0, 255, 0, 0));
    QVERIFY(preview.BuildPreview());
    QVERIFY(preview.Seek(600));
    QCOMPARE(surface.Last().size(), QSize(320, 240));
    const int stills = surface.Count();
    QVERIFY(preview.Play());
    QTRY_VERIFY_WITH_TIMEOUT(surface.Count() > stills + 15, 3000); // past the change to green
    QVERIFY(preview.Pause());
    const QImage played = surface.Last();
    QCOMPARE(played.size(), QSize(132, 100));
    const QImage full = m_engine->RenderFrame(preview.GetPosition());
    QCOMPARE(full.size(), QSize(320, 240));
    const QRgb expected = full.pixel(160, 120);
    QVERIFY2(Near(played.pixel(66, 50), qRed(expected), qGreen(expected), qBlue(expected), 60),
             qPrintable(QStringLiteral("%1 against %2").arg(played.pixel(66, 50), 0, 16).arg(expected, 0, 16)));
    QVERIFY(!Near(played.pixel(66, 50), 255, 0, 0)); // the key is at work
    QVERIFY(preview.Stop());
    QVERIFY(preview.Seek(400));
    QCOMPARE(surface.Last().size(), QSize(320, 240));
    preview.SetOwnerWindow(nullptr);
    preview.ClosePreview();
}

void TestTarnwickRender::previewRefreshTakesInEveryChange()
{
    // A wide picture under a keyed overlay, then a red-then-green one: each change a
    // graph is made from shows at the next refresh, and a refresh with nothing changed
    // shows the same.
    qputenv("SDL_AUDIODRIVER", "dummy");
    auto& preview = TWCast<ITWPreview>(m_object.get());
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    Surface surface;
    preview.SetOwnerWindow(&surface);
    QVERIFY(m_tl->AppendSource(m_video, Stream("wide.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 3000));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("greenkey.avi"), 0));
    QVERIFY(m_tl->AddTransitionAt(m_overlay, QStringLiteral("DxtKey"), 0, 3000));
    QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 0));
    QVERIFY(key.SetKeyColor(m_overlay, 0, 0, 255, 0));
    QVERIFY(preview.BuildPreview());
    auto shown = [&] {
        QList<QImage> frames;
        for (int32_t at : {500, 3500}) {
            preview.Seek(at);
            frames << surface.Last();
        }
        return frames;
    };
    QList<QImage> before = shown();
    auto takesIn = [&](const char* what, const std::function<void()>& change) {
        change();
        QVERIFY2(preview.RefreshPreview(), what);
        const QList<QImage> now = shown();
        QVERIFY2(now != before, what);
        QVERIFY(preview.RefreshPreview());
        QVERIFY2(shown() == now, what);
        before = now;
    };
    takesIn("a stretch mode", [&] { m_tl->SetSourceStretchMode(m_video, 0, 2); });
    takesIn("media times", [&] { m_tl->SetSourceMediaTimes(m_video, 1, 1000, 2000); });
    takesIn("a key colour", [&] { key.SetKeyColor(m_overlay, 0, 255, 0, 0); });
    takesIn("an effect", [&] { QVERIFY(m_tl->AddEffectAt(m_video, QStringLiteral("Emboss"), 0, 1000)); });
    takesIn("effects switched off", [&] { m_tl->SetEffectsEnabled(false); });
    takesIn("the key's type", [&] { QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 1)); });
    takesIn("a track disabled", [&] { m_tl->SetTrackDisabled(m_overlay, true); });
    takesIn("an item moved", [&] { QVERIFY(m_tl->ShiftSources(m_video, 1, 1000)); });
    // A selected flag is no part of the picture.
    m_tl->SetSourceSelected(m_video, 0, true);
    QVERIFY(preview.RefreshPreview());
    QVERIFY(shown() == before);
    preview.SetOwnerWindow(nullptr);
    preview.ClosePreview();
}

void TestTarnwickRender::movieHoldsWhatThePreviewShows()
{
    QTemporaryDir folder;
    QVERIFY(m_tl->AppendSource(m_video, Stream("redgreen.avi"), 0));
    QVERIFY(m_tl->AppendSource(m_overlay, Stream("greenkey.avi"), 0));
    QVERIFY(m_tl->SetSourceTimes(m_overlay, 0, 0, 1000));
    QVERIFY(m_tl->AddTransitionAt(m_overlay, QStringLiteral("DxtKey"), 0, 1000));
    auto& key = TWCast<ITWKeyTransition>(m_object.get());
    QVERIFY(key.SetKeyParameter(m_overlay, 0, QStringLiteral("KeyType"), 0));
    QVERIFY(key.SetKeyColor(m_overlay, 0, 0, 255, 0));
    QVERIFY(m_tl->AppendSource(m_audio1, Stream("sine440.wav"), 0));
    Tarnwick::EncodeSettings settings;
    settings.path = folder.filePath(QStringLiteral("movie.avi"));
    int32_t last = 0, total = 0;
    QString error;
    QVERIFY2(m_engine->RenderMovie(settings, [&](int32_t done, int32_t all) { last = done, total = all; return true; },
                                   &error),
             qPrintable(error));
    QCOMPARE(total, 50); // 2 s at 25 frames a second
    QCOMPARE(last, 50);
    const Tarnwick::MediaFacts facts = Tarnwick::ProbeMedia(settings.path);
    QVERIFY(facts.opened);
    QCOMPARE(facts.streams.size(), size_t{2});
    QCOMPARE(facts.streams[0].width, 320);
    QVERIFY(std::abs(facts.streams[0].duration - 2.0) < 0.05);
    QCOMPARE(facts.streams[1].sampleRate, 48000);

    // The movie's pictures are the graph's: read back through a timeline of its own.
    TestTarnwickRender reader;
    reader.init();
    QVERIFY(reader.m_tl->AppendSource(reader.m_video, TWCast<ITWMediaFiles>(reader.m_object.get())
                                                          .OpenStream(TWCast<ITWCoreRoot>(reader.m_object.get())
                                                                          .OpenFile(settings.path), 0), 0));
    for (int32_t ms : {200, 600, 1500}) {
        const QImage ours = m_engine->RenderFrame(ms), theirs = reader.m_engine->RenderFrame(ms);
        for (QPoint at : {QPoint(10, 10), QPoint(160, 120), QPoint(300, 220)})
            QVERIFY2(Near(theirs.pixel(at), qRed(ours.pixel(at)), qGreen(ours.pixel(at)), qBlue(ours.pixel(at)), 30),
                     qPrintable(QStringLiteral("%1 ms: %2 against %3").arg(ms).arg(Rgb(theirs.pixel(at)), Rgb(ours.pixel(at)))));
    }
    reader.cleanup();

    // Stopped half way, nothing is left behind.
    QVERIFY(!m_engine->RenderMovie(settings, [](int32_t done, int32_t) { return done < 20; }, &error));
    QVERIFY(error.isEmpty());
    QVERIFY(!QFile::exists(settings.path));
    // A compressor that does not exist is said so.
    settings.videoCodec = QStringLiteral("no-such-codec");
    QVERIFY(!m_engine->RenderMovie(settings, {}, &error));
    QVERIFY(error.contains(QStringLiteral("no-such-codec")));
    QVERIFY(!QFile::exists(settings.path));
}

QTEST_GUILESS_MAIN(TestTarnwickRender)
#include "test_TarnwickRender.moc"
