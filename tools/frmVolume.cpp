#include "tools/frmVolume.h"

#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWPreview.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QSlider>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmVolume");
const QString kSection = QStringLiteral("Save Options");
const QString kKey = QStringLiteral("Volume");

} // namespace

frmVolume::frmVolume()
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint)
{
    setObjectName(QStringLiteral("frmVolume"));
    setWindowTitle(QStringLiteral("Volume"));
    // A raised frame, so that the popup stands out from what lies beneath it.
    auto* frame = new QFrame(this);
    frame->setFrameShape(QFrame::StyledPanel);
    frame->setFrameShadow(QFrame::Raised);
    sldVolume = new QSlider(Qt::Vertical, frame);
    sldVolume->setObjectName(QStringLiteral("sldVolume"));
    sldVolume->setRange(0, 100);
    sldVolume->setPageStep(10);
    sldVolume->setTickPosition(QSlider::TicksRight);
    sldVolume->setTickInterval(25);
    sldVolume->setToolTip(QStringLiteral("Volume"));
    sldVolume->installEventFilter(this);
    connect(sldVolume, &QSlider::valueChanged, this, [this] { sldVolume_Change(); });
    auto* inside = new QHBoxLayout(frame);
    inside->setContentsMargins(6, 8, 6, 8);
    inside->addWidget(sldVolume);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(frame);
    resize(44, 130);
}

void frmVolume::LoadVolume()
{
    iVolume = RetrieveVolume();
}

int16_t frmVolume::RetrieveVolume()
{
    return QmTrap::Value<int16_t>(kModule, QStringLiteral("RetrieveVolume"), 100, [] {
        const QString stored = QmSettings::GetSetting(kSection, kKey);
        if (stored.trimmed().isEmpty()) {
            QmSettings::SaveSetting(kSection, kKey, QStringLiteral("100"));
            return int16_t{100};
        }
        // A value edited by hand out of range still gives a usable volume.
        bool ok = false;
        const int level = stored.trimmed().toInt(&ok);
        return static_cast<int16_t>(ok ? std::clamp(level, 0, 100) : 100);
    });
}

void frmVolume::SaveVolume(int32_t level)
{
    QmTrap::Run(kModule, QStringLiteral("SaveVolume"), [level] {
        if (level >= 0 && level <= 100)
            QmSettings::SaveSetting(kSection, kKey, QString::number(level));
    });
}

int16_t frmVolume::GetVolume() const
{
    return iVolume;
}

void frmVolume::SetVolume(int32_t level)
{
    QmTrap::Run(kModule, QStringLiteral("SetVolume"), [this, level] {
        Eng<ITWPreview>().SetVolume(level - 100);
        Eng<ITWFilePreview>().SetVolume(level - 100);
        iVolume = static_cast<int16_t>(level);
    });
}

void frmVolume::Popup(const QPoint& topLeft)
{
    Form_Load();
    move(topLeft);
    show();
    activateWindow();
    sldVolume->setFocus();
}

void frmVolume::Form_Load()
{
    {
        const QSignalBlocker quiet(sldVolume);
        sldVolume->setValue(GetVolume());
    }
    sldVolume_Change();
}

void frmVolume::sldVolume_Change()
{
    SetVolume(sldVolume->value());
}

bool frmVolume::event(QEvent* event)
{
    // Another window taking over closes the popup.
    if (event->type() == QEvent::WindowDeactivate && isVisible())
        close();
    return QWidget::event(event);
}

bool frmVolume::eventFilter(QObject* watched, QEvent* event)
{
    // Any key closes the popup, the arrow keys included: they were meant to stay with
    // the slider, but the test for them asks for one key to be all four at once.
    if (watched == sldVolume && event->type() == QEvent::KeyPress) {
        close();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
