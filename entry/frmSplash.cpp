#include "entry/frmSplash.h"

#include "ui_frmSplash.h"

#include "entry/EntryRoutine.h"
#include "core/QmIcons.h"
#include "core/QmMsgBox.h"
#include "core/QmPaths.h"
#include "core/QmShared.h"
#include "engine/ITWCoreRoot.h"
#include "media/moduleTarnwick.h"
#include "project/ModuleProject.h"
#include "project/ModuleRecovery.h"
#include "shell/QmHandOver.h"
#include "shell/QmScriptRun.h"
#include "shell/mdiTarnwick.h"

#include <QApplication>
#include <QLinearGradient>
#include <QLockFile>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <memory>

namespace SingleInstance {

bool Acquire()
{
    static std::unique_ptr<QLockFile> lock;
    if (lock)
        return true;
    auto candidate = std::make_unique<QLockFile>(QmPaths::RuntimeFolder() + QStringLiteral("/quillmont.lock"));
    // Held as long as Quillmont runs, however long that is; a lock left by a process
    // that died is taken over.
    candidate->setStaleLockTime(0);
    if (!candidate->tryLock(0))
        return false;
    lock = std::move(candidate);
    return true;
}

} // namespace SingleInstance

namespace {

// A project handed over by a second start: opened as soon as no load and no modal
// dialogue stands in the way, with the main window brought forward.
void OpenHandedOver(const QString& path)
{
    if (!mdiTarnwick::exists())
        return;
    mdiTarnwick* main = mdiTarnwick::instance();
    if (main->isMinimized())
        main->showNormal();
    main->raise();
    main->activateWindow();
    if (QApplication::activeModalWidget() || !ModuleProject::OpenHandedProject(path))
        QTimer::singleShot(500, qApp, [path] { OpenHandedOver(path); });
}

} // namespace

frmSplash::frmSplash()
    : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    Ui::frmSplash ui;
    ui.setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    if (QScreen* screen = QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
}

void frmSplash::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient background(0, 0, 0, height());
    background.setColorAt(0.0, QColor(0x1f, 0x3a, 0x5f));
    background.setColorAt(1.0, QColor(0x0f, 0x1d, 0x30));
    painter.fillRect(rect(), background);
    painter.setPen(QColor(0x4a, 0x77, 0xb4));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));

    QmIcon(QStringLiteral("QUILLMONT")).paint(&painter, QRect(36, 70, 112, 112));
    QFont title = font();
    title.setPointSize(30);
    title.setBold(true);
    painter.setFont(title);
    painter.setPen(Qt::white);
    painter.drawText(QRect(170, 80, 290, 56), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("Quillmont"));
    QFont small = font();
    small.setPointSize(10);
    painter.setFont(small);
    painter.setPen(QColor(0xc8, 0xd6, 0xea));
    painter.drawText(QRect(172, 136, 290, 24), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Non-linear video editing"));
    painter.drawText(QRect(172, 158, 290, 24), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Version 1.8 Release 1"));
    painter.setPen(QColor(0x8f, 0xa6, 0xc4));
    painter.drawText(QRect(20, height() - 34, width() - 40, 20), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Starting..."));
}

void frmSplash::Unload()
{
    close();
    QApplication::processEvents();
}

void frmSplash::Load()
{
    // 1. One Quillmont at a time; the one running is not brought forward.
    // A project to open goes to the one running instead, when it takes it.
    if (!SingleInstance::Acquire()) {
        const QString path = QmHandOver::PathOfCommandLine(QCoreApplication::arguments().mid(1).join(u' '));
        if (!path.isEmpty() && QmHandOver::Send(path)) {
            Unload();
            return;
        }
        MsgBox(QStringLiteral("Quillmont is already running."), QmMsgBox::Icon::Information);
        Unload();
        return;
    }

    // 2, 3. The hourglass, and the splash on top of everything while work goes on.
    QApplication::setOverrideCursor(Qt::WaitCursor);
    struct CursorBack
    {
        ~CursorBack() { QApplication::restoreOverrideCursor(); }
    } cursorBack;
    show();
    raise();
    QApplication::processEvents();

    // 4. The media lists.
    if (!moduleTarnwick::Init()) {
        MsgBox(EntryRoutine::UnableToInitializeText(), QmMsgBox::Icon::Information);
        Unload();
        return;
    }

    // 5. The media framework: the user may go on without it, at a risk.
    if (!QmShared::Eng<ITWCoreRoot>().CheckDirectShowVersion()) {
        const QmMsgBox::Result answer =
            MsgBox(QStringLiteral("Unable to initialize. Quillmont requires DirectX 8.0 or higher to run.\r\n"
                                  "You may be able to use Quillmont but it may not respond as desired.\r\n\r\n"
                                  "Do you wish to continue anyway?"),
                   QmMsgBox::Icon::Question, QmMsgBox::Buttons::YesNo);
        if (answer == QmMsgBox::No) {
            Unload();
            return;
        }
    }

    // 6 to 8. The main window with its panels, then the splash goes.
    mdiTarnwick* main = mdiTarnwick::instance();
    main->Load();
    Unload();
    main->show();
    QApplication::processEvents();
    QmHandOver::Listen(&OpenHandedOver);
    ModuleRecovery::StartUp(QCoreApplication::arguments().mid(1).join(u' '));
    QmScriptRun::StartFromEnvironment();
    main->StartTutorialIfWanted();
}
