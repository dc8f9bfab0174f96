// The engine's still frames: a stream's or a file's frame drawn into a picture at a
// size, a pixel read back from a picture, and a picture written as a Windows bitmap.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"

#include "QmPixels.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using QmTest::Near;
using QmTest::Rgb;

namespace {

QString Fixture(const char* name)
{
    return QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name);
}

QImage Filled(int width, int height, QRgb colour)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

} // namespace

class TestTarnwickStills : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void keyFrameOfAStreamAtATimeAndSize();
    void snapFrameOfAFile();
    void framePixelReadsThePicture();
    void savedBitmapIsAPlainBitmapWrittenWhole();

private:
    std::shared_ptr<ITWObject> m_object;
    ITWPreview* m_preview = nullptr;
    int32_t Stream(const char* name, int16_t index = 0);
};

void TestTarnwickStills::init()
{
    m_object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    m_preview = &TWCast<ITWPreview>(m_object.get());
}

void TestTarnwickStills::cleanup()
{
    m_object.reset();
}

int32_t TestTarnwickStills::Stream(const char* name, int16_t index)
{
    const int32_t file = TWCast<ITWCoreRoot>(m_object.get()).OpenFile(Fixture(name));
    return TWCast<ITWMediaFiles>(m_object.get()).OpenStream(file, index);
}

void TestTarnwickStills::keyFrameOfAStreamAtATimeAndSize()
{
    // Red for a second, then green: the time chooses the frame, a null picture becomes
    // one of the size asked.
    const int32_t clip = Stream("redgreen.avi");
    QImage dc;
    m_preview->DrawKeyFrame(clip, 0.5, dc, 160, 120);
    QCOMPARE(dc.size(), QSize(160, 120));
    QVERIFY2(Near(dc.pixel(80, 60), 255, 0, 0), qPrintable(Rgb(dc.pixel(80, 60))));
    m_preview->DrawKeyFrame(clip, 1.5, dc, 160, 120);
    QVERIFY2(Near(dc.pixel(80, 60), 0, 128, 0, 60), qPrintable(Rgb(dc.pixel(80, 60))));

    // Into a larger picture: only its top left width x height changes, scaled whole
    // (the 640x360 picture's yellow side bands reach both edges of a 100x50 drawing).
    dc = Filled(320, 240, qRgb(255, 255, 255));
    m_preview->DrawKeyFrame(Stream("wide.avi"), 1.0, dc, 100, 50);
    QCOMPARE(dc.size(), QSize(320, 240));
    QVERIFY2(Near(dc.pixel(2, 25), 255, 255, 0) && Near(dc.pixel(97, 25), 255, 255, 0),
             qPrintable(Rgb(dc.pixel(2, 25)) + Rgb(dc.pixel(97, 25))));
    QVERIFY(Near(dc.pixel(30, 5), 0, 0, 255));
    QCOMPARE(dc.pixel(100, 10), qRgb(255, 255, 255));
    QCOMPARE(dc.pixel(10, 50), qRgb(255, 255, 255));

    // No picture to draw: the picture keeps its own content. Past the clip's end, a
    // stream of sound, a handle that is no stream, a negative time.
    const QImage before = Filled(64, 48, qRgb(1, 2, 3));
    for (auto [stream, seconds] : {std::pair{clip, 2.5}, {Stream("sine440.wav"), 0.0}, {424242, 0.0}, {clip, -1.0}}) {
        QImage kept = before;
        m_preview->DrawKeyFrame(stream, seconds, kept, 64, 48);
        QCOMPARE(kept, before);
    }
    // A still has its picture at any time: the test card as the file holds it.
    QImage still;
    m_preview->DrawKeyFrame(Stream("image.bmp"), 60.0, still, 200, 150);
    QCOMPARE(still.size(), QSize(200, 150));
    const QImage card(Fixture("image.bmp"));
    for (QPoint p : {QPoint(100, 75), QPoint(20, 100), QPoint(5, 5)})
        QVERIFY2(Near(still.pixel(p), qRed(card.pixel(p)), qGreen(card.pixel(p)), qBlue(card.pixel(p))),
                 qPrintable(Rgb(still.pixel(p)) + Rgb(card.pixel(p))));
}

