#include "preview/frmPreview.h"

#include "ui_frmPreview.h"

#include "core/QmIcons.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/QmStatus.h"
#include "engine/ITWPreview.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "timeline/moduleTimeline.h"
#include "tools/frmVolume.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QProxyStyle>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmPreview");

// The seek bar goes to the place clicked, as a seek bar of a player does, rather than
// a page at a time.
class SeekBarStyle : public QProxyStyle
{
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returnData) const override
    {
        if (hint == SH_Slider_AbsoluteSetButtons)
            return Qt::LeftButton;
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }
};

} // namespace

frmPreview::frmPreview()
{
    Ui::frmPreview ui;
    ui.setupUi(this);
    fmeDisplay = ui.fmeDisplay;
    picDisplay = ui.picDisplay;
    shpOutlineRect = ui.shpOutlineRect;
    fmePlayer = ui.fmePlayer;
    sldSeekBar = ui.sldSeekBar;
    lblCurrentTime = ui.lblCurrentTime;
    lblDuration = ui.lblDuration;
    fmeControls = ui.fmeControls;
    cmdPlay = ui.cmdPlay;
    cmdPause = ui.cmdPause;
    cmdStop = ui.cmdStop;
    cmdRewind = ui.cmdRewind;
    cmdForward = ui.cmdForward;
    cmdRepeat = ui.cmdRepeat;
    cmdMute = ui.cmdMute;

    tm = new QTimer(this);
    tm->setObjectName(QStringLiteral("tm"));
    tm->setInterval(250);
    connect(tm, &QTimer::timeout, this, [this] { tm_Timer(); });

    auto* seekStyle = new SeekBarStyle;
    seekStyle->setParent(sldSeekBar);
    sldSeekBar->setStyle(seekStyle);
    // A move by the user (not the value set by the player) is the bar's scroll; the
    // new position is already the slider's when the action is told.
    connect(sldSeekBar, &QSlider::actionTriggered, this, [this](int) { sldSeekBar_Scroll(sldSeekBar->sliderPosition()); });
    connect(sldSeekBar, &QSlider::sliderReleased, this, [this] { sldSeekBar_Click(); });

    connect(cmdPlay, &QToolButton::clicked, this, [] { ModuleTWPreview::OnCmdPlayClick(); });
    connect(cmdPause, &QToolButton::clicked, this, [] { ModuleTWPreview::OnCmdPauseClick(); });
    connect(cmdStop, &QToolButton::clicked, this, [] { ModuleTWPreview::OnCmdStopClick(); });
    connect(cmdRewind, &QToolButton::clicked, this, [] { ModuleTWPreview::OnCmdRewindClick(); });
    connect(cmdForward, &QToolButton::clicked, this, [] { ModuleTWPreview::OnCmdForwardClick(); });
    connect(cmdMute, &QToolButton::clicked, this, [this] { cmdMute_Click(); });
    SetInitialIcons();

    // The picture follows the display's size; Enter plays and Space pauses wherever
    // the focus is in the panel.
    for (QWidget* child : findChildren<QWidget*>())
        child->installEventFilter(this);
    installEventFilter(this);
}

void frmPreview::SetInitialIcons()
{
    // The transport's pictures by their keys in the image list (ilControls).
    const std::pair<QToolButton*, const char*> ilControls[] = {
        {cmdPlay, "PLAY"},     {cmdPause, "PAUSE"},    {cmdStop, "STOP"}, {cmdRewind, "REWIND"},
        {cmdForward, "FORWARD"}, {cmdMute, "MUTE_FALSE"}, {cmdRepeat, "LOOP"}};
    for (auto [button, key] : ilControls)
        button->setIcon(QmIcon(QLatin1String(key)));
    cmdPlay->setToolTip(QStringLiteral("Play"));
    cmdPause->setToolTip(QStringLiteral("Pause"));
    cmdStop->setToolTip(QStringLiteral("Stop"));
    cmdRewind->setToolTip(QStringLiteral("Rewind"));
    cmdForward->setToolTip(QStringLiteral("Forward"));
    cmdRepeat->setToolTip(QStringLiteral("Loop"));
    cmdMute->setToolTip(QStringLiteral("Volume"));
}

