// The ground of Quillmont: numbers and their texts, the time and file utilities, the
// error trap, and the message box and dialogue services as tests script them.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmError.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmPicture.h"
#include "core/QmSettings.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"

#include <QComboBox>
#include <QDialog>
#include <QFile>

using namespace QmNumbers;
using namespace moduleUtilities;

namespace {

struct Reported
{
    QString module, function;
    int32_t number = 0;
};

QList<Reported>& Reports()
{
    static QList<Reported> reports;
    return reports;
}

void WriteFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(data);
}

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestCore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void roundingIsHalfToEven();
    void conversionsOverflowWithError6();
    void formats_data();
    void formats();

    void timesAsText();
    void timesOverflowAt16Bits();
    void fileSizesAsText();
    void fileNames();
    void dates();
    void copiesWithRenameOnCollision();

    void trapHandlesKnownNumbersAndReportsTheRest();
    void scriptedMessageBoxes();
    void scriptedDialogues();
    void settingsStore();
    void pictureDrawsToThePixel();
    void videoSurfaceProbeCountsPaintsLateAndSkipped();
};

void TestCore::initTestCase()
{
    // Read once, at the first surface's first frame.
    qputenv("QUILLMONT_PAINT_PROBE", "1");
    QmTrap::SetReporter([](const QString& module, const QString& function, const QmError& error) {
        Reports().append({module, function, error.Number()});
    });
}

void TestCore::init()
{
    Reports().clear();
}

void TestCore::cleanup()
{
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestCore::roundingIsHalfToEven()
{
    QCOMPARE(RoundHalfEven(0.5), 0.0);
    QCOMPARE(RoundHalfEven(1.5), 2.0);
    QCOMPARE(RoundHalfEven(2.5), 2.0);
    QCOMPARE(RoundHalfEven(-2.5), -2.0);
    QCOMPARE(RoundHalfEven(2.500001), 3.0);
    QCOMPARE(CInt(12.5), int16_t(12));
    QCOMPARE(CInt(13.5), int16_t(14));
    QCOMPARE(CLng(-7.5), -8);
    QCOMPARE(IntPart(3.99), 3.0);
    QCOMPARE(IntPart(-3.99), -3.0);
}

void TestCore::conversionsOverflowWithError6()
{
    QCOMPARE(CInt(32767.4), int16_t(32767));
    QCOMPARE(CInt(-32768.0), int16_t(-32768));
    QCOMPARE(ToInt16(32767), int16_t(32767));
    const auto expectOverflow = [](auto&& call) {
        try {
            call();
        } catch (const QmError& e) {
            QCOMPARE(e.Number(), QmErr::Overflow);
            return;
        }
        QFAIL("no overflow raised");
    };
    expectOverflow([] { CInt(32767.5); }); // rounds to 32768
    expectOverflow([] { CInt(-32769.0); });
    expectOverflow([] { ToInt16(32768); });
    expectOverflow([] { CLng(2147483648.0); });
    expectOverflow([] { CLng(std::nan("")); });
}

void TestCore::formats_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");

    QTest::newRow("zero with #.00 has no leading digit") << 0.0 << "#.00" << ".00";
    QTest::newRow("below one") << 0.5 << "#.00" << ".50";
    QTest::newRow("bytes") << 500.0 << "#.00" << "500.00";
    QTest::newRow("kilobytes") << 1.5 << "#.00" << "1.50";
    QTest::newRow("rounds up into the whole part") << 0.996 << "#.00" << "1.00";
    QTest::newRow("half away from zero") << 1.005 << "#.00" << "1.01";
    QTest::newRow("negative") << -0.5 << "#.00" << "-.50";
    QTest::newRow("negative rounding to zero has no sign") << -0.001 << "#.00" << ".00";
    QTest::newRow("0") << 0.0 << "0" << "0";
    QTest::newRow("0 rounds half away") << 2.5 << "0" << "3";
    QTest::newRow("00 pads") << 5.0 << "00" << "05";
    QTest::newRow("00 wider") << 1234.0 << "00" << "1234";
    QTest::newRow("00 negative") << -5.0 << "00" << "-05";
    QTest::newRow("000") << 7.0 << "000" << "007";
    QTest::newRow("0000") << 42.0 << "0000" << "0042";
}

void TestCore::formats()
{
    QFETCH(double, value);
    QFETCH(QString, pattern);
    QFETCH(QString, text);
    QCOMPARE(Format(value, pattern), text);
}

