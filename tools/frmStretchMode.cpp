#include "tools/frmStretchMode.h"

#include "ui_frmStretchMode.h"

#include "core/QmImageBox.h"
#include "core/QmModal.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "editing/moduleTWState.h"
#include "engine/ITWTimeline.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"

#include <QCheckBox>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QRadioButton>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmStretchMode");

// The image keys of the four modes, in mode order.
const QString kImageKeys[4] = {QStringLiteral("STRETCH"), QStringLiteral("CROP"), QStringLiteral("PRESERVE_ASPECT_RATIO"),
                               QStringLiteral("PRESERVE_ASPECT_RATIO_NOLETTERBOX")};

// The form's image list: a wide picture (a sun over hills) in a 4:3 frame, fitted as the
// mode of key fits it.
void PaintModePicture(QPainter& painter, const QRect& box, const QString& key)
{
    const int mode = static_cast<int>(std::find(std::begin(kImageKeys), std::end(kImageKeys), key) - std::begin(kImageKeys));
    if (mode > 3)
        return;
    const QRectF frame = QRectF(box).adjusted(1, 1, -1, -1);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(frame, Qt::black);
    // Where the 16:9 picture goes: over the whole frame; at a size larger than the frame,
    // centred; as wide as the frame; as high as the frame.
    const double w = frame.width(), h = frame.height();
    QRectF picture = frame;
    if (mode == 1)
        picture = QRectF(0, 0, w * 1.4, w * 1.4 * 9 / 16);
    else if (mode == 2)
        picture = QRectF(0, 0, w, w * 9 / 16);
    else if (mode == 3)
        picture = QRectF(0, 0, h * 16 / 9, h);
    picture.moveCenter(frame.center());
    painter.save();
    painter.setClipRect(frame);
    painter.fillRect(picture, QColor(0x63, 0xb3, 0xed));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xf6, 0xe0, 0x5e));
    const double sun = picture.height() * 0.3;
    painter.drawEllipse(QRectF(picture.left() + picture.width() * 0.62, picture.top() + picture.height() * 0.15,
                               sun * picture.width() / (picture.height() * 16 / 9), sun));
    QPainterPath hills;
    hills.moveTo(picture.bottomLeft());
    hills.lineTo(picture.left(), picture.top() + picture.height() * 0.7);
    hills.quadTo(picture.left() + picture.width() * 0.3, picture.top() + picture.height() * 0.45,
                 picture.left() + picture.width() * 0.55, picture.top() + picture.height() * 0.72);
    hills.quadTo(picture.left() + picture.width() * 0.8, picture.top() + picture.height() * 0.6, picture.right(),
                 picture.top() + picture.height() * 0.75);
    hills.lineTo(picture.bottomRight());
    painter.setBrush(QColor(0x48, 0xbb, 0x78));
    painter.drawPath(hills);
    painter.restore();
    painter.setPen(QPen(QColor(0x4a, 0x55, 0x68), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(frame);
}

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

// Every track of TrackCollection, then the overlay.
QList<int32_t> Tracks()
{
    QList<int32_t> tracks;
    for (int32_t track : TrackCollection)
        tracks << track;
    return tracks << OverlayTrack;
}

} // namespace

frmStretchMode::frmStretchMode()
{
    Ui::frmStretchMode ui;
    ui.setupUi(this);
    optStretch = ui.optStretch;
    optCrop = ui.optCrop;
    optPreserve = ui.optPreserve;
    optStretchPreserve = ui.optStretchPreserve;
    chkApplyToEntireTrack = ui.chkApplyToEntireTrack;
    imgPreview = ui.imgPreview;
    cmdOK = ui.cmdOK;
    cmdCancel = ui.cmdCancel;
    cmdHelp = ui.cmdHelp;

    imgPreview->SetPainter([this](QPainter& painter, const QRect& box) { PaintModePicture(painter, box, imgPreview->Picture()); });
    const std::pair<QRadioButton*, int16_t> options[] = {
        {optStretch, 0}, {optCrop, 1}, {optPreserve, 2}, {optStretchPreserve, 3}};
    for (auto [option, mode] : options)
        connect(option, &QRadioButton::clicked, this, [this, mode = mode] { opt_Click(mode); });
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
    connect(cmdHelp, &QPushButton::clicked, this, [this] { cmdHelp_Click(); });
}

