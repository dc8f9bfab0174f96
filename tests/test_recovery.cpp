// The recovery copy: written after changes and read back whole; removed by a save and by
// a clean exit; a restore offered once, only for a copy a run left behind, as the unsaved
// project it was; a copy that cannot be read, or whose restore stopped Quillmont, set
// aside for good; another Quillmont's copy left alone. And the kill test: the real program
// driven by a run script, killed with SIGKILL at 100 random moments and started again,
// each time restoring every operation that finished more than a second before the kill.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmTrap.h"
#include "core/QmXml.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "project/ModuleProject.h"
#include "project/ModuleRecovery.h"
#include "shell/QmMenuArray.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleTimeline.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QLockFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

using namespace QmShared;
using QmTest::Main;

namespace {

void Run(const char* command)
{
    Main()->RunCommand(QString::fromLatin1(command));
}

void OpenFixture(const char* name)
{
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{QmTest::Fixture(QString::fromLatin1(name)), 4}));
    Run("mnuFileOpen");
}

void AddLastToTimeline()
{
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    for (int row = 0; row < list->Count(); ++row)
        list->SetSelected(row, row == list->Count() - 1);
    Run("mnuEditAddToTimeline");
}

// Lets the watch see the project, and waits for its worker.
void Settle()
{
    ModuleRecovery::Check();
    ModuleRecovery::Flush();
}

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The program as at start: nothing open.
void Empty()
{
    ModuleHistory::EmptyTimeline();
    moduleTarnwick::CloseAllMediaFiles();
    ModuleHistory::EmptyHistory();
    moduleBookmarks::RemoveBookmarks();
    TimelineView::SetZoom(10);
    ProjectModified = MediaListDirty = ProjectSaved = false;
    ProjectFilePath.clear();
}

const QString kRestorePrompt = QStringLiteral("Quillmont did not close properly. Restore the work on ");

} // namespace

class TestRecovery : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void copyFollowsChangesAndRestoresWhole();
    void saveAndCleanExitRemoveIt();
    void unreadableCopiesAreSetAsideForGood();
    void anotherQuillmontsCopyIsLeftAlone();
    void killedAtRandomMomentsNothingOlderThanASecondIsLost();

private:
    QStringList m_reported;
    QTemporaryDir m_folder;
};

void TestRecovery::initTestCase()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reported << module + u'.' + function + QStringLiteral(": ") + error.Description();
    });
    QVERIFY(QmTest::StartMainWindow(1200, 800));
}

void TestRecovery::init()
{
    ModuleRecovery::Finish();
    Empty();
    QDir(ModuleRecovery::Folder()).removeRecursively();
}

void TestRecovery::cleanup()
{
    ModuleRecovery::Finish();
    const QStringList reported = std::exchange(m_reported, {});
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QCOMPARE(reported, QStringList());
}

