// Quillmont as a citizen of the desktop: the entry and MIME type it writes for the user,
// a project handed to the Quillmont already running, what "cmake --install" puts under
// a prefix, and the Debian package, started as installed.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmSettings.h"
#include "shell/ModuleAssociateIcon.h"
#include "shell/QmHandOver.h"

#include <QDirIterator>
#include <QImage>
#include <QLibrary>
#include <QMimeDatabase>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>

#include <thread>

namespace {

namespace Assoc = ModuleAssociateIcon;

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Result
{
    int code = -1;
    QByteArray out;
};

// Runs a tool to its end.
Result RunTool(const QString& program, const QStringList& args, int timeoutMs = 120000,
               const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, args);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAll()};
}

QString Tool(const char* name)
{
    const QString path = QStandardPaths::findExecutable(QString::fromLatin1(name));
    if (path.isEmpty())
        QTest::qFail(qPrintable(QStringLiteral("%1 is not installed (scripts/setup.sh installs it)").arg(name)), __FILE__,
                     __LINE__);
    return path;
}

// The environment of a Quillmont started by the test: every folder of its own in the
// test's, scripted, with the tutorial's first start left to the caller.
QProcessEnvironment ProgramEnvironment(const QString& log)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("QUILLMONT_SCRIPT_LOG"), log);
    QFile::remove(log);
    return env;
}

QStringList LogLines(const QString& path)
{
    return QString::fromUtf8(Read(path)).split(u'\n', Qt::SkipEmptyParts);
}

bool WaitForLine(QProcess& process, const QByteArray& line, int timeoutMs = 60000)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray seen;
    while (timer.elapsed() < timeoutMs) {
        if (process.waitForReadyRead(200))
            seen += process.readAllStandardOutput();
        if (seen.contains(line))
            return true;
        if (process.state() == QProcess::NotRunning)
            return (seen + process.readAllStandardOutput()).contains(line);
    }
    return false;
}

void SetStoreValue(const QString& key, const QString& value)
{
    QSettings store(QmSettings::StoreFile(), QSettings::IniFormat);
    store.setValue(QStringLiteral("Quillmont 1.1/") + key, value);
    store.sync();
}

QString StoreValue(const QString& key)
{
    QSettings store(QmSettings::StoreFile(), QSettings::IniFormat);
    return store.value(QStringLiteral("Quillmont 1.1/") + key).toString();
}

// Starts an installed program with the tutorial of a first start, which must open from
// the installed help, and checks that it comes up, writes its desktop entry for the user
// with its own path, and ends by itself.
void StartInstalled(const QString& program, const QString& helpFolder)
{
    const QString log = QmTest::Root().path() + QStringLiteral("/installed.log");
    QProcessEnvironment env = ProgramEnvironment(log);
    env.insert(QStringLiteral("QUILLMONT_STARTUP_PROBE"), QStringLiteral("exit"));
    const QString data = QmTest::Root().path() + QStringLiteral("/installed-data");
    QDir(data).removeRecursively();
    env.insert(QStringLiteral("XDG_DATA_HOME"), data);
    SetStoreValue(QStringLiteral("Save Options/Tutorial"), QString());
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(program, {});
    QVERIFY2(WaitForLine(process, "QUILLMONT-SHOWN"), qPrintable(process.readAllStandardError()));
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitCode(), 0);
    SetStoreValue(QStringLiteral("Save Options/Tutorial"), QStringLiteral("1"));
    QCOMPARE(LogLines(log), QStringList{QStringLiteral("OPEN\t") + QUrl::fromLocalFile(helpFolder + QStringLiteral("/tutorial/index.html")).toString()});
    const QString entry = QString::fromUtf8(Read(data + QStringLiteral("/applications/org.quillmont.Quillmont.desktop")));
    QVERIFY2(entry.contains(QStringLiteral("\nExec=") + Assoc::ExecArgument(program) + QStringLiteral(" %f\n")), qPrintable(entry));
}

