#include "tools/frmKeyColor.h"

#include "ui_frmKeyColor.h"

#include "core/QmColors.h"
#include "core/QmIcons.h"
#include "core/QmImageBox.h"
#include "core/QmModal.h"
#include "core/QmNumbers.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "editing/moduleEdit.h"
#include "engine/ITWPreview.h"
#include "history/ModuleHistory.h"
#include "preview/ModuleTWPreview.h"

#include <QCursor>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSlider>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmKeyColor");

// The primary colours of lblPrimaryColors, in order.
constexpr int kPrimaries[8][3] = {{0, 0, 0},     {255, 255, 255}, {255, 0, 0},   {0, 255, 0},
                                  {0, 0, 255},   {255, 0, 255},   {0, 255, 255}, {255, 255, 0}};

int32_t ColorOf(int red, int green, int blue)
{
    return (red & 0xFF) | (green & 0xFF) << 8 | (blue & 0xFF) << 16;
}

// A colour box's text as the 16-bit number it holds: error 13 for a text that is no
// number, 6 for one too large.
int16_t BoxValue(const QString& text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok)
        throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    return QmNumbers::CInt(value);
}

void SetTextQuietlyIfOther(QLineEdit* box, const QString& text)
{
    // A box set to the text it holds tells no change, as Quillmont's boxes never have.
    if (box->text() != text)
        box->setText(text);
}

} // namespace

frmKeyColor::frmKeyColor()
{
    Ui::frmKeyColor ui;
    ui.setupUi(this);
    picDisplay = ui.picDisplay;
    imgDisplay = ui.imgDisplay;
    picCurrentColor = ui.picCurrentColor;
    picColorDisplay = ui.picColorDisplay;
    txtRed = ui.txtRed;
    txtGreen = ui.txtGreen;
    txtBlue = ui.txtBlue;
    sldRed = ui.sldRed;
    sldGreen = ui.sldGreen;
    sldBlue = ui.sldBlue;
    lblPrimaryColors = {ui.lblPrimaryColors_0, ui.lblPrimaryColors_1, ui.lblPrimaryColors_2, ui.lblPrimaryColors_3,
                        ui.lblPrimaryColors_4, ui.lblPrimaryColors_5, ui.lblPrimaryColors_6, ui.lblPrimaryColors_7};
    cmdOK = ui.cmdOK;
    cmdCancel = ui.cmdCancel;
    m_boxes = {txtRed, txtGreen, txtBlue};
    m_sliders = {sldRed, sldGreen, sldBlue};
    m_fields = {&KeyColorRed, &KeyColorGreen, &KeyColorBlue};

    picDisplay->SetBackColor(QmColors::ButtonFace);
    // The dropper's surface lies over the frame and shows it.
    imgDisplay->SetPainter([this](QPainter& painter, const QRect&) { painter.drawImage(0, 0, picDisplay->Image()); });
    for (int i = 0; i < 3; ++i) {
        connect(m_boxes[i], &QLineEdit::textChanged, this, [this, i] { txtColor_Change(i); });
        connect(m_sliders[i], &QSlider::valueChanged, this, [this, i] { sldColor_Change(i); });
    }
    for (int i = 0; i < 8; ++i) {
        QPalette palette = lblPrimaryColors[i]->palette();
        palette.setColor(QPalette::Window, QColor(kPrimaries[i][0], kPrimaries[i][1], kPrimaries[i][2]));
        lblPrimaryColors[i]->setPalette(palette);
        lblPrimaryColors[i]->installEventFilter(this);
    }
    connect(imgDisplay, &QmImageBox::MouseDown, this, [this](Qt::MouseButton button, Qt::KeyboardModifiers, int x, int y) {
        if (button == Qt::LeftButton)
            imgDisplay_MouseDown(x, y);
    });
    connect(imgDisplay, &QmImageBox::MouseMove, this,
            [this](Qt::MouseButtons, Qt::KeyboardModifiers, int x, int y) { imgDisplay_MouseMove(x, y); });
    connect(imgDisplay, &QmImageBox::MouseUp, this, [this](Qt::MouseButton button, Qt::KeyboardModifiers, int, int) {
        if (button == Qt::LeftButton)
            imgDisplay_MouseUp();
    });
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
}

void frmKeyColor::SetRGB(int16_t red, int16_t green, int16_t blue)
{
    KeyColorRed = red;
    KeyColorGreen = green;
    KeyColorBlue = blue;
}

void frmKeyColor::ShowModal()
{
    Form_Load();
    QmModal::Exec(*this);
}

