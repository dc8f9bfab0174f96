#include "capture/frmDeviceSettings.h"

#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "engine/ITWCapture.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

using namespace QmShared;

namespace {

struct ControlRow
{
    QString name;
    int minimum = 0, maximum = 0, step = 1, defaultValue = 0, value = 0;
};

QList<ControlRow> ReadControls()
{
    QList<ControlRow> rows;
    for (const QString& line : Eng<ITWCapture>().GetVideoControls()) {
        const QStringList f = line.split(u'|');
        if (f.size() == 6)
            rows.append({f[0], f[1].toInt(), f[2].toInt(), f[3].toInt(), f[4].toInt(), f[5].toInt()});
    }
    return rows;
}

// One slider a control; each move goes to the device at once, as a camera's own panel
// does. Returns whether anything changed.
bool ControlsDialog(QWidget* parent, const QString& title, const QList<ControlRow>& rows)
{
    QDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("frmDeviceSettings"));
    dialog.setWindowTitle(title);
    auto* layout = new QVBoxLayout(&dialog);
    auto* form = new QFormLayout;
    layout->addLayout(form);
    bool changed = false;
    QList<QSlider*> sliders;
    for (const ControlRow& row : rows) {
        auto* slider = new QSlider(Qt::Horizontal, &dialog);
        slider->setObjectName(QStringLiteral("sld_") + row.name);
        slider->setRange(row.minimum, row.maximum);
        slider->setSingleStep(row.step);
        slider->setPageStep(std::max(row.step, (row.maximum - row.minimum) / 10));
        slider->setValue(row.value);
        slider->setMinimumWidth(220);
        const QString name = row.name;
        QObject::connect(slider, &QSlider::valueChanged, &dialog, [name, &changed](int value) {
            changed = Eng<ITWCapture>().SetVideoControl(name, value) || changed;
        });
        form->addRow(row.name + u':', slider);
        sliders.append(slider);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close | QDialogButtonBox::RestoreDefaults, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    QObject::connect(buttons->button(QDialogButtonBox::RestoreDefaults), &QPushButton::clicked, &dialog, [&] {
        for (int i = 0; i < rows.size(); ++i)
            sliders[i]->setValue(rows[i].defaultValue);
    });
    layout->addWidget(buttons);
    QmModal::Exec(dialog);
    return changed;
}

} // namespace

namespace frmDeviceSettings {

int16_t ShowVideoSettings(QWidget* parent)
{
    const QList<ControlRow> rows = ReadControls();
    if (rows.isEmpty())
        return 2;
    return ControlsDialog(parent, QStringLiteral("Video Settings"), rows) ? 1 : 0;
}

void ShowCameraSettings(QWidget* parent)
{
    const QList<ControlRow> rows = ReadControls();
    if (rows.isEmpty()) {
        MsgBox(QStringLiteral("This camera's driver offers no settings."), QmMsgBox::Icon::Information);
        return;
    }
    ControlsDialog(parent, QStringLiteral("Camera Settings"), rows);
}

bool ShowAudioFormats(QWidget* parent)
{
    auto& engine = Eng<ITWCapture>();
    int32_t rate = 0;
    int16_t channels = 0;
    engine.GetAudioFormat(rate, channels);
    QDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("frmAudioFormat"));
    dialog.setWindowTitle(QStringLiteral("Audio Format"));
    auto* layout = new QFormLayout(&dialog);
    auto* cboRate = new QComboBox(&dialog);
    cboRate->setObjectName(QStringLiteral("cboSampleRate"));
    for (int r : {8000, 11025, 16000, 22050, 32000, 44100, 48000})
        cboRate->addItem(QString::number(r) + QStringLiteral(" Hz"), r);
    cboRate->setCurrentIndex(std::max(0, cboRate->findData(rate)));
    auto* cboChannels = new QComboBox(&dialog);
    cboChannels->setObjectName(QStringLiteral("cboChannels"));
    cboChannels->addItem(QStringLiteral("Mono"), 1);
    cboChannels->addItem(QStringLiteral("Stereo"), 2);
    cboChannels->setCurrentIndex(channels == 1 ? 0 : 1);
    layout->addRow(QStringLiteral("Sample rate:"), cboRate);
    layout->addRow(QStringLiteral("Channels:"), cboChannels);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addRow(buttons);
    if (QmModal::Exec(dialog) != QDialog::Accepted)
        return false;
    const int32_t newRate = cboRate->currentData().toInt();
    const int16_t newChannels = static_cast<int16_t>(cboChannels->currentData().toInt());
    if (newRate == rate && newChannels == channels)
        return false;
    engine.SetAudioFormat(newRate, newChannels);
    return true;
}

void ShowAudioSettings(QWidget* parent)
{
    auto& engine = Eng<ITWCapture>();
    QDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("frmAudioSettings"));
    dialog.setWindowTitle(QStringLiteral("Audio Settings"));
    auto* layout = new QFormLayout(&dialog);
    auto* level = new QSlider(Qt::Horizontal, &dialog);
    level->setObjectName(QStringLiteral("sldLevel"));
    level->setRange(0, 400);
    level->setPageStep(10);
    level->setValue(engine.GetAudioLevel());
    level->setMinimumWidth(220);
    auto* percent = new QLabel(QString::number(level->value()) + u'%', &dialog);
    QObject::connect(level, &QSlider::valueChanged, &dialog, [percent](int value) { percent->setText(QString::number(value) + u'%'); });
    layout->addRow(QStringLiteral("Input level:"), level);
    layout->addRow(QString(), percent);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addRow(buttons);
    if (QmModal::Exec(dialog) == QDialog::Accepted)
        engine.SetAudioLevel(level->value());
}

} // namespace frmDeviceSettings