void TestTarnwickStills::snapFrameOfAFile()
{
    // The first video stream of a file that is not open in the engine.
    QImage dc = Filled(320, 240, qRgb(9, 9, 9));
    m_preview->DrawSnapFrame(Fixture("redgreen.avi"), 1.2, dc, 320, 240);
    QVERIFY2(Near(dc.pixel(160, 120), 0, 128, 0, 60), qPrintable(Rgb(dc.pixel(160, 120))));
    m_preview->DrawSnapFrame(Fixture("redgreen.avi"), 0.0, dc, 32, 24);
    QVERIFY(Near(dc.pixel(16, 12), 255, 0, 0));
    QVERIFY(Near(dc.pixel(160, 120), 0, 128, 0, 60));

    // A file missing, one without pictures, one that is no movie: nothing drawn.
    for (const QString& path : {Fixture("missing.avi"), Fixture("audio.wav"), Fixture("text.avi")}) {
        QImage kept = Filled(40, 30, qRgb(1, 2, 3));
        m_preview->DrawSnapFrame(path, 0.0, kept, 40, 30);
        QCOMPARE(kept.pixel(20, 15), qRgb(1, 2, 3));
    }
}

void TestTarnwickStills::framePixelReadsThePicture()
{
    QImage picture = Filled(20, 10, qRgb(10, 20, 30));
    picture.setPixel(3, 4, qRgb(200, 100, 50));
    picture.setPixel(19, 0, qRgb(1, 2, 250));
    int32_t r = -1, g = -1, b = -1;
    m_preview->GetFramePixel(picture, 3, 4, r, g, b);
    QCOMPARE((QList<int32_t>{r, g, b}), (QList<int32_t>{200, 100, 50}));
    m_preview->GetFramePixel(picture, 4, 4, r, g, b);
    QCOMPARE((QList<int32_t>{r, g, b}), (QList<int32_t>{10, 20, 30}));
    // Past the right edge and above the top: the nearest edge pixel.
    m_preview->GetFramePixel(picture, 45, -7, r, g, b);
    QCOMPARE((QList<int32_t>{r, g, b}), (QList<int32_t>{1, 2, 250}));

    // A frame the engine drew reads back the stream's colour.
    QImage dc;
    m_preview->DrawKeyFrame(Stream("blue.avi"), 0.0, dc, 320, 240);
    m_preview->GetFramePixel(dc, 100, 100, r, g, b);
    QVERIFY2(Near(qRgb(r, g, b), 0, 0, 255), qPrintable(Rgb(qRgb(r, g, b))));
}

void TestTarnwickStills::savedBitmapIsAPlainBitmapWrittenWhole()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("snap.bmp"));
    QImage picture = Filled(40, 30, qRgb(0, 0, 255));
    picture.setPixel(0, 0, qRgb(255, 0, 0));
    picture.setPixel(38, 28, qRgb(0, 255, 0));
    // The top left 39 x 29 of it: an odd width, whose rows are padded in the file.
    QVERIFY(m_preview->SaveSnapFrame(picture, path, 39, 29));

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QVERIFY(bytes.startsWith("BM"));
    auto u32 = [&](int at) { return qFromLittleEndian<quint32>(bytes.constData() + at); };
    auto u16 = [&](int at) { return qFromLittleEndian<quint16>(bytes.constData() + at); };
    QCOMPARE(u32(18), 39u);          // width
    QCOMPARE(u32(22), 29u);          // height, rows bottom up
    QCOMPARE(u16(28), quint16(24));  // bits a pixel
    QCOMPARE(u32(30), 0u);           // not compressed
    QCOMPARE(bytes.size(), int(u32(10) + 29 * 120)); // 39 * 3 bytes a row, padded to 120
    const QImage read(path);
    QCOMPARE(read.size(), QSize(39, 29));
    QCOMPARE(read.pixel(0, 0), qRgb(255, 0, 0));
    QCOMPARE(read.pixel(38, 28), qRgb(0, 255, 0));
    QCOMPARE(read.pixel(20, 10), qRgb(0, 0, 255));

    // Larger than the picture: the rest is black. Written again over the old file, with
    // nothing left beside it.
    QVERIFY(m_preview->SaveSnapFrame(picture, path, 50, 30));
    QCOMPARE(QImage(path).size(), QSize(50, 30));
    QCOMPARE(QImage(path).pixel(45, 5), qRgb(0, 0, 0));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"snap.bmp"});

    // Where nothing can be written, or with nothing to write, it says so.
    QVERIFY(!m_preview->SaveSnapFrame(picture, folder.filePath(QStringLiteral("no/such/folder.bmp")), 40, 30));
    QVERIFY(!m_preview->SaveSnapFrame(QImage(), folder.filePath(QStringLiteral("empty.bmp")), 40, 30));
    QVERIFY(!m_preview->SaveSnapFrame(picture, folder.filePath(QStringLiteral("none.bmp")), 0, 30));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"snap.bmp"});
}

QTEST_GUILESS_MAIN(TestTarnwickStills)
#include "test_TarnwickStills.moc"
