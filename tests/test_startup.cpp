// Quillmont's start: the entry routine and the splash. The paths that end the start
// early are run in real processes of the program, as a user would meet them.
#include "QmTestSupport.h"

#include "entry/EntryRoutine.h"
#include "core/QmShared.h"
#include "entry/frmSplash.h"
#include "shell/mdiTarnwick.h"

#include <QProcess>
#include <QSettings>

namespace {

struct Run
{
    QProcess process;
    QString log;
};

// Starts the real program with every folder in the test's own, answering its message
// boxes from answers and writing what it shows to a log.
std::unique_ptr<Run> Start(const QString& name, const QString& answers, const QString& probe,
                           const QMap<QString, QString>& extra = {})
{
    auto run = std::make_unique<Run>();
    const QString root = QmTest::Root().path();
    run->log = root + QStringLiteral("/") + name + QStringLiteral(".log");
    QFile::remove(run->log);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("QUILLMONT_SCRIPT_LOG"), run->log);
    env.insert(QStringLiteral("QUILLMONT_SCRIPT_ANSWERS"), answers);
    if (!probe.isEmpty())
        env.insert(QStringLiteral("QUILLMONT_STARTUP_PROBE"), probe);
    for (auto it = extra.constBegin(); it != extra.constEnd(); ++it)
        env.insert(it.key(), it.value());
    run->process.setProcessEnvironment(env);
    run->process.start(QStringLiteral(QM_QUILLMONT_EXE), {});
    return run;
}

bool WaitForLine(QProcess& process, const QByteArray& line, int timeoutMs = 30000)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray seen;
    while (timer.elapsed() < timeoutMs) {
        if (process.waitForReadyRead(200))
            seen += process.readAllStandardOutput();
        if (seen.contains(line))
            return true;
        if (process.state() == QProcess::NotRunning && !process.bytesAvailable())
            return seen.contains(line);
    }
    return false;
}

QStringList LogLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace

void SetTutorialSetting(const QString& value)
{
    QSettings store(QmTest::Root().path() + QStringLiteral("/config/quillmont.ini"), QSettings::IniFormat);
    store.setValue(QStringLiteral("Quillmont 1.1/Save Options/Tutorial"), value);
}

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void missingEngineClassShowsTheTwoLineMessage();
    void tutorialRunsWhileTheSettingAllows();
    void secondInstanceIsRefused();
    void mediaFrameworkQuestion();
};

void TestStartup::initTestCase()
{
    // The runs below are about other things than the tutorial of a first start.
    SetTutorialSetting(QStringLiteral("1"));
}

void TestStartup::tutorialRunsWhileTheSettingAllows()
{
    for (const char* value : {"", "0", "1"}) {
        SetTutorialSetting(QString::fromLatin1(value));
        auto run = Start(QStringLiteral("tutorial"), QString(), QStringLiteral("exit"));
        QVERIFY2(WaitForLine(run->process, "QUILLMONT-SHOWN"), value);
        QVERIFY(run->process.waitForFinished(30000));
        const QStringList log = LogLines(run->log);
        if (QByteArray(value) == "1") {
            QCOMPARE(log, QStringList());
        } else {
            QCOMPARE(log.size(), 1);
            QVERIFY2(log[0].startsWith(QStringLiteral("OPEN\tfile://")) && log[0].endsWith(QStringLiteral("/help/tutorial/index.html")),
                     qPrintable(log[0]));
        }
    }
    SetTutorialSetting(QStringLiteral("1"));
}

void TestStartup::missingEngineClassShowsTheTwoLineMessage()
{
    EntryRoutine::Main(QStringLiteral("TWCore.NoSuchTimeline"));
    const QList<QmScript::ShownMessage> shown = QmScript::TakeMessages();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown[0].text, QStringLiteral("Unable to initialize. Please install DirectX 8.0 or higher.\r\n"
                                           "If this does not solve your problem then you may have to re-install "
                                           "Quillmont."));
    QCOMPARE(shown[0].icon, QmMsgBox::Icon::Information);
    QCOMPARE(shown[0].title, QStringLiteral("Quillmont"));
    // No engine, and no form at all: not even the splash.
    QVERIFY(!QmShared::Engine);
    QVERIFY(!frmSplash::exists());
    QVERIFY(!mdiTarnwick::exists());
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void TestStartup::secondInstanceIsRefused()
{
    auto first = Start(QStringLiteral("first"), QString(), QStringLiteral("stay"));
    QVERIFY2(WaitForLine(first->process, "QUILLMONT-SHOWN"), "the first Quillmont did not come up");

    auto second = Start(QStringLiteral("second"), QString(), QStringLiteral("stay"));
    QVERIFY(second->process.waitForFinished(30000));
    QCOMPARE(second->process.exitCode(), 0);
    QVERIFY(!second->process.readAllStandardOutput().contains("QUILLMONT-SHOWN"));
    // One message, and no form besides the splash.
    QCOMPARE(LogLines(second->log), QStringList{QStringLiteral("MSGBOX\tQuillmont\tQuillmont is already running.")});
    QVERIFY(first->process.state() == QProcess::Running);

    // The lock of a Quillmont that died is taken over by the next.
    first->process.kill();
    QVERIFY(first->process.waitForFinished(10000));
    auto third = Start(QStringLiteral("third"), QString(), QStringLiteral("exit"));
    QVERIFY2(WaitForLine(third->process, "QUILLMONT-SHOWN"), "a Quillmont after a crash did not come up");
    QVERIFY(third->process.waitForFinished(30000));
    QCOMPARE(LogLines(third->log), QStringList());
}

void TestStartup::mediaFrameworkQuestion()
{
    // MLT looks for its modules in an empty folder: the engine answers false.
    const QString empty = QmTest::Root().path() + QStringLiteral("/no-modules");
    QDir().mkpath(empty);
    const QMap<QString, QString> noModules{{QStringLiteral("MLT_REPOSITORY"), empty}};
    const QString question = QStringLiteral(
        "MSGBOX\tQuillmont\tUnable to initialize. Quillmont requires DirectX 8.0 or higher to run.\\r\\n"
        "You may be able to use Quillmont but it may not respond as desired.\\r\\n\\r\\n"
        "Do you wish to continue anyway?");

    auto declined = Start(QStringLiteral("declined"), QStringLiteral("No"), QStringLiteral("exit"), noModules);
    QVERIFY(declined->process.waitForFinished(30000));
    QVERIFY(!declined->process.readAllStandardOutput().contains("QUILLMONT-SHOWN"));
    QCOMPARE(LogLines(declined->log), QStringList{question});

    auto accepted = Start(QStringLiteral("accepted"), QStringLiteral("Yes"), QStringLiteral("exit"), noModules);
    QVERIFY2(WaitForLine(accepted->process, "QUILLMONT-SHOWN"), "Yes did not carry on to the main window");
    QVERIFY(accepted->process.waitForFinished(30000));
    QCOMPARE(LogLines(accepted->log), QStringList{question});
}

QM_TEST_MAIN(TestStartup)
#include "test_startup.moc"
