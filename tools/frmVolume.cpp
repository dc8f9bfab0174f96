#include "tools/frmVolume.h"

#include "ui_frmVolume.h"

#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWPreview.h"

#include <QEvent>
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
    Ui::frmVolume ui;
    ui.setupUi(this);
    sldVolume = ui.sldVolume;
    sldVolume->installEventFilter(this);
    connect(sldVolume, &QSlider::valueChanged, this, [this] { sldVolume_Change(); });
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