void TestRecovery::copyFollowsChangesAndRestoresWhole()
{
    // No copy: nothing is asked at start.
    ModuleRecovery::StartUp(QString());
    Settle();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));

    // Each change is in the copy: a file, an item, a marker, the zoom.
    OpenFixture("video.avi");
    Settle();
    QVERIFY(QFile::exists(ModuleRecovery::CopyPath()));
    AddLastToTimeline();
    moduleTimeline::SetSliderPosition(700, false);
    Run("mnuToolsAddBookmark");
    Run("mnuToolsZoomOut");
    ProjectFilePath = m_folder.filePath(QStringLiteral("trip.qpj"));
    ProjectSaved = true;
    Settle();
    const QByteArray digest = ModuleRecovery::StateDigest();
    const QByteArray copy = Read(ModuleRecovery::CopyPath());
    // A project document with its particulars; nothing left beside it.
    pugi::xml_document document;
    QVERIFY(QmXml::Parse(document, copy));
    QCOMPARE(QString::fromUtf8(document.first_child().name()), QStringLiteral("mlt"));
    const pugi::xml_node particulars = document.first_child().child("RecoveryInfo");
    QCOMPARE(QString::fromUtf8(particulars.attribute("Project").value()), ProjectFilePath);
    QCOMPARE(QDir(ModuleRecovery::Folder()).entryList({QStringLiteral("work*")}, QDir::Files), QStringList{"work.qpj"});

    // A run that stopped leaves the copy: the next start offers it once and restores the
    // work as the unsaved project it was, under its own name.
    ModuleRecovery::Finish();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    QmXml::WriteFile(ModuleRecovery::CopyPath(), copy);
    Empty();
    QmScript::AnswerMessage(QmMsgBox::Yes);
    ModuleRecovery::StartUp(QString());
    const QStringList asked = QmTest::TakeMessageTexts();
    QCOMPARE(asked.size(), 1);
    QVERIFY2(asked[0].startsWith(kRestorePrompt + QStringLiteral("\"trip.qpj\" from ")), qPrintable(asked[0]));
    QCOMPARE(ModuleRecovery::StateDigest(), digest);
    QVERIFY(ProjectModified && ProjectSaved);
    QCOMPARE(ProjectFilePath, m_folder.filePath(QStringLiteral("trip.qpj")));
    QCOMPARE(frmMediaList::instance()->windowTitle(), QStringLiteral("Media List - Project: trip.qpj"));
    QVERIFY(Main()->mnuFileRP().Caption(0) != ModuleRecovery::Folder() + QStringLiteral("/restoring.qpj"));
    // Save writes where the user expects.
    Run("mnuFileSaveProject");
    QVERIFY(QFile::exists(m_folder.filePath(QStringLiteral("trip.qpj"))));
    QVERIFY(!ProjectModified);

    // No to the offer: the copy goes, and is not offered again.
    ModuleRecovery::Finish();
    QmXml::WriteFile(ModuleRecovery::CopyPath(), copy);
    Empty();
    QmScript::AnswerMessage(QmMsgBox::No);
    ModuleRecovery::StartUp(QString());
    QCOMPARE(QmTest::TakeMessageTexts().size(), 1);
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 0);
    ModuleRecovery::Finish();
    ModuleRecovery::StartUp(QString());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());

    // An untitled project, restored while the command line names a project: the work
    // comes first, and Save asks for a name.
    ModuleRecovery::Finish();
    Empty();
    pugi::xml_document untitled;
    QVERIFY(QmXml::Parse(untitled, copy));
    untitled.first_child().child("RecoveryInfo").attribute("Project") = "";
    QmXml::Save(untitled, ModuleRecovery::CopyPath());
    QmScript::AnswerMessage(QmMsgBox::Yes);
    ModuleRecovery::StartUp(m_folder.filePath(QStringLiteral("trip.qpj")));
    QVERIFY(QmTest::TakeMessageTexts().value(0).startsWith(kRestorePrompt + QStringLiteral("the untitled project from ")));
    QVERIFY(ProjectModified && !ProjectSaved);
    QCOMPARE(frmMediaList::instance()->windowTitle(), QStringLiteral("Media List - Project: Untitled"));
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 1);
}