void TestCore::timesAsText()
{
    QCOMPARE(MilliSecondsToTimetypeAsString(0), QStringLiteral("0:00:00.000"));
    QCOMPARE(MilliSecondsToTimetypeAsString2(0), QStringLiteral("0:00:00"));
    QCOMPARE(MilliSecondsToTimetypeAsString(999), QStringLiteral("0:00:00.999"));
    QCOMPARE(MilliSecondsToTimetypeAsString(1000), QStringLiteral("0:00:01.000"));
    QCOMPARE(MilliSecondsToTimetypeAsString(61250), QStringLiteral("0:01:01.250"));
    QCOMPARE(MilliSecondsToTimetypeAsString(3600000), QStringLiteral("1:00:00.000"));
    QCOMPARE(MilliSecondsToTimetypeAsString(36061007), QStringLiteral("0:00:00.000")); // past the 16-bit seconds
    // The milliseconds are dropped, never rounded up.
    QCOMPARE(MilliSecondsToTimetypeAsString2(1999), QStringLiteral("0:00:01"));
    QCOMPARE(MilliSecondsToTimetypeAsString2(3599999), QStringLiteral("0:59:59"));
    // Nothing guards against negative times: the fields come out negative.
    const TimeType negative = MilliSecondsToTimetype(-61500);
    QCOMPARE(negative, (TimeType{0, -1, -1, -500}));
    QCOMPARE(MilliSecondsToTimetypeAsString(-61500), QStringLiteral("0:-01:-01.-500"));
}

void TestCore::timesOverflowAt16Bits()
{
    QCOMPARE(MilliSecondsToTimetype(32767999), (TimeType{9, 6, 7, 999}));
    QCOMPARE(MilliSecondsToTimetypeAsString(32767999), QStringLiteral("9:06:07.999"));
    QCOMPARE(MilliSecondsToTimetypeAsString2(32767999), QStringLiteral("9:06:07"));
    // From 32,768,000 the seconds overflow 16 bits: the zero record, silently.
    QCOMPARE(MilliSecondsToTimetype(32768000), TimeType());
    QCOMPARE(MilliSecondsToTimetypeAsString(32768000), QStringLiteral("0:00:00.000"));
    QCOMPARE(MilliSecondsToTimetypeAsString2(INT32_MAX), QStringLiteral("0:00:00"));
    QCOMPARE(MilliSecondsToTimetype(-32769000), TimeType());
    QVERIFY(Reports().isEmpty());
}

void TestCore::fileSizesAsText()
{
    QCOMPARE(FileSizeUnitConversion(0), QStringLiteral(".00 Bytes"));
    QCOMPARE(FileSizeUnitConversion(500), QStringLiteral("500.00 Bytes"));
    QCOMPARE(FileSizeUnitConversion(1023), QStringLiteral("1023.00 Bytes"));
    QCOMPARE(FileSizeUnitConversion(-5), QStringLiteral("-5.00 Bytes"));
    QCOMPARE(FileSizeUnitConversion(1024), QStringLiteral("1.00 KB"));
    QCOMPARE(FileSizeUnitConversion(1536), QStringLiteral("1.50 KB"));
    QCOMPARE(FileSizeUnitConversion(1048575), QStringLiteral("1024.00 KB"));
    QCOMPARE(FileSizeUnitConversion(1048576), QStringLiteral("1.00 MB"));
    QCOMPARE(FileSizeUnitConversion(1073741823), QStringLiteral("1024.00 MB"));
    QCOMPARE(FileSizeUnitConversion(1073741824), QString()); // no gigabytes
    QCOMPARE(FileSizeUnitConversion(5LL << 32), QString());
}

