#include "entry/EntryRoutine.h"

#include "core/QmIcons.h"
#include "core/QmMsgBox.h"
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "entry/frmSplash.h"
#include "engine/CreateObject.h"
#include "export/RenderCommand.h"
#include "project/ModuleRecovery.h"
#include "report/frmbug.h"
#include "shell/ModuleSettings.h"
#include "shell/mdiTarnwick.h"

#include <QApplication>
#include <QFile>
#include <QTimer>

#include <cstdio>
#include <cstring>

namespace EntryRoutine {

namespace {

// The form was unloaded during its own load: nothing to say.
constexpr int32_t kUnloadedInLoad = 364;

// For the start-up benchmark: QUILLMONT_STARTUP_PROBE set makes Quillmont say on its
// standard output when its main window stands, and then, after a moment idle, how
// much memory it holds; "exit" makes it end after that.
void StartStartupProbe()
{
    const QByteArray probe = qgetenv("QUILLMONT_STARTUP_PROBE");
    if (probe.isEmpty())
        return;
    std::printf("QUILLMONT-SHOWN\n");
    std::fflush(stdout);
    QTimer::singleShot(1500, qApp, [probe] {
        QFile status(QStringLiteral("/proc/self/status"));
        long rssKb = 0;
        if (status.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : status.readAll().split('\n')) {
                if (line.startsWith("VmRSS:"))
                    rssKb = line.mid(6).trimmed().split(' ').first().toLong();
            }
        }
        std::printf("QUILLMONT-RSS %ld\n", rssKb);
        std::fflush(stdout);
        if (probe == "exit")
            QApplication::exit(0);
    });
}

} // namespace

QString UnableToInitializeText()
{
    return QStringLiteral("Unable to initialize. Please install DirectX 8.0 or higher.\r\n"
                          "If this does not solve your problem then you may have to re-install Quillmont.");
}

void Main(const QString& engineClass)
{
    try {
        ModuleSettings::SetApplicationName(QStringLiteral("Quillmont 1.1"));
        QmShared::Engine = CreateObject(engineClass);
        frmSplash::instance()->Load();
    } catch (...) {
        if (QmTrap::FromCurrentException().Number() != kUnloadedInLoad)
            MsgBox(UnableToInitializeText(), QmMsgBox::Icon::Information);
    }
}

} // namespace EntryRoutine

int QuillmontMain(int argc, char* argv[])
{
    // A render from the command line needs no screen, and shows no window.
    bool render = false;
    for (int i = 1; i < argc; ++i)
        render = render || std::strcmp(argv[i], "--render") == 0;
    if (render && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (render)
        return RenderCommand::Run(QApplication::arguments());
    QApplication::setApplicationName(QStringLiteral("Quillmont"));
    QApplication::setWindowIcon(QmIcon(QStringLiteral("QUILLMONT")));
    QmScript::EnableFromEnvironment();
    frmbug::InstallReporter();

    EntryRoutine::Main();
    // Without a main window there is nothing to run: the start-up ended early.
    if (!mdiTarnwick::exists() || !mdiTarnwick::instance()->isVisible())
        return 0;
    EntryRoutine::StartStartupProbe();
    const int code = app.exec();
    // A clean exit: nothing is left to recover.
    ModuleRecovery::Finish();
    // The engine's players run threads of MLT, which closes itself at exit: they stop
    // while MLT is still there.
    QmShared::Engine.reset();
    return code;
}