void TestRecovery::saveAndCleanExitRemoveIt()
{
    ModuleRecovery::StartUp(QString());
    OpenFixture("video.avi");
    AddLastToTimeline();
    Settle();
    QVERIFY(QFile::exists(ModuleRecovery::CopyPath()));
    // A save that leaves nothing unsaved removes it at once.
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{m_folder.filePath(QStringLiteral("clean.qpj")), 1}));
    Run("mnuFileSaveProject");
    ModuleRecovery::Flush();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    Settle();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    // An undo after the save is work again, though nothing marks it changed.
    Run("mnuEditUndo");
    Settle();
    QVERIFY(QFile::exists(ModuleRecovery::CopyPath()));
    // Redone, the project is as saved once more: nothing to keep.
    Run("mnuEditRedo");
    ProjectModified = false;
    Settle();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    // A clean exit leaves nothing, whatever was unsaved.
    AddLastToTimeline();
    Settle();
    QVERIFY(QFile::exists(ModuleRecovery::CopyPath()));
    ModuleRecovery::Finish();
    QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
    // And then nothing is offered.
    Empty();
    ModuleRecovery::StartUp(QString());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestRecovery::unreadableCopiesAreSetAsideForGood()
{
    const QStringList corrupt = {QStringLiteral("not a project"), QStringLiteral("<mlt><MediaList/></mlt>"),
                                 QStringLiteral("<mlt><PreviewDimension Width=\"320\" Height=\"240\"/>")};
    for (const QString& text : corrupt) {
        ModuleRecovery::Finish();
        Empty();
        QmXml::WriteFile(ModuleRecovery::CopyPath(), text.toUtf8());
        ModuleRecovery::StartUp(QString());
        const QStringList said = QmTest::TakeMessageTexts();
        QCOMPARE(said.size(), 1);
        QVERIFY2(said[0].startsWith(QStringLiteral("Quillmont did not close properly, and the copy of the work it kept "
                                                   "then cannot be read.")),
                 qPrintable(said[0]));
        QVERIFY(!QFile::exists(ModuleRecovery::CopyPath()));
        // Never offered again.
        ModuleRecovery::Finish();
        ModuleRecovery::StartUp(QString());
        QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    }
    QCOMPARE(QDir(ModuleRecovery::Folder()).entryList({QStringLiteral("unreadable-*.qpj")}, QDir::Files).size(), 3);

    // A copy whose media are gone, declined: set aside with the reason, the program empty.
    ModuleRecovery::Finish();
    Empty();
    ModuleRecovery::StartUp(QString());
    QVERIFY(QFile::copy(QmTest::Fixture(QStringLiteral("red.avi")), m_folder.filePath(QStringLiteral("gone.avi"))));
    moduleTarnwick::OpenResentFile(m_folder.filePath(QStringLiteral("gone.avi")));
    AddLastToTimeline();
    Settle();
    const QByteArray copy = Read(ModuleRecovery::CopyPath());
    ModuleRecovery::Finish();
    QmXml::WriteFile(ModuleRecovery::CopyPath(), copy);
    QVERIFY(QFile::remove(m_folder.filePath(QStringLiteral("gone.avi"))));
    Empty();
    QmScript::AnswerMessage(QmMsgBox::Yes); // restore
    QmScript::AnswerMessage(QmMsgBox::No);  // search for the file? no
    ModuleRecovery::StartUp(QString());
    const QStringList said = QmTest::TakeMessageTexts();
    QCOMPARE(said.size(), 4);
    QVERIFY(said[3].startsWith(QStringLiteral("The work from ")));
    QVERIFY(said[3].contains(QStringLiteral("could not be restored. Its copy was set aside as")));
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 0);

    // A restore that stopped Quillmont last time is not tried again.
    ModuleRecovery::Finish();
    QmXml::WriteFile(ModuleRecovery::Folder() + QStringLiteral("/restoring.qpj"), copy);
    ModuleRecovery::StartUp(QString());
    QCOMPARE(QmTest::TakeMessageTexts().size(), 1);
    QVERIFY(!QFile::exists(ModuleRecovery::Folder() + QStringLiteral("/restoring.qpj")));
    ModuleRecovery::Finish();
    ModuleRecovery::StartUp(QString());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestRecovery::anotherQuillmontsCopyIsLeftAlone()
{
    // Another Quillmont of this user holds the folder: its copy is neither offered, nor
    // written over, nor removed.
    QmXml::WriteFile(ModuleRecovery::CopyPath(), "<mlt/>");
    QLockFile other(ModuleRecovery::Folder() + QStringLiteral("/owner.lock"));
    QVERIFY(other.tryLock(0));
    ModuleRecovery::StartUp(QString());
    OpenFixture("video.avi");
    Settle();
    ModuleRecovery::Finish();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QCOMPARE(Read(ModuleRecovery::CopyPath()), QByteArray("<mlt/>"));
    other.unlock();
}