void frmStretchMode::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuEditStretchMode"), [] { instance()->ShowModal(); });
}

void frmStretchMode::ShowModal()
{
    Form_Load();
    QmModal::Exec(*this);
}

void frmStretchMode::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        chkApplyToEntireTrack->setChecked(false);
        const int16_t mode = GetFirstSelSourceStretchMode();
        QRadioButton* const options[] = {optStretch, optCrop, optPreserve, optStretchPreserve};
        if (mode >= 0 && mode <= 3) {
            options[mode]->setChecked(true);
            imgPreview->SetPicture(kImageKeys[mode]);
        } else {
            optStretch->setChecked(true);
            imgPreview->SetPicture({});
        }
    });
}

void frmStretchMode::opt_Click(int16_t mode)
{
    imgPreview->SetPicture(kImageKeys[mode]);
}

int16_t frmStretchMode::GetFirstSelSourceStretchMode()
{
    return QmTrap::Value<int16_t>(kModule, QStringLiteral("GetFirstSelSourceStretchMode"), 0, [] {
        auto& tl = Tl();
        for (int32_t track : Tracks()) {
            const int16_t count = tl.GetSourceCount(track);
            for (int16_t seq = 0; seq < count; ++seq)
                if (tl.IsSourceSelected(track, seq))
                    return tl.GetSourceStretchMode(track, seq);
        }
        return int16_t{0}; // nothing selected: the empty answer counts as 0
    });
}

void frmStretchMode::SetSelSourcesStretchMode(int16_t mode)
{
    QmTrap::Run(kModule, QStringLiteral("SetSelSourcesStretchMode"), [mode] {
        auto& tl = Tl();
        for (int32_t track : Tracks()) {
            const int16_t count = tl.GetSourceCount(track);
            for (int16_t seq = 0; seq < count; ++seq)
                if (tl.IsSourceSelected(track, seq))
                    tl.SetSourceStretchMode(track, seq, mode);
        }
    });
}

void frmStretchMode::SetTrackStretchMode(int16_t mode)
{
    QmTrap::Run(kModule, QStringLiteral("SetTrackStretchMode"), [mode] {
        auto& tl = Tl();
        auto wholeTrack = [&](int32_t track) {
            const int16_t count = tl.GetSourceCount(track);
            for (int16_t seq = 0; seq < count; ++seq)
                tl.SetSourceStretchMode(track, seq, mode);
        };
        if (moduleTWState::IsVideoSourceSelected())
            for (int32_t track : TrackCollection)
                wholeTrack(track);
        if (moduleTWState::IsOverlaySourceSelected())
            wholeTrack(OverlayTrack);
    });
}

void frmStretchMode::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        // The options are asked in this order, the third one twice: the fourth option's
        // value 3 is never applied, and OK with it changes nothing.
        int16_t mode = -1;
        if (optStretch->isChecked())
            mode = 0;
        else if (optCrop->isChecked())
            mode = 1;
        else if (optPreserve->isChecked())
            mode = 2;
        else if (optPreserve->isChecked())
            mode = 3;
        if (mode >= 0) {
            if (chkApplyToEntireTrack->isChecked())
                SetTrackStretchMode(mode);
            else
                SetSelSourcesStretchMode(mode);
            // The picture changes, but no history entry is made: this cannot be undone.
            ProjectModified = true;
            ModuleTWPreview::UpdatePreview();
        }
        accept();
    });
}

void frmStretchMode::cmdCancel_Click()
{
    reject();
}

void frmStretchMode::cmdHelp_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdHelp_Click"),
                [] { mdiTarnwick::ShowHelpTopic(QStringLiteral("3_7_03a_Setting_Stretch_Mode.htm")); });
}