void frmPreview::RegisterCommands()
{
    for (const char* action : {"Play", "Pause", "Stop", "Rewind", "Forward", "Loop playback"}) {
        const QString name = QLatin1String(action);
        QmCommands::Register(QStringLiteral("DoPreviewAction:") + name, [name] { ModuleTWPreview::DoPreviewAction(name); });
    }
}

void frmPreview::Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        frmVolume* volume = frmVolume::instance();
        volume->LoadVolume();
        // The players keep the volume from now on, whichever is made first.
        volume->SetVolume(volume->GetVolume());
        Resize();
    });
}

void frmPreview::Unload()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Unload"), [this] {
        tm->stop();
        frmVolume::instance()->SaveVolume(frmVolume::instance()->GetVolume());
        auto& player = Eng<ITWPreview>();
        player.ClosePreview();
        player.SetOwnerWindow(nullptr);
        ModuleTWPreview::PreviewBuilt = false;
        ModuleTWPreview::PreviewState = 0;
    });
}

void frmPreview::Resize()
{
    // The video area: the project's proportions, as large as the display allows.
    const QRect room = fmeDisplay->rect().adjusted(2, 2, -2, -2);
    const QSize project(std::max<int>(1, ProjectWidth), std::max<int>(1, ProjectHeight));
    const QSize fitted = project.scaled(room.size(), Qt::KeepAspectRatio);
    const QRect area(room.x() + (room.width() - fitted.width()) / 2, room.y() + (room.height() - fitted.height()) / 2,
                     fitted.width(), fitted.height());
    picDisplay->setGeometry(area);
    shpOutlineRect->setGeometry(area.adjusted(-1, -1, 1, 1));
    shpOutlineRect->lower();
}

void frmPreview::tm_Timer()
{
    QmTrap::Run(kModule, QStringLiteral("tm_Timer"), [this] {
        // A tick queued before a stop finds nothing to do.
        if (ModuleTWPreview::PreviewState != 1)
            return;
        sldSeekBar->setValue(ModuleTWPreview::GetCurrentPosition());
        moduleTimeline::SetSliderPosition(sldSeekBar->value(), true);
        if (sldSeekBar->value() < sldSeekBar->maximum())
            return;
        sldSeekBar->setValue(0);
        ModuleTWPreview::OnCmdStopClick();
        if (cmdRepeat->isChecked())
            ModuleTWPreview::OnCmdPlayClick();
    });
}

void frmPreview::sldSeekBar_Scroll(int value)
{
    QmTrap::Run(kModule, QStringLiteral("sldSeekBar_Scroll"), [value, this] {
        ModuleTWPreview::OnCmdPauseClick();
        Eng<ITWPreview>().Seek(value);
        // While the bar moves, the label shows its plain milliseconds; letting go puts the
        // timeline's slider there, which writes the time in its usual form.
        lblCurrentTime->setText(QString::number(value));
    });
}

void frmPreview::sldSeekBar_Click()
{
    QmTrap::Run(kModule, QStringLiteral("sldSeekBar_Click"),
                [this] { moduleTimeline::SetSliderPosition(sldSeekBar->value(), true); });
}

void frmPreview::cmdMute_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdMute_Click"), [this] {
        // Below the button, with a little room (105 twips).
        frmVolume::instance()->Popup(cmdMute->mapToGlobal(QPoint(0, cmdMute->height() + 105 / 15)));
    });
}

void frmPreview::mouseMoveEvent(QMouseEvent* event)
{
    // A move that a control passed on keeps the control's hint.
    if (!childAt(event->position().toPoint()))
        QmPanel::mouseMoveEvent(event);
}

bool frmPreview::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseMove) {
        const QVariant hint = watched->property("hint");
        auto* control = qobject_cast<QWidget*>(watched);
        if (hint.isValid() && control) {
            // A move that a control within passes on keeps that control's hint.
            bool inner = false;
            const QPoint at = static_cast<QMouseEvent*>(event)->position().toPoint();
            for (QWidget* c = control->childAt(at); c && c != control; c = c->parentWidget())
                inner = inner || c->property("hint").isValid();
            if (!inner)
                QmStatus::Show(hint.toString());
        }
    } else if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            ModuleTWPreview::OnCmdPlayClick();
            return true;
        }
        if (key == Qt::Key_Space) {
            ModuleTWPreview::OnCmdPauseClick();
            return true;
        }
    } else if (watched == fmeDisplay && event->type() == QEvent::Resize) {
        Resize();
    }
    return QmPanel::eventFilter(watched, event);
}