void TestRecovery::killedAtRandomMomentsNothingOlderThanASecondIsLost()
{
    // The real program in a home of its own, with the tutorial off (QM_KILLS_HOME names
    // one that is kept, with the logs of the runs).
    QTemporaryDir temporary;
    const QDir home(qEnvironmentVariableIsSet("QM_KILLS_HOME") ? qEnvironmentVariable("QM_KILLS_HOME") : temporary.path());
    for (const char* sub : {"config", "data", "runtime"})
        QDir(home.path()).mkpath(QString::fromLatin1(sub));
    {
        QFile ini(home.filePath(QStringLiteral("config/quillmont.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write("[Quillmont%201.1]\nSave%20Options\\Tutorial=1\n");
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("dummy"));
    for (const char* sub : {"config", "data", "runtime"})
        environment.insert(QStringLiteral("QUILLMONT_%1_DIR").arg(QString::fromLatin1(sub).toUpper()),
                           home.filePath(QString::fromLatin1(sub)));

    QRandomGenerator random(1795);
    const QStringList fixtures = {"image.bmp", "red.avi", "sine440.wav", "video.avi", "audio.wav"};
    // A script of random steps, long enough to be killed in the middle of.
    auto script = [&](int run) {
        QStringList lines;
        for (int step = 0; step < 60; ++step) {
            const int pick = static_cast<int>(random.bounded(100));
            if (pick < 10) {
                lines << QStringLiteral("file ") + QmTest::Fixture(fixtures[random.bounded(static_cast<quint32>(fixtures.size()))])
                      << QStringLiteral("run mnuFileOpen");
            } else if (pick < 35) {
                lines << QStringLiteral("select last") << QStringLiteral("run mnuEditAddToTimeline");
            } else if (pick < 42) {
                lines << QStringLiteral("select last") << QStringLiteral("run mnuEditAddToOverlay");
            } else if (pick < 50) {
                lines << QStringLiteral("slider %1").arg(random.bounded(8000)) << QStringLiteral("run mnuAddEffectBlur");
            } else if (pick < 58) {
                lines << QStringLiteral("slider %1").arg(random.bounded(8000)) << QStringLiteral("run mnuToolsAddBookmark");
            } else if (pick < 64) {
                lines << (random.bounded(2) ? QStringLiteral("run mnuToolsZoomIn") : QStringLiteral("run mnuToolsZoomOut"));
            } else if (pick < 80) {
                lines << QStringLiteral("run mnuEditUndo");
            } else if (pick < 88) {
                lines << QStringLiteral("run mnuEditRedo");
            } else if (pick < 95) {
                lines << QStringLiteral("run mnuViewSelectionSliders");
            } else {
                lines << QStringLiteral("answer Yes") << QStringLiteral("answer No") << QStringLiteral("run mnuFileCloseProject");
            }
            lines << QStringLiteral("wait %1").arg(20 + random.bounded(130));
        }
        const QString path = home.filePath(QStringLiteral("script%1.txt").arg(run));
        QmXml::WriteFile(path, lines.join(u'\n').toUtf8());
        return path;
    };
    struct Done
    {
        qint64 time;
        QString digest;
        bool work;
    };
    struct Log
    {
        bool started = false;
        bool offered = false;
        QString start;
        QList<Done> done;
    };
    auto readLog = [](const QString& path) {
        Log log;
        for (const QString& line : QString::fromUtf8(Read(path)).split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList fields = line.split(u'\t');
            if (fields[0] == u"START" && fields.size() >= 3) {
                log.started = true;
                log.start = fields[2];
            } else if (fields[0] == u"DONE" && fields.size() >= 5) {
                log.done.append({fields[2].toLongLong(), fields[3], fields[4] == u"work"});
            } else if (fields[0] == u"MSGBOX" && line.contains(kRestorePrompt)) {
                log.offered = true;
            }
        }
        return log;
    };
    auto launch = [&](QProcess& program, const QString& log, const QString& scriptPath) {
        QProcessEnvironment env = environment;
        env.insert(QStringLiteral("QUILLMONT_SCRIPT_LOG"), log);
        env.insert(QStringLiteral("QUILLMONT_SCRIPT_ANSWERS"), QStringLiteral("Yes")); // restore
        env.insert(QStringLiteral("QUILLMONT_SCRIPT_RUN"), scriptPath);
        program.setProcessEnvironment(env);
        program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program.setStandardOutputFile(QProcess::nullDevice());
        program.start(QStringLiteral(QM_QUILLMONT_EXE), {});
    };
    // Waits until the run script has begun; false when it never does.
    auto started = [&](QProcess& program, const QString& log) {
        QElapsedTimer clock;
        clock.start();
        program.waitForStarted(30000);
        while (clock.elapsed() < 60000 && program.state() == QProcess::Running) {
            if (readLog(log).started)
                return true;
            QThread::msleep(20);
        }
        return false;
    };

    // QM_KILLS sets another number of kills.
    const int kKills = qEnvironmentVariableIntValue("QM_KILLS") > 0 ? qEnvironmentVariableIntValue("QM_KILLS") : 100;
    QString fresh; // the digest of a program with nothing open
    Log previous;
    qint64 previousKill = 0;
    int restores = 0, failedStarts = 0, lost = 0, notFound = 0, operations = 0, recent = 0;
    QStringList problems;
    // What a start brought back must hold every operation of the run before that finished
    // more than a second before its kill: the state after that operation, or after a
    // later one. A project that had no work left to keep starts empty.
    auto check = [&](int run, const Log& log) {
        restores += log.offered;
        if (!previous.started)
            return;
        QList<Done> states = {{0, previous.start, true}};
        states += previous.done;
        int threshold = 0;
        for (int k = 1; k < states.size(); ++k)
            if (states[k].time < previousKill - 1000)
                threshold = k;
        int match = -1;
        for (int k = 0; k < states.size(); ++k)
            if (states[k].digest == log.start)
                match = k;
        bool cleanSince = false;
        for (int k = threshold; k < states.size(); ++k)
            cleanSince = cleanSince || !states[k].work;
        operations += static_cast<int>(previous.done.size());
        if (match >= threshold) {
            recent += static_cast<int>(states.size()) - 1 - match; // younger than a second: may be lost
            return;
        }
        if (log.start == fresh && cleanSince)
            return;
        if (match >= 0) {
            lost += threshold - match;
            problems << QStringLiteral("run %1: restored the state after operation %2, not %3 or later")
                            .arg(run).arg(match).arg(threshold);
        } else {
            ++notFound;
            lost += threshold;
            problems << QStringLiteral("run %1: restored a state no operation left").arg(run);
        }
    };
    QElapsedTimer total;
    total.start();
    for (int run = 0; run < kKills; ++run) {
        const QString logPath = home.filePath(QStringLiteral("log%1.txt").arg(run));
        QProcess program;
        launch(program, logPath, script(run));
        if (!started(program, logPath)) {
            ++failedStarts;
            problems << QStringLiteral("run %1 did not start").arg(run);
            program.kill();
            program.waitForFinished();
            previous = Log();
            continue;
        }
        QThread::msleep(200 + random.bounded(1800));
        const qint64 kill = QDateTime::currentMSecsSinceEpoch();
        program.kill(); // SIGKILL
        program.waitForFinished();
        const Log log = readLog(logPath);
        if (fresh.isEmpty())
            fresh = log.start;
        check(run, log);
        previous = log;
        previousKill = kill;
    }

    // Then a start that restores the last kill's work and ends cleanly (discarding it):
    // no copy is left, and the start after it offers nothing.
    const QString quit = home.filePath(QStringLiteral("quit.txt"));
    QmXml::WriteFile(quit, "wait 300\nanswer No\nquit\n");
    for (int run = 0; run < 2; ++run) {
        QProcess program;
        const QString logPath = home.filePath(QStringLiteral("quitlog%1.txt").arg(run));
        launch(program, logPath, quit);
        QVERIFY(program.waitForFinished(60000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QVERIFY(!QFile::exists(home.filePath(QStringLiteral("data/recovery/work.qpj"))));
        const Log log = readLog(logPath);
        if (run == 0) {
            check(kKills, log);
        } else {
            QVERIFY(log.started);
            QVERIFY(!log.offered);
        }
    }
    qInfo("kills %d, restores %d, operations done %d, operations lost (older than 1 s) %d, operations younger than "
          "1 s not in the copy %d, restores that matched no state %d, start-ups that failed %d, in %.0f s",
          kKills, restores, operations, lost, recent, notFound, failedStarts, total.elapsed() / 1000.0);
    for (const QString& problem : problems)
        qInfo("%s", qPrintable(problem));
    QCOMPARE(failedStarts, 0);
    QCOMPARE(notFound, 0);
    QCOMPARE(lost, 0);
    QVERIFY(restores > kKills / 2);
}

QM_TEST_MAIN(TestRecovery)
#include "test_recovery.moc"
