// The error log and the report dialogue: the exact record that a trapped error leaves
// in ErrLog.asr, the silent and the reported way through a real trap, and the
// dialogue's buttons as a user presses them, down to the report page handed to the
// desktop.
#include "QmTestSupport.h"

#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmWeb.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "report/frmbug.h"

#include <QFile>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QRegularExpression>
#include <QSysInfo>

namespace {

const QStringList Labels = {
    QStringLiteral("Date         : "), QStringLiteral("Ver          : "), QStringLiteral("OS           : "),
    QStringLiteral("Number       : "), QStringLiteral("Description  : "), QStringLiteral("Module       : "),
    QStringLiteral("Function     : "), QStringLiteral("Zoom Factor  : "), QStringLiteral("Slider Pos   : "),
    QStringLiteral("Duration     : "), QStringLiteral("File Vers    : "), QStringLiteral("Mem Status   : "),
    QStringLiteral("Lang ID      : "),
};
constexpr int RecordLines = 14;
constexpr int32_t TimelineLength = 3500;

const QString ReportContents = QStringLiteral(
    "This error report includes information regarding the condition of Quillmont when the problem occured and "
    "the Operating System Version.\r\nWe do not collect your files, name, address and/or e-mail address or any "
    "other form of personally identifiable information. The error report does not contain any Customer Specific "
    "Information whatsoever. The data we collect will only be used to fix the problem. If more information is "
    "available we will let you know. This error report will be considered confidential and will not be used for "
    "any marketing purposes by Brindlecove.");

QByteArray LogBytes()
{
    QFile file(frmbug::ErrLogPath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList LogLines()
{
    QStringList lines = QString::fromUtf8(LogBytes()).split(QLatin1Char('\n'));
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QString Value(const QString& line)
{
    return line.mid(15);
}

void RaiseIn(const QString& function, int32_t number, const QString& description)
{
    QmTrap::Run(QStringLiteral("moduleReportTest"), function,
                [&] { throw QmError(number, description); });
}

QString Unescaped(QString text)
{
    static const QRegularExpression reference(QStringLiteral("&#(\\d+);"));
    QString out;
    qsizetype at = 0;
    for (auto it = reference.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += text.mid(at, m.capturedStart() - at);
        const char32_t code = m.captured(1).toUInt();
        out += QString::fromUcs4(&code, 1);
        at = m.capturedEnd();
    }
    out += text.mid(at);
    out.replace(QLatin1String("&lt;"), QLatin1String("<"));
    out.replace(QLatin1String("&gt;"), QLatin1String(">"));
    out.replace(QLatin1String("&quot;"), QLatin1String("\""));
    out.replace(QLatin1String("&amp;"), QLatin1String("&"));
    return out;
}

// The attributes of a tag that stands alone on its line; an empty map when the line
// is not one whole tag of single-quoted attributes (a quote in a value broke it).
QMap<QString, QString> TagAttributes(const QString& line, const QString& tag)
{
    static const QRegularExpression attribute(QStringLiteral(" (\\w+)='([^']*)'"));
    const QRegularExpression whole(QStringLiteral("^<%1(?: \\w+='[^']*')+>$").arg(tag));
    QMap<QString, QString> attributes;
    if (!whole.match(line).hasMatch())
        return attributes;
    for (auto it = attribute.globalMatch(line); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        attributes.insert(m.captured(1).toUpper(), Unescaped(m.captured(2)));
    }
    return attributes;
}

QPushButton* Button(QDialog& dialog, const char* name)
{
    auto* button = dialog.findChild<QPushButton*>(QString::fromLatin1(name));
    if (!button)
        QTest::qFail(qPrintable(QStringLiteral("no button ") + QLatin1String(name)), __FILE__, __LINE__);
    return button;
}

} // namespace

class TestReport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void recordHasEveryLineInOrder();
    void manySilentErrorsAreAllKept();
    void reportedErrorIsLoggedBeforeTheDialogueShows();
    void dontSendKeepsTheLogAndSendPostsBothRecords();
    void clickHereExplainsTheReport();
    void reportingNeedsNoEngineAndNeverFails();
};

void TestReport::initTestCase()
{
    QmShared::Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    frmbug::InstallReporter();

    // A timeline of known length for the "Duration" line.
    auto& root = QmShared::Eng<ITWCoreRoot>();
    auto& timeline = QmShared::Eng<ITWTimeline>();
    const int32_t file = root.OpenFile(QmTest::Fixture(QStringLiteral("video.avi")));
    QVERIFY(file != 0);
    const int32_t stream = QmShared::Eng<ITWMediaFiles>().OpenStream(file, 0);
    QVERIFY(stream != 0);
    const int32_t track = timeline.CreateTrack(true);
    QVERIFY(timeline.InsertSource(track, stream, 0, 0, TimelineLength));
    QmShared::TrackCollection.Add(track);
}

void TestReport::init()
{
    QFile::remove(frmbug::ErrLogPath());
    QFile::remove(frmbug::ReportPagePath());
    QmScript::TakeMessages();
    QmScript::TakeOpened();
}

void TestReport::cleanup()
{
    QmShared::ZoomFactor = 10;
    QmShared::SliderPosition = 0;
    QVERIFY2(QmTest::TakeMessageTexts().isEmpty(), "a message box nobody looked at");
    QVERIFY2(QmScript::TakeOpened().isEmpty(), "something opened that nobody looked at");
}

void TestReport::recordHasEveryLineInOrder()
{
    QmShared::ZoomFactor = 40;
    QmShared::SliderPosition = 1250;
    const QLocale locale = QLocale::system();
    const QString dayBefore = locale.toString(QDate::currentDate(), QLocale::ShortFormat);
    RaiseIn(QStringLiteral("RenderAllBars*"), QmErr::SubscriptOutOfRange, QStringLiteral("Subscript out of range"));
    const QString dayAfter = locale.toString(QDate::currentDate(), QLocale::ShortFormat);

    const QStringList lines = LogLines();
    QCOMPARE(lines.size(), RecordLines);
    for (int i = 0; i < Labels.size(); ++i) {
        QCOMPARE(Labels[i].size(), 15);
        QCOMPARE(lines[i].left(15), Labels[i]);
    }
    QCOMPARE(lines[13], QStringLiteral(" "));

    const QString date = Value(lines[0]);
    QVERIFY2(date.startsWith(dayBefore + QLatin1Char(' ')) || date.startsWith(dayAfter + QLatin1Char(' ')),
             qPrintable(date));
    QCOMPARE(Value(lines[1]), QStringLiteral("1.8 Release 1"));
    QCOMPARE(Value(lines[3]), QStringLiteral("9"));
    QCOMPARE(Value(lines[4]), QStringLiteral("Subscript out of range"));
    QCOMPARE(Value(lines[5]), QStringLiteral("moduleReportTest"));
    QCOMPARE(Value(lines[6]), QStringLiteral("RenderAllBars*"));
    QCOMPARE(Value(lines[7]), QStringLiteral("40"));
    QCOMPARE(Value(lines[8]), QStringLiteral("1250"));
    QCOMPARE(Value(lines[9]), QString::number(TimelineLength));

    // The system by name, then the kernel's numbers in the shape of the line.
    static const QRegularExpression os(
        QStringLiteral("^(.+) Version: \\[(.+)\\] Major: \\[(\\d+)\\] Minor: \\[(\\d+)\\] Platform: \\[(\\w+)\\]$"));
    const QRegularExpressionMatch system = os.match(Value(lines[2]));
    QVERIFY2(system.hasMatch(), qPrintable(lines[2]));
    QCOMPARE(system.captured(1), QSysInfo::prettyProductName());
    QCOMPARE(system.captured(2), QSysInfo::kernelVersion());
    QVERIFY(system.captured(2).startsWith(system.captured(3) + QLatin1Char('.') + system.captured(4)));
    QCOMPARE(system.captured(5), QStringLiteral("linux"));

    // The engine's own figures: three versions of four parts, four memory numbers.
    auto& root = QmShared::Eng<ITWCoreRoot>();
    QStringList versions;
    for (const char* component : {"mscomctl.ocx", "comdlg32.ocx", "msxml.dll"}) {
        int32_t major = 0, minor = 0, build = 0, revision = 0;
        root.GetFileVersionInfo(QString::fromLatin1(component), major, minor, build, revision);
        versions << QString::number(major) << QString::number(minor) << QString::number(build)
                 << QString::number(revision);
    }
    QCOMPARE(Value(lines[10]), versions.join(QStringLiteral(", ")));
    QCOMPARE(versions.first(), QString::number(QT_VERSION_MAJOR));

    const QStringList memory = Value(lines[11]).split(QStringLiteral(", "));
    QCOMPARE(memory.size(), 4);
    int32_t load = 0, total = 0, freePhysical = 0, freeSwap = 0;
    root.GetMemoryStatus(load, total, freePhysical, freeSwap);
    QCOMPARE(memory[1], QString::number(total));
    for (const QString& number : memory) {
        bool ok = false;
        number.toInt(&ok);
        QVERIFY2(ok, qPrintable(lines[11]));
    }

    const QString language = Value(lines[12]);
    QVERIFY(!language.isEmpty() && language.size() <= 10);
    QCOMPARE(language, root.GetSystemVersion(10).trimmed());
}

void TestReport::manySilentErrorsAreAllKept()
{
    constexpr int Count = 30;
    for (int i = 1; i <= Count; ++i)
        RaiseIn(QStringLiteral("OnTick%1*").arg(i), 1000 + i, QStringLiteral("failure %1").arg(i));

    // No dialogue came up (the script fails on a form nobody answers), and every
    // record is there, whole and in order.
    const QStringList lines = LogLines();
    QCOMPARE(lines.size(), Count * RecordLines);
    for (int r = 0; r < Count; ++r) {
        const int at = r * RecordLines;
        QVERIFY(lines[at].startsWith(Labels[0]));
        QCOMPARE(lines[at + 3], Labels[3] + QString::number(1001 + r));
        QCOMPARE(lines[at + 4], Labels[4] + QStringLiteral("failure %1").arg(r + 1));
        QCOMPARE(lines[at + 6], Labels[6] + QStringLiteral("OnTick%1*").arg(r + 1));
        QCOMPARE(lines[at + 12].left(15), Labels[12]);
        QCOMPARE(lines[at + 13], QStringLiteral(" "));
    }
}

void TestReport::reportedErrorIsLoggedBeforeTheDialogueShows()
{
    QString shown;
    QString title;
    QStringList linesWhenShown;
    QmScript::HandleModal([&](QDialog& dialog) {
        shown = dialog.objectName();
        title = dialog.windowTitle();
        linesWhenShown = LogLines();
        Button(dialog, "frmdontsend")->click();
    });
    RaiseIn(QStringLiteral("OnFileOpenClick"), QmErr::ObjectNotSet,
            QStringLiteral("Object variable or With block variable not set"));

    QCOMPARE(shown, QStringLiteral("frmbug"));
    QCOMPARE(title, QStringLiteral("Quillmont"));
    QCOMPARE(linesWhenShown.size(), RecordLines);
    QCOMPARE(linesWhenShown[6], Labels[6] + QStringLiteral("OnFileOpenClick"));
    QCOMPARE(linesWhenShown[3], Labels[3] + QStringLiteral("91"));
    // Closing wrote nothing more.
    QCOMPARE(LogLines(), linesWhenShown);
    QVERIFY(!frmbug::instance()->isVisible());
    QVERIFY(!QFile::exists(frmbug::ReportPagePath()));
}

void TestReport::dontSendKeepsTheLogAndSendPostsBothRecords()
{
    QmScript::HandleModal([](QDialog& dialog) { Button(dialog, "frmdontsend")->click(); });
    RaiseIn(QStringLiteral("EditCut"), QmErr::IllegalCall, QStringLiteral("Invalid procedure call or argument"));
    QCOMPARE(LogLines().size(), RecordLines);

    // A description that would break a careless page: quotes of both kinds, markup, an
    // ampersand, a letter beyond ASCII and a carriage return within the line.
    const QString tricky = QStringLiteral("It's \"quoted\" <b> & ") + QChar(0x00FC) + QStringLiteral("ber\rend");
    QByteArray logWhenSent;
    int result = -1;
    QmScript::HandleModal([&](QDialog& dialog) {
        logWhenSent = LogBytes();
        Button(dialog, "cmdsendreport")->click();
        result = dialog.result();
    });
    RaiseIn(QStringLiteral("PasteClip"), QmErr::PathFileAccess, tricky);

    QCOMPARE(result, int(QDialog::Accepted));
    QVERIFY(!QFile::exists(frmbug::ErrLogPath()));
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{frmbug::ReportPagePath()});
    QVERIFY(!QFile::exists(QDir::tempPath() + QStringLiteral("/ErrPrj.qpj")));

    // The log as the report carries it: each line followed by " <br>", the carriage
    // return inside dropped.
    QStringList logLines = QString::fromUtf8(logWhenSent).split(QLatin1Char('\n'));
    QCOMPARE(logLines.takeLast(), QString());
    QCOMPARE(logLines.size(), 2 * RecordLines);
    QString joined;
    for (QString line : logLines)
        joined += line.remove(QLatin1Char('\r')) + QStringLiteral(" <br>");
    QVERIFY(joined.contains(QStringLiteral("Function     : EditCut <br>")));
    QVERIFY(joined.contains(QStringLiteral("Description  : ") + QStringLiteral("It's \"quoted\" <b> & ") +
                            QChar(0x00FC) + QStringLiteral("berend <br>")));
    QVERIFY(joined.endsWith(QStringLiteral("  <br>")));

    QFile pageFile(frmbug::ReportPagePath());
    QVERIFY(pageFile.open(QIODevice::ReadOnly));
    QStringList page = QString::fromUtf8(pageFile.readAll()).split(QLatin1Char('\n'));
    if (page.last().isEmpty())
        page.removeLast();
    QCOMPARE(page.size(), 15);
    const QStringList head = {
        "<html>", "<HEAD>", "<SCRIPT LANGUAGE='javascript'>", "function justSubmit()", "{",
        "document.frmlogin.submit()", "}", "</SCRIPT>", "</HEAD>", "<BODY ONLOAD='justSubmit()'>",
    };
    QCOMPARE(page.mid(0, head.size()), head);
    QCOMPARE(page.mid(12), (QStringList{"</FORM>", "</BODY>", "</HTML>"}));

    const QMap<QString, QString> form = TagAttributes(page[10], QStringLiteral("FORM"));
    QCOMPARE(form.value(QStringLiteral("NAME")), QStringLiteral("frmlogin"));
    QCOMPARE(form.value(QStringLiteral("METHOD")).toLower(), QStringLiteral("post"));
    QCOMPARE(form.value(QStringLiteral("ACTION")), QmWeb::Address(QStringLiteral("/Quillmont/err_mail_qmt.aspx")));

    const QMap<QString, QString> input = TagAttributes(page[11], QStringLiteral("INPUT"));
    QVERIFY2(!input.isEmpty(), qPrintable(page[11]));
    QCOMPARE(input.value(QStringLiteral("TYPE")).toLower(), QStringLiteral("hidden"));
    QCOMPARE(input.value(QStringLiteral("NAME")), QStringLiteral("bodytext"));
    QCOMPARE(input.value(QStringLiteral("VALUE")), joined);
    // Nothing outside ASCII stands in the page itself.
    for (QChar c : page[11])
        QVERIFY(c.unicode() < 0x80);

    // The next error starts a fresh log.
    RaiseIn(QStringLiteral("OnTimer*"), QmErr::Overflow, QStringLiteral("Overflow"));
    QCOMPARE(LogLines().size(), RecordLines);
}

void TestReport::clickHereExplainsTheReport()
{
    QStringList texts;
    QString buttons;
    QList<QmScript::ShownMessage> explained;
    QmScript::HandleModal([&](QDialog& dialog) {
        for (const QLabel* label : dialog.findChildren<QLabel*>())
            texts << label->text();
        buttons = Button(dialog, "cmdsendreport")->text() + QLatin1Char('|') + Button(dialog, "frmdontsend")->text();
        auto* link = dialog.findChild<QLabel*>(QStringLiteral("lblReportContents"));
        QVERIFY(link);
        QTest::mouseClick(link, Qt::LeftButton);
        explained = QmScript::TakeMessages();
        Button(dialog, "frmdontsend")->click();
    });
    RaiseIn(QStringLiteral("mnuHelpAbout_Click"), QmErr::FileNotFound, QStringLiteral("File not found"));

    for (const char* text : {"Please tell Brindlecove about this problem",
                             "If you are in middle of something, the process you were working on may not work "
                             "completely.",
                             "We have created error report that you can send to help us improve Quillmont. We will "
                             "treat this as confidential and anonymous.",
                             "To see what data this report contains,", "click here"})
        QVERIFY2(texts.contains(QString::fromLatin1(text)), text);
    QCOMPARE(buttons, QStringLiteral("Send Error Report|Don't Send"));

    QCOMPARE(explained.size(), 1);
    QCOMPARE(explained[0].text, ReportContents);
    QCOMPARE(explained[0].title, QStringLiteral("Quillmont"));
    QCOMPARE(explained[0].buttons, QmMsgBox::Buttons::OkOnly);
    // Reading the explanation neither sends nor drops the log.
    QCOMPARE(LogLines().size(), RecordLines);
}

void TestReport::reportingNeedsNoEngineAndNeverFails()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));

    // Without an engine the record is whole; the engine's figures are left out.
    const std::shared_ptr<ITWObject> engine = std::exchange(QmShared::Engine, nullptr);
    QmShared::ZoomFactor = 160;
    RaiseIn(QStringLiteral("InitTimeline*"), QmErr::ObjectNotSet, QStringLiteral("no engine"));
    QmShared::Engine = engine;
    const QStringList lines = LogLines();
    QCOMPARE(lines.size(), RecordLines);
    QCOMPARE(lines[7], Labels[7] + QStringLiteral("160"));
    for (int i : {9, 10, 11, 12})
        QCOMPARE(lines[i], Labels[i]);
    QCOMPARE(lines[13], QStringLiteral(" "));

    // A log that cannot be written is dropped without a word, and the dialogue still
    // comes up for an error the user should hear of.
    const QByteArray dataDir = qgetenv("QUILLMONT_DATA_DIR");
    const QString blocker = QmTest::Root().path() + QStringLiteral("/blocked");
    QFile block(blocker);
    QVERIFY(block.open(QIODevice::WriteOnly));
    block.close();
    qputenv("QUILLMONT_DATA_DIR", QFile::encodeName(blocker));
    RaiseIn(QStringLiteral("OnTick*"), QmErr::Overflow, QStringLiteral("Overflow"));
    bool shown = false;
    QmScript::HandleModal([&](QDialog& dialog) {
        shown = true;
        Button(dialog, "frmdontsend")->click();
    });
    RaiseIn(QStringLiteral("OnSave"), QmErr::Overflow, QStringLiteral("Overflow"));
    qputenv("QUILLMONT_DATA_DIR", dataDir);
    QVERIFY(shown);
    QCOMPARE(LogLines().size(), RecordLines);
}

QM_TEST_MAIN(TestReport)
#include "test_report.moc"