void TestCore::fileNames()
{
    QCOMPARE(ExtractFileName(QStringLiteral("/media/a/b.avi") + QString(3, QChar(u'\0'))), QStringLiteral("b.avi"));
    QCOMPARE(ExtractFileName(QString()), QString());
    QCOMPARE(ExtractFileName(QStringLiteral("/media/a/")), QString());
    QCOMPARE(ExtractFileName(QStringLiteral("/clip")), QStringLiteral("clip"));
    QVERIFY(Reports().isEmpty());
    // A path without a folder runs off its start: the trap reports it.
    QCOMPARE(ExtractFileName(QStringLiteral("clip.avi")), QStringLiteral("clip.avi"));
    QCOMPARE(Reports().size(), 1);
    QCOMPARE(Reports()[0].function, QStringLiteral("ExtractFileName"));

    QCOMPARE(ChangeExtension(QStringLiteral("a.b.avi"), QStringLiteral("wmv")), QStringLiteral("a.b.wmv"));
    QCOMPARE(ChangeExtension(QStringLiteral("movie"), QStringLiteral("wmv")), QStringLiteral("movie"));
    QCOMPARE(ChangeExtension(QStringLiteral("movie."), QStringLiteral("wmv")), QStringLiteral("movie.wmv"));

    QComboBox combo;
    combo.addItems({QStringLiteral("Uncompressed"), QStringLiteral("MPEG-4")});
    QVERIFY(IsInCombo(&combo, QStringLiteral("MPEG-4")));
    QVERIFY(!IsInCombo(&combo, QStringLiteral("mpeg-4")));

    QCOMPARE(GetTempFolder(), QmTest::Root().path() + QStringLiteral("/tmp"));
}

void TestCore::dates()
{
    QCOMPARE(GetDateLocalFormat(QStringLiteral("11/22/2026")), QDate(2026, 11, 22));
    QCOMPARE(GetDateLocalFormat(QStringLiteral("2/29/2024")), QDate(2024, 2, 29));
    QVERIFY(Reports().isEmpty());
    QCOMPARE(GetDateLocalFormat(QStringLiteral("22/11/2026")), QDate());
    QCOMPARE(Reports().size(), 1);
}

void TestCore::copiesWithRenameOnCollision()
{
    const QString dir = QmTest::Root().path() + QStringLiteral("/work");
    const QString source = dir + QStringLiteral("/capture.avi");
    WriteFile(source, QByteArray(100000, 'q'));
    const QString target = dir + QStringLiteral("/saved.avi");

    CopyFileWithShell(source, target);
    QCOMPARE(ReadFile(target), ReadFile(source));
    WriteFile(target, "kept");
    CopyFileWithShell(source, target); // onto an existing name: a new name
    CopyFileWithShell(source, target);
    QCOMPARE(ReadFile(target), QByteArray("kept"));
    QCOMPARE(ReadFile(dir + QStringLiteral("/saved (2).avi")), ReadFile(source));
    QCOMPARE(ReadFile(dir + QStringLiteral("/saved (3).avi")), ReadFile(source));
    // A folder as the target copies into it.
    QDir(dir).mkdir(QStringLiteral("into"));
    CopyFileWithShell(source, dir + QStringLiteral("/into"));
    QCOMPARE(ReadFile(dir + QStringLiteral("/into/capture.avi")), ReadFile(source));
    QVERIFY(FileOpRenameOnCollision && !FileOpSilent && !FileOpNoConfirmation);
    QVERIFY(Reports().isEmpty());

    CopyFileWithShell(dir + QStringLiteral("/missing.avi"), target);
    QCOMPARE(Reports().size(), 1);
    QCOMPARE(Reports()[0].number, QmErr::FileNotFound);
}

void TestCore::trapHandlesKnownNumbersAndReportsTheRest()
{
    int handled = 0;
    auto handler = [&](const QmError& e) {
        if (e.Number() != QmErr::DialogCancelled)
            return false;
        ++handled;
        return true;
    };
    QmTrap::Run(QStringLiteral("moduleX"), QStringLiteral("Quiet*"),
                [] { throw QmError(QmErr::DialogCancelled, QStringLiteral("Cancel")); }, handler);
    QCOMPARE(handled, 1);
    QVERIFY(Reports().isEmpty());

    QmTrap::Run(QStringLiteral("moduleX"), QStringLiteral("Loud"), [] { throw QmError(53, QStringLiteral("File not found")); },
                handler);
    QmTrap::Run(QStringLiteral("moduleX"), QStringLiteral("Std"), [] { throw std::runtime_error("boom"); });
    QCOMPARE(Reports().size(), 2);
    QCOMPARE(Reports()[0].function, QStringLiteral("Loud"));
    QCOMPARE(Reports()[0].number, 53);
    QCOMPARE(Reports()[1].number, 51);
    // A handler that fails in turn is reported, and nothing escapes.
    QmTrap::Run(QStringLiteral("moduleX"), QStringLiteral("Twice"), [] { throw QmError(5, QString()); },
                [](const QmError&) -> bool { throw QmError(9, QString()); });
    QCOMPARE(Reports().last().number, 9);
    QCOMPARE(QmTrap::Value<int>(QStringLiteral("m"), QStringLiteral("f*"), -1, [] { return 7; }), 7);
    QCOMPARE(QmTrap::Value<int>(QStringLiteral("m"), QStringLiteral("f*"), -1,
                                []() -> int { throw QmError(5, QString()); }),
             -1);
}