// What every install holds, under a prefix.
void CheckInstalledTree(const QString& prefix)
{
    const QString share = prefix + QStringLiteral("/share");
    QVERIFY(QFileInfo(prefix + QStringLiteral("/bin/quillmont")).isExecutable());
    const QString entry = share + QStringLiteral("/applications/org.quillmont.Quillmont.desktop");
    const QString mime = share + QStringLiteral("/mime/packages/org.quillmont.Quillmont.xml");
    const QString metainfo = share + QStringLiteral("/metainfo/org.quillmont.Quillmont.metainfo.xml");
    QCOMPARE(Read(mime), Assoc::MimeTypeText().toUtf8());
    QVERIFY(Read(entry).contains("\nExec=quillmont %f\n"));
    QVERIFY(Read(entry).contains("\nMimeType=application/x-quillmont-project;\n"));

    const Result desktop = RunTool(Tool("desktop-file-validate"), {entry});
    QVERIFY2(desktop.code == 0 && desktop.out.trimmed().isEmpty(), desktop.out.constData());
    const Result appstream = RunTool(Tool("appstreamcli"), {QStringLiteral("validate"), QStringLiteral("--no-net"), metainfo});
    QVERIFY2(appstream.code == 0, appstream.out.constData());

    // The icon: the SVG itself, and each PNG size drawn at its size, not empty.
    const QString hicolor = share + QStringLiteral("/icons/hicolor");
    QCOMPARE(Read(hicolor + QStringLiteral("/scalable/apps/org.quillmont.Quillmont.svg")), Read(QStringLiteral(":/icons/quillmont.svg")));
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256, 512}) {
        const QImage png(hicolor + QStringLiteral("/%1x%1/apps/org.quillmont.Quillmont.png").arg(size));
        QVERIFY2(!png.isNull() && png.width() == size && png.height() == size, qPrintable(QString::number(size)));
        QVERIFY(png.pixelColor(size / 2, size / 2).alpha() > 0);
    }

    // The help and the tutorial, as in the build folder.
    const QString help = share + QStringLiteral("/quillmont/help");
    const QStringList pages = QDir(QStringLiteral(QM_BINARY_DIR "/help")).entryList(QDir::Files);
    QVERIFY(pages.contains(QStringLiteral("2_2_Understanding_Preferences.htm")));
    QCOMPARE(QDir(help).entryList(QDir::Files), pages);
    QVERIFY(QFile::exists(help + QStringLiteral("/tutorial/index.html")));

    // MLT's module of Quillmont's services, where MLT keeps its modules under the prefix.
    QString module;
    for (QDirIterator it(prefix + QStringLiteral("/lib"), {QStringLiteral("libmltquillmont.so")}, QDir::Files,
                         QDirIterator::Subdirectories);
         it.hasNext();)
        module = it.next();
    QVERIFY2(module.endsWith(QStringLiteral("/mlt-7/libmltquillmont.so")), qPrintable(module));
    QLibrary library(module);
    QVERIFY2(library.resolve("mlt_register"), qPrintable(library.errorString()));
}

} // namespace

class TestDesktop : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void execArgumentsAreQuoted();
    void associationIsWrittenWhenMissingOrStale();
    void pathHandedOverInProcess();
    void projectHandedToTheRunningQuillmont();
    void installIntoStagingPrefix();
    void debianPackage();
};

void TestDesktop::initTestCase()
{
    QVERIFY(QmTest::StartMainWindow(900, 600));
    SetStoreValue(QStringLiteral("Save Options/Tutorial"), QStringLiteral("1"));
}