void frmKeyColor::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        Picking = false;
        // The boxes' change handlers bring the sliders along (a box that holds the value
        // already has its slider there).
        const int16_t opened[3] = {KeyColorRed, KeyColorGreen, KeyColorBlue};
        for (int i = 0; i < 3; ++i)
            m_boxes[i]->setText(QString::number(opened[i]));
        const int32_t color = ColorOf(KeyColorRed, KeyColorGreen, KeyColorBlue);
        picCurrentColor->SetBackColor(color);
        picColorDisplay->SetBackColor(color);

        // Always the stream's first frame, whatever the slider shows.
        picDisplay->SetPicture({});
        Eng<ITWPreview>().DrawKeyFrame(StreamHandle, 0.0, picDisplay->hDC(), 320, 240);
        picDisplay->Refresh();
        imgDisplay->update();
        const QCursor dropper(QmIcon(QStringLiteral("DROPPER")).pixmap(24, 24), 2, 21);
        imgDisplay->setCursor(dropper);
        for (QLabel* label : lblPrimaryColors)
            label->setCursor(dropper);
    });
}

void frmKeyColor::ShowChosenColor()
{
    picColorDisplay->SetBackColor(ColorOf(KeyColorRed, KeyColorGreen, KeyColorBlue));
}

void frmKeyColor::txtColor_Change(int index)
{
    static const QString names[3] = {QStringLiteral("txtRed_Change"), QStringLiteral("txtGreen_Change"),
                                     QStringLiteral("txtBlue_Change")};
    QmTrap::Run(
        kModule, names[index],
        [this, index] {
            *m_fields[index] = BoxValue(m_boxes[index]->text());
            // The slider keeps to 0..255: a value past that comes back through its change.
            m_sliders[index]->setValue(*m_fields[index]);
            ShowChosenColor();
        },
        [](const QmError& e) {
            // A box being typed in holds no number for a moment (empty, "-"): the field
            // keeps its value until it does.
            return e.Number() == QmErr::TypeMismatch || e.Number() == QmErr::Overflow;
        });
}

void frmKeyColor::sldColor_Change(int index)
{
    static const QString names[3] = {QStringLiteral("sldRed_Change"), QStringLiteral("sldGreen_Change"),
                                     QStringLiteral("sldBlue_Change")};
    QmTrap::Run(kModule, names[index], [this, index] {
        *m_fields[index] = static_cast<int16_t>(m_sliders[index]->value());
        SetTextQuietlyIfOther(m_boxes[index], QString::number(*m_fields[index]));
        ShowChosenColor();
    });
}

void frmKeyColor::lblPrimaryColors_Click(int index)
{
    QmTrap::Run(kModule, QStringLiteral("lblPrimaryColors_Click"), [this, index] {
        for (int i = 0; i < 3; ++i)
            SetTextQuietlyIfOther(m_boxes[i], QString::number(kPrimaries[index][i]));
        picColorDisplay->SetBackColor(ColorOf(kPrimaries[index][0], kPrimaries[index][1], kPrimaries[index][2]));
    });
}

void frmKeyColor::imgDisplay_MouseDown(int x, int y)
{
    QmTrap::Run(kModule, QStringLiteral("imgDisplay_MouseDown"), [this, x, y] {
        KeyColorRed = static_cast<int16_t>(PickedRed);
        KeyColorGreen = static_cast<int16_t>(PickedGreen);
        KeyColorBlue = static_cast<int16_t>(PickedBlue);
        Picking = true;
        imgDisplay_MouseMove(x, y);
    });
}

void frmKeyColor::imgDisplay_MouseMove(int x, int y)
{
    QmTrap::Run(kModule, QStringLiteral("imgDisplay_MouseMove"), [this, x, y] {
        if (!Picking)
            return;
        // One twip is one pixel here: the pointer's place is the picture's pixel.
        Eng<ITWPreview>().GetFramePixel(picDisplay->Image(), x, y, PickedRed, PickedGreen, PickedBlue);
        SetTextQuietlyIfOther(txtRed, QString::number(PickedRed));
        SetTextQuietlyIfOther(txtGreen, QString::number(PickedGreen));
        SetTextQuietlyIfOther(txtBlue, QString::number(PickedBlue));
        picColorDisplay->SetBackColor(ColorOf(PickedRed, PickedGreen, PickedBlue));
    });
}

void frmKeyColor::imgDisplay_MouseUp()
{
    Picking = false;
}

void frmKeyColor::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        ModuleHistory::RemoveDisabledEntries();
        ModuleHistory::AddOperationToHistory(QStringLiteral("SetKeyColor"));
        moduleEdit::ApplyTransitionKey(OverlayTrack, SequenceNumber, KeyColorRed, KeyColorGreen, KeyColorBlue);
        ++ModuleHistory::HistoryIndex;
        ModuleHistory::RearrangeHistoryCollection();
        ModuleHistory::StoreCurrentTLImage();
        ModuleTWPreview::UpdatePreview();
        ProjectModified = true;
        accept();
    });
}

void frmKeyColor::cmdCancel_Click()
{
    Picking = false;
    reject();
}

bool frmKeyColor::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonRelease && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        for (int i = 0; i < 8; ++i) {
            if (watched == lblPrimaryColors[i]) {
                lblPrimaryColors_Click(i);
                return true;
            }
        }
    }
    return QDialog::eventFilter(watched, event);
}