void TestCore::scriptedMessageBoxes()
{
    using namespace QmMsgBox;
    QmScript::AnswerMessage(No);
    QCOMPARE(MsgBox(QStringLiteral("Save?"), Icon::Question, Buttons::YesNoCancel), No);
    // An OK-only box needs no answer; it is recorded all the same.
    QCOMPARE(MsgBox(QStringLiteral("Done.")), OK);
    const QList<QmScript::ShownMessage> shown = QmScript::TakeMessages();
    QCOMPARE(shown.size(), 2);
    QCOMPARE(shown[0].title, QStringLiteral("Quillmont"));
    QCOMPARE(shown[0].icon, Icon::Question);
    QCOMPARE(shown[0].answer, No);
    QCOMPARE(shown[1].text, QStringLiteral("Done."));

    // A question nobody scripted is a failure of the test, not a hang.
    QStringList unexpected;
    QmScript::Enable([&](const QString& what) { unexpected << what; });
    QCOMPARE(MsgBox(QStringLiteral("Really?"), Icon::Question, Buttons::YesNo), Yes);
    QCOMPARE(unexpected.size(), 1);
    QDialog form;
    form.setObjectName(QStringLiteral("frmSomething"));
    QCOMPARE(QmModal::Exec(form), int(QDialog::Rejected));
    QCOMPARE(unexpected.size(), 2);
    QmScript::TakeMessages();
    QmTest::EnableScript();

    QmScript::HandleModal([](QDialog& dialog) { dialog.accept(); });
    QCOMPARE(QmModal::Exec(form), int(QDialog::Accepted));
    QVERIFY(QmDesktop::Open(QStringLiteral("https://quillmont.invalid/x")));
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{QStringLiteral("https://quillmont.invalid/x")});

    // A desktop with nothing to open a page or a file with: the user hears which.
    QmScript::SetDesktopCanOpen(false);
    QVERIFY(!QmDesktop::Open(QStringLiteral("file:///opt/quillmont/help/1_Welcome.htm#top")));
    QVERIFY(!QmDesktop::Open(QStringLiteral("https://quillmont.invalid/y")));
    QmScript::SetDesktopCanOpen(true);
    const QList<QmScript::ShownMessage> told = QmScript::TakeMessages();
    QCOMPARE(told.size(), 2);
    QVERIFY2(told[0].text.contains(QStringLiteral("\"/opt/quillmont/help/1_Welcome.htm\"")), qPrintable(told[0].text));
    QVERIFY(told[1].text.contains(QStringLiteral("\"https://quillmont.invalid/y\"")));
    QCOMPARE(told[1].title, QStringLiteral("Quillmont"));
    QCOMPARE(QmScript::TakeOpened().size(), 2);
}

void TestCore::scriptedDialogues()
{
    using namespace QmDialogs;
    FileRequest request;
    request.filter = QStringLiteral("Video Files (*.avi; *.wmv)|*.avi;*.wmv|All Files (*.*)|*.*");
    request.filterIndex = 2;
    request.flags = Flag::AllowMultiSelect | Flag::FileMustExist;
    request.maxFileSize = 40;

    QmScript::AnswerDialog(QVariant::fromValue(FileResult{QStringLiteral("/m/a.avi"), 1}));
    QCOMPARE(ShowOpen(request).fileName, QStringLiteral("/m/a.avi"));
    const QList<QmScript::DialogRequest> asked = QmScript::TakeDialogs();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].kind, QStringLiteral("open"));
    QCOMPARE(asked[0].filterIndex, 2);

    const auto errorOf = [](auto&& call) {
        try {
            call();
        } catch (const QmError& e) {
            return e.Number();
        }
        return 0;
    };
    // Names past the buffer: error 20476. Cancel: error 32755.
    const QString many = QStringLiteral("/m") + QChar(u'\0') + QStringLiteral("a.avi") + QChar(u'\0') +
                         QString(40, u'b') + QStringLiteral(".avi");
    QmScript::AnswerDialog(QVariant::fromValue(FileResult{many, 1}));
    QCOMPARE(errorOf([&] { ShowOpen(request); }), QmErr::BufferTooSmall);
    QmScript::CancelDialog();
    QCOMPARE(errorOf([&] { ShowSave(request); }), QmErr::DialogCancelled);
    QmScript::AnswerDialog(0x00FF8040);
    QCOMPARE(ShowColor(0), 0x00FF8040);
    QmScript::AnswerDialog(QStringLiteral("/work/out/"));
    QCOMPARE(BrowseForFolder(QStringLiteral("Folder"), QString()), QStringLiteral("/work/out"));
    QmScript::TakeDialogs();

    // Qt reads the patterns, in either case, from the last parentheses.
    QCOMPARE(QtFilters(request.filter),
             (QStringList{QStringLiteral("Video Files (*.avi; *.wmv) (*.avi *.AVI *.wmv *.WMV)"),
                          QStringLiteral("All Files (*.*) (*.*)")}));
}