void TestDesktop::execArgumentsAreQuoted()
{
    QCOMPARE(Assoc::ExecArgument(QStringLiteral("/usr/bin/quillmont")), QStringLiteral("/usr/bin/quillmont"));
    QCOMPARE(Assoc::ExecArgument(QStringLiteral("/home/a b/quillmont")), QStringLiteral("\"/home/a b/quillmont\""));
    // Quoted, \ " ` $ take a backslash, which the file's own escaping doubles; % is %%.
    QCOMPARE(Assoc::ExecArgument(QStringLiteral("/x/\"q\"/$HOME/50%/quill")),
             QStringLiteral("\"/x/\\\\\"q\\\\\"/\\\\$HOME/50%%/quill\""));
    // The desktop's own reader takes the entry with such a path as valid.
    const QString entry = QmTest::Root().path() + QStringLiteral("/odd.desktop");
    QFile file(entry);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(Assoc::DesktopEntryText(QStringLiteral("/opt/my apps/$q/quillmont")).toUtf8());
    file.close();
    const Result valid = RunTool(Tool("desktop-file-validate"), {entry});
    QVERIFY2(valid.code == 0 && valid.out.trimmed().isEmpty(), valid.out.constData());
}

void TestDesktop::associationIsWrittenWhenMissingOrStale()
{
    // The main window's load wrote them already, into the test's own data folder.
    const QString data = QmTest::Root().path() + QStringLiteral("/xdg-data");
    QCOMPARE(Assoc::DataHome(), data);
    QCOMPARE(Assoc::DesktopEntryFile(), data + QStringLiteral("/applications/org.quillmont.Quillmont.desktop"));
    const QString program = QCoreApplication::applicationFilePath();
    QCOMPARE(Read(Assoc::DesktopEntryFile()), Assoc::DesktopEntryText(program).toUtf8());
    const QString entry = QString::fromUtf8(Read(Assoc::DesktopEntryFile()));
    for (const QString& line : {QStringLiteral("Exec=") + program + QStringLiteral(" %f"), QStringLiteral("TryExec=") + program,
                                QStringLiteral("MimeType=application/x-quillmont-project;"),
                                QStringLiteral("Icon=org.quillmont.Quillmont"), QStringLiteral("Name=Quillmont")})
        QVERIFY2(entry.split(u'\n').contains(line), qPrintable(line));
    const QString mime = QString::fromUtf8(Read(Assoc::MimeTypeFile()));
    QVERIFY(mime.contains(QStringLiteral("<mime-type type=\"application/x-quillmont-project\">")));
    QVERIFY(mime.contains(QStringLiteral("<glob pattern=\"*.qpj\"/>")));
    QVERIFY(mime.contains(QStringLiteral("<comment>Quillmont Project File</comment>")));
    QCOMPARE(Read(Assoc::IconFile()), Read(QStringLiteral(":/icons/quillmont.svg")));

    // The databases know the type and the program for it; Qt's own reader agrees.
    QVERIFY(Read(data + QStringLiteral("/mime/globs2")).contains("application/x-quillmont-project:*.qpj"));
    QVERIFY(Read(data + QStringLiteral("/applications/mimeinfo.cache"))
                .contains("application/x-quillmont-project=org.quillmont.Quillmont.desktop;"));
    QCOMPARE(QMimeDatabase().mimeTypeForFile(QStringLiteral("/nowhere/trip.qpj"), QMimeDatabase::MatchExtension).name(),
             Assoc::ProjectMimeType);

    // Up to date: nothing is written, no tool runs.
    Assoc::Outcome again = Assoc::ApplyFileAssociation();
    QCOMPARE(again.written, QStringList());
    QCOMPARE(again.refreshed, QStringList());

    // A stale entry (another program's path) is written over; a missing MIME type is
    // written again, and each database made anew.
    QFile stale(Assoc::DesktopEntryFile());
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.write(Assoc::DesktopEntryText(QStringLiteral("/old/place/quillmont")).toUtf8());
    stale.close();
    QVERIFY(QFile::remove(Assoc::MimeTypeFile()));
    QVERIFY(QFile::remove(data + QStringLiteral("/mime/globs2")));
    again = Assoc::ApplyFileAssociation();
    QCOMPARE(again.written, (QStringList{Assoc::MimeTypeFile(), Assoc::DesktopEntryFile()}));
    QCOMPARE(again.refreshed, (QStringList{QStringLiteral("update-mime-database ") + data + QStringLiteral("/mime"),
                                          QStringLiteral("update-desktop-database ") + data + QStringLiteral("/applications")}));
    QCOMPARE(Read(Assoc::DesktopEntryFile()), Assoc::DesktopEntryText(program).toUtf8());
    QVERIFY(Read(data + QStringLiteral("/mime/globs2")).contains("*.qpj"));

    // A folder that cannot be written is logged, never shown, never a crash.
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    const QString blocked = QmTest::Root().path() + QStringLiteral("/blocked");
    QFile blocker(blocked);
    QVERIFY(blocker.open(QIODevice::WriteOnly)); // a file where a folder should be
    blocker.close();
    qputenv("XDG_DATA_HOME", QFile::encodeName(blocked));
    again = Assoc::ApplyFileAssociation();
    qputenv("XDG_DATA_HOME", saved);
    QCOMPARE(again.written, QStringList());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestDesktop::pathHandedOverInProcess()
{
    QStringList opened;
    QVERIFY(QmHandOver::Listen([&opened](const QString& path) { opened << path; }));
    // The sender waits for the answer, which the event loop here gives.
    bool taken = false;
    const QString odd = QStringLiteral("/home/ü b/\"x\" % y.qpj");
    std::thread sender([&taken, odd] { taken = QmHandOver::Send(odd); });
    QTRY_VERIFY_WITH_TIMEOUT(opened.size() == 1, 10000);
    sender.join();
    QVERIFY(taken);
    QCOMPARE(opened, QStringList{odd});
    QmHandOver::Stop();
    // With nobody listening, nothing is taken.
    QVERIFY(!QmHandOver::Send(QStringLiteral("/a.qpj"), 1000));

    QCOMPARE(QmHandOver::PathOfCommandLine(QString()), QString());
    QCOMPARE(QmHandOver::PathOfCommandLine(QStringLiteral("%1")), QString());
    QCOMPARE(QmHandOver::PathOfCommandLine(QStringLiteral("\"/a b/c.qpj\"")), QStringLiteral("/a b/c.qpj"));
    QCOMPARE(QmHandOver::PathOfCommandLine(QStringLiteral("c.qpj")), QDir::current().absoluteFilePath(QStringLiteral("c.qpj")));
}

void TestDesktop::projectHandedToTheRunningQuillmont()
{
    // A project with a file on its timeline, saved here.
    const QString folder = QmTest::Root().path() + QStringLiteral("/projects");
    QDir().mkpath(folder);
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{QmTest::Fixture(QStringLiteral("video.avi")), 4}));
    QmCommands::Run(QStringLiteral("mnuFileOpen"));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{folder + QStringLiteral("/handed.qpj"), 1}));
    QmCommands::Run(QStringLiteral("mnuFileSaveProject"));
    QVERIFY(QFile::exists(folder + QStringLiteral("/handed.qpj")));
    SetStoreValue(QStringLiteral("Recent Projects/Project0"), QString());

    const QString firstLog = QmTest::Root().path() + QStringLiteral("/first.log");
    QProcess first;
    QProcessEnvironment env = ProgramEnvironment(firstLog);
    env.insert(QStringLiteral("QUILLMONT_STARTUP_PROBE"), QStringLiteral("stay"));
    first.setProcessEnvironment(env);
    first.start(QStringLiteral(QM_QUILLMONT_EXE), {});
    QVERIFY(WaitForLine(first, "QUILLMONT-SHOWN"));

    // A file manager starts a second Quillmont with the path, from its own folder.
    const QString secondLog = QmTest::Root().path() + QStringLiteral("/second.log");
    QProcess second;
    second.setProcessEnvironment(ProgramEnvironment(secondLog));
    second.setWorkingDirectory(folder);
    second.start(QStringLiteral(QM_QUILLMONT_EXE), {QStringLiteral("handed.qpj")});
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitCode(), 0);
    QVERIFY(!second.readAllStandardOutput().contains("QUILLMONT-SHOWN"));
    QCOMPARE(LogLines(secondLog), QStringList()); // no "already running": it was handed over

    // The running one opened it: it stands at the top of its recent projects.
    QTRY_COMPARE_WITH_TIMEOUT(StoreValue(QStringLiteral("Recent Projects/Project0")), folder + QStringLiteral("/handed.qpj"),
                              20000);
    QVERIFY(first.state() == QProcess::Running);
    QCOMPARE(LogLines(firstLog), QStringList());

    // A second start without a path is still refused with the message.
    QProcess third;
    third.setProcessEnvironment(ProgramEnvironment(secondLog));
    third.start(QStringLiteral(QM_QUILLMONT_EXE), {});
    QVERIFY(third.waitForFinished(30000));
    QCOMPARE(LogLines(secondLog), QStringList{QStringLiteral("MSGBOX\tQuillmont\tQuillmont is already running.")});
    first.kill();
    first.waitForFinished();
}