void TestCore::settingsStore()
{
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Color Settings"), QStringLiteral("VideoBarColor"), QStringLiteral("x")),
             QStringLiteral("x"));
    QmSettings::SaveSetting(QStringLiteral("Color Settings"), QStringLiteral("VideoBarColor"), QStringLiteral("255"));
    QmSettings::SaveSetting(QStringLiteral("Recent Files"), QStringLiteral("File0"), QStringLiteral("/m/a b.avi"));
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Color Settings"), QStringLiteral("VideoBarColor")), QStringLiteral("255"));
    QmSettings::DeleteSetting(QStringLiteral("Recent Files"));
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Recent Files"), QStringLiteral("File0")), QString());
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Color Settings"), QStringLiteral("VideoBarColor")), QStringLiteral("255"));
    QVERIFY(QmSettings::StoreFile().startsWith(QmTest::Root().path()));

    // A batch's writes are read back at once and reach the file together when the
    // outermost batch ends; a write outside any batch reaches it at once.
    // The file's own text: another QSettings of this process would share the store's cache.
    auto onDisk = [](const char* key) {
        QFile file(QmSettings::StoreFile());
        if (!file.open(QIODevice::ReadOnly))
            return QString();
        const QByteArray start = QByteArray("Save%20Options\\") + key + '=';
        for (const QByteArray& line : file.readAll().split('\n'))
            if (line.startsWith(start))
                return QString::fromUtf8(line.mid(start.size()).trimmed());
        return QString();
    };
    {
        QmSettings::Batch outer;
        QmSettings::SaveSetting(QStringLiteral("Save Options"), QStringLiteral("FPS"), QStringLiteral("30"));
        {
            QmSettings::Batch inner;
            QmSettings::SaveSetting(QStringLiteral("Save Options"), QStringLiteral("Quality"), QStringLiteral("60"));
        }
        QCOMPARE(QmSettings::GetSetting(QStringLiteral("Save Options"), QStringLiteral("Quality")), QStringLiteral("60"));
        QCOMPARE(onDisk("FPS"), QString());
        QCOMPARE(onDisk("Quality"), QString());
    }
    QCOMPARE(onDisk("FPS"), QStringLiteral("30"));
    QCOMPARE(onDisk("Quality"), QStringLiteral("60"));
    QmSettings::SaveSetting(QStringLiteral("Save Options"), QStringLiteral("FPS"), QStringLiteral("25"));
    QCOMPARE(onDisk("FPS"), QStringLiteral("25"));
}