void TestDesktop::installIntoStagingPrefix()
{
    const QString prefix = QmTest::Root().path() + QStringLiteral("/staging");
    const Result install = RunTool(QStringLiteral(QM_CMAKE),
                                   {QStringLiteral("--install"), QStringLiteral(QM_BINARY_DIR), QStringLiteral("--prefix"), prefix});
    QVERIFY2(install.code == 0, install.out.constData());
    CheckInstalledTree(prefix);
    if (QTest::currentTestFailed())
        return;
    StartInstalled(prefix + QStringLiteral("/bin/quillmont"), prefix + QStringLiteral("/share/quillmont/help"));
}

void TestDesktop::debianPackage()
{
    const QString out = QmTest::Root().path() + QStringLiteral("/package");
    const Result cpack = RunTool(QStringLiteral(QM_CPACK),
                                 {QStringLiteral("-G"), QStringLiteral("DEB"), QStringLiteral("--config"),
                                  QStringLiteral(QM_BINARY_DIR "/CPackConfig.cmake"), QStringLiteral("-B"), out},
                                 300000);
    QVERIFY2(cpack.code == 0, cpack.out.constData());
    const QStringList debs = QDir(out).entryList({QStringLiteral("*.deb")}, QDir::Files);
    QCOMPARE(debs.size(), 1);
    const QString deb = out + u'/' + debs[0];

    // Its dependencies are those of the libraries it links, as dpkg-shlibdeps found them.
    const Result fields = RunTool(Tool("dpkg-deb"), {QStringLiteral("-f"), deb, QStringLiteral("Package"), QStringLiteral("Depends")});
    QVERIFY2(fields.code == 0, fields.out.constData());
    for (const char* dependency : {"Package: quillmont", "libqt6widgets6", "libqt6network6", "libmlt++7", "libavformat",
                                   "libpugixml1v5", "libc6", "libqt6svg6"})
        QVERIFY2(fields.out.contains(dependency), fields.out.constData());

    const QString root = QmTest::Root().path() + QStringLiteral("/debroot");
    const Result extract = RunTool(Tool("dpkg"), {QStringLiteral("-x"), deb, root});
    QVERIFY2(extract.code == 0, extract.out.constData());
    CheckInstalledTree(root + QStringLiteral("/usr"));
    if (QTest::currentTestFailed())
        return;
    // Installed with the prefix /usr, the module stands in MLT's own module folder.
    const Result moduleDir = RunTool(Tool("pkg-config"), {QStringLiteral("--variable=moduledir"), QStringLiteral("mlt-framework-7")});
    QVERIFY(QFile::exists(root + QString::fromUtf8(moduleDir.out.trimmed()) + QStringLiteral("/libmltquillmont.so")));
    StartInstalled(root + QStringLiteral("/usr/bin/quillmont"), root + QStringLiteral("/usr/share/quillmont/help"));
}

QM_TEST_MAIN(TestDesktop)
#include "test_desktop.moc"