void TestCore::pictureDrawsToThePixel()
{
    QmPicture pic;
    pic.resize(60, 30);
    pic.SetBackColor(0xFFFFFF);
    const QImage& img = pic.Image();
    const auto black = [&](int x, int y) { return img.pixel(x, y) == qRgb(0, 0, 0); };
    const auto white = [&](int x, int y) { return img.pixel(x, y) == qRgb(255, 255, 255); };

    // A line leaves out its last point.
    pic.ForeColor = 0;
    pic.Line(0, 0, 0, 8);
    for (int y = 0; y < 8; ++y)
        QVERIFY2(black(0, y), qPrintable(QString::number(y)));
    QVERIFY(white(0, 8));
    pic.Line(40, 0, 52, 12); // the corner mark's diagonal
    for (int i = 0; i < 12; ++i)
        QVERIFY2(black(40 + i, i), qPrintable(QString::number(i)));
    QVERIFY(white(52, 12));

    // Boxes and fills take both corners; a box of no width is a column.
    pic.Cls();
    pic.Box(2, 2, 10, 10);
    QVERIFY(black(2, 2) && black(10, 10) && black(10, 2) && black(2, 10) && black(6, 2) && black(2, 6));
    QVERIFY(white(11, 10) && white(10, 11) && white(6, 6) && white(1, 1));
    pic.Box(20, 2, 20, 17);
    QVERIFY(black(20, 2) && black(20, 17) && white(20, 18) && white(21, 10) && white(20, 1));
    pic.ForeColor = 0x0000FF; // red, as 0x00BBGGRR
    pic.BoxFill(30, 3, 33, 5);
    QCOMPARE(QColor(img.pixel(30, 3)), QColor(Qt::red));
    QCOMPARE(QColor(img.pixel(33, 5)), QColor(Qt::red));
    QVERIFY(white(34, 5) && white(33, 6));

    // The dotted style: every other pixel.
    pic.Cls();
    pic.ForeColor = 0;
    pic.DrawStyle = QmPicture::Dot;
    pic.Box(1, 1, 21, 11);
    QVERIFY(black(1, 1) && white(2, 1) && black(3, 1) && white(4, 1));
    QVERIFY(black(1, 3) && white(1, 4));
    pic.DrawStyle = QmPicture::Solid;

    // Drawn within a batch, the same calls leave the same pixels, and the text goes on
    // from where it ended.
    auto draw = [](QmPicture& p) {
        p.ForeColor = 0x00C000;
        p.BoxFill(3, 3, 40, 20);
        p.ForeColor = 0;
        p.Box(3, 3, 40, 20);
        p.ForeColor = 0xFFFFFF;
        p.Box(5, 5, 5, 18);
        p.Box(5, 5, 38, 5);
        p.DrawStyle = QmPicture::Dot;
        p.ForeColor = 0;
        p.Box(4, 4, 39, 19);
        p.DrawStyle = QmPicture::Solid;
        p.Line(28, 3, 40, 15);
        p.ForeColor = static_cast<int32_t>(0x80000008u);
        p.CurrentX = 8;
        p.CurrentY = 6;
        p.Print(QStringLiteral("ab"));
        return p.CurrentX;
    };
    QmPicture alone, batched;
    for (QmPicture* p : {&alone, &batched}) {
        p->resize(60, 30);
        p->SetBackColor(0xFFFFFF);
    }
    const int endAlone = draw(alone);
    int endBatched = 0;
    {
        QmPicture::Batch batch(batched);
        endBatched = draw(batched);
    }
    QCOMPARE(endBatched, endAlone);
    QVERIFY(alone.Image() == batched.Image());
}

void TestCore::videoSurfaceProbeCountsPaintsLateAndSkipped()
{
    QmVideoSurface surface;
    surface.setObjectName(QStringLiteral("picDisplay"));
    surface.resize(200, 100);
    surface.show();
    QVERIFY(QTest::qWaitForWindowExposed(&surface));
    QCOMPARE(surface.DisplaySize(), QSize(200, 100));
    QImage frame(80, 60, QImage::Format_RGBA8888);
    frame.fill(Qt::red);

    // Two frames before a paint: the first was never seen.
    surface.PresentFrame(frame, QRect(10, 10, 80, 60));
    surface.PresentFrame(frame, QRect(10, 10, 80, 60));
    QCOMPARE(surface.DisplaySize(), QSize(80, 60)); // the video window, not the widget
    surface.repaint();
    QmVideoSurface::PaintCounts counts = surface.PaintProbe();
    QCOMPARE(counts.presented, 2);
    QCOMPARE(counts.painted, 1);
    QCOMPARE(counts.skipped, 1);
    QCOMPARE(counts.late, 0);
    QCOMPARE(surface.grab().toImage().pixelColor(50, 40), QColor(Qt::red));

    // A paint with no new frame counts nothing; one more than a frame's time after its
    // frame came is late.
    surface.repaint();
    QCOMPARE(surface.PaintProbe().painted, 1);
    surface.PresentFrame(frame, QRect(10, 10, 80, 60));
    QTest::qSleep(60);
    surface.repaint();
    counts = surface.PaintProbe();
    QCOMPARE(counts.painted, 2);
    QCOMPARE(counts.late, 1);
    QVERIFY2(surface.PaintProbeLine().startsWith(
                 QLatin1String("paint-probe picDisplay size 200x100 presented 3 painted 2 late 1 skipped 1 ")),
             qPrintable(surface.PaintProbeLine()));
    // The queued repaints find nothing new.
    QApplication::processEvents();
    QCOMPARE(surface.PaintProbe().painted, 2);
}

QM_TEST_MAIN(TestCore)
#include "test_core.moc"
