#include "tools/frmAddText.h"

#include "ui_frmAddText.h"

#include "core/QmColors.h"
#include "core/QmDialogs.h"
#include "core/QmIcons.h"
#include "core/QmImageBox.h"
#include "core/QmNumbers.h"
#include "core/QmPicture.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>

using namespace QmShared;
using moduleUtilities::ExtractFileName;

namespace {

const QString kModule = QStringLiteral("frmAddText");

constexpr int32_t kWhite = 0xFFFFFF;
constexpr int32_t kBlack = 0x000000;
constexpr int32_t kBlue = 0xFF0000; // 0x00BBGGRR
constexpr int32_t kRed = 0x0000FF;

// The menu entries of the styles and their tool buttons.
const std::pair<const char*, const char*> kStyles[] = {{"mnuFormatFontStyleBold", "BOLD"},
                                                       {"mnuFormatFontStyleItalic", "ITALIC"},
                                                       {"mnuFormatFontStyleUnderline", "UNDERLINE"},
                                                       {"mnuFormatFontStyleStrikethrough", "STRIKETHROUGH"}};

// The six positions by TextPosition: menu entry, drop-down key, image key, tool tip.
struct PositionDef
{
    const char* menu;
    const char* key;
    const char* image;
    const char* tip;
};
const PositionDef kPositions[6] = {
    {"mnuFormatPositionTopLeft", "POSITION_TOP_LEFT", "TOP_LEFT", "Position Text - Top Left"},
    {"mnuFormatPositionTopRight", "POSITION_TOP_RIGHT", "TOP_RIGHT", "Position Text - Top Right"},
    {"mnuFormatPositionBottomLeft", "POSITION_BOTTOM_LEFT", "BOTTOM_LEFT", "Position Text - Bottom Left"},
    {"mnuFormatPositionBottomRight", "POSITION_BOTTOM_RIGHT", "BOTTOM_RIGHT", "Position Text - Bottom Right"},
    {"mnuFormatPositionCenterLeft", "POSITION_CENTER_LEFT", "CENTER_LEFT", "Position Text - Center Left"},
    {"mnuFormatPositionCenterRight", "POSITION_CENTER_RIGHT", "CENTER_RIGHT", "Position Text - Center Right"},
};

// The lines of a text, and the size they take in a font: the widest line, and one
// line height a line.
QStringList LinesOf(const QString& text)
{
    return text.split(QStringLiteral("\r\n"));
}

QSize TextSize(const QString& text, const QFont& font)
{
    const QFontMetrics metrics(font);
    int width = 0;
    const QStringList lines = LinesOf(text);
    for (const QString& line : lines)
        width = std::max(width, metrics.horizontalAdvance(line));
    return {width, static_cast<int>(lines.size()) * metrics.height()};
}

// The text printed line by line at left, top, each line one height of "E" below the one
// before, on the picture's fore colour and font; without transparency, on a box of
// back colour first.
void DrawText(QmPicture* picture, const QString& text, int32_t left, int32_t top, bool transparent, int32_t back)
{
    const QSize size = TextSize(text, picture->font());
    if (!transparent) {
        const int32_t fore = picture->ForeColor;
        picture->ForeColor = back;
        picture->BoxFill(left, top, left + size.width(), top + size.height());
        picture->ForeColor = fore;
    }
    const QStringList lines = LinesOf(text);
    for (int i = 0; i < lines.size(); ++i) {
        picture->CurrentX = left;
        picture->CurrentY = top + i * picture->TextHeight(QStringLiteral("E"));
        picture->Print(lines[i]);
    }
}

} // namespace

frmAddText::frmAddText()
{
    Ui::frmAddText ui;
    ui.setupUi(this);
    setWindowModality(Qt::ApplicationModal);
    picWorkspace = ui.picWorkspace;
    picWorkspaceBack = ui.picWorkspaceBack;
    imgDrag = ui.imgDrag;
    txtText = ui.txtText;
    picColorDisplay = ui.picColorDisplay;
    picBackColorDisplay = ui.picBackColorDisplay;
    cboFonts = ui.cboFonts;
    cboSize = ui.cboSize;
    fmeWorkspace = ui.fmeWorkspace;
    hsbr = ui.hsbr;
    vsbr = ui.vsbr;
    tbr = ui.tbr;

    // The status bar's panels, by key.
    for (auto [key, stretch] : {std::pair{"STATUS", 1}, {"IMAGE_DIMENSION", 0}, {"TEXT_POSITION", 0}}) {
        auto* panel = new QLabel(ui.sbr);
        panel->setObjectName(QLatin1String(key));
        panel->setMinimumWidth(110);
        panel->setContentsMargins(4, 0, 4, 0);
        if (stretch)
            ui.sbr->addWidget(panel, 1);
        else
            ui.sbr->addPermanentWidget(panel);
    }
    Panel(QStringLiteral("STATUS"))->setText(QStringLiteral("Ready"));

    // The position button's drop-down, its six keys in the order of the menu.
    m_positionMenu = new QMenu(this);
    for (int i : {0, 1, 4, 5, 2, 3})
        m_positionMenu->addAction(Item(QLatin1String(kPositions[i].key)));
    Item(QStringLiteral("POSITION"))->setMenu(m_positionMenu);
    if (auto* button = qobject_cast<QToolButton*>(tbr->widgetForAction(Item(QStringLiteral("POSITION")))))
        button->setPopupMode(QToolButton::MenuButtonPopup);

    m_designSize = picWorkspace->size();
    picWorkspace->SetBackColor(kWhite);
    picWorkspace->setMouseTracking(true);
    fmeWorkspace->installEventFilter(this);
    picWorkspace->installEventFilter(this);
    txtText->installEventFilter(this);
    cboFonts->lineEdit()->installEventFilter(this);
    cboSize->lineEdit()->installEventFilter(this);
    Connect();
}

void frmAddText::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsAddText"), [] { ShowForm(); });
}

void frmAddText::ShowForm()
{
    frmAddText* form = instance();
    if (form->isVisible()) {
        form->raise();
        form->activateWindow();
        return;
    }
    form->Form_Load();
    form->show();
    form->LayOutWorkspace();
}

QAction* frmAddText::Item(const QString& name) const
{
    return findChild<QAction*>(name);
}

QLabel* frmAddText::Panel(const QString& key) const
{
    return statusBar()->findChild<QLabel*>(key);
}

QString frmAddText::Text() const
{
    return txtText->toPlainText().replace(u'\n', QStringLiteral("\r\n"));
}

void frmAddText::Connect()
{
    // Every command first ends typing, as the edit box would lose the focus to it.
    // A menu entry and its tool button run the same routine.
    auto on = [this](std::initializer_list<const char*> names, auto routine) {
        for (const char* name : names)
            connect(Item(QLatin1String(name)), &QAction::triggered, this, [this, routine] {
                LeaveTextBox();
                routine();
            });
    };
    on({"mnuFileNew", "NEW"}, [this] { mnuFileNew_Click(); });
    on({"mnuFileSave", "SAVE"}, [this] { OnFileSaveClick(); });
    on({"mnuFileSaveas"}, [this] { mnuFileSaveas_Click(); });
    on({"mnuFileSaveAndClose"}, [this] {
        if (OnFileSaveClick())
            close();
    });
    on({"mnuFileSaveAndAdd"}, [this] {
        if (OnFileSaveClick())
            AddBitmapToMediaList(TextFile);
    });
    on({"mnuFileSaveAddAndClose"}, [this] {
        if (OnFileSaveClick()) {
            AddBitmapToMediaList(TextFile);
            close();
        }
    });
    on({"mnuFileClose"}, [this] { close(); });
    on({"mnuFormatText", "TEXT"}, [this] { OnFormatText(); });
    on({"mnuFormatBackgroundColor"}, [this] { ChooseBackColor(); });
    on({"mnuFormatFontColor"}, [this] { ChooseFontColor(); });
    on({"mnuFormatFont"}, [this] { ChooseFont(); });
    on({"mnuFormatTransparentBackground"},
       [this] { SetTransparent(Item(QStringLiteral("mnuFormatTransparentBackground"))->isChecked()); });
    on({"TRANSPARENT_BACKGROUND"}, [this] { SetTransparent(Item(QStringLiteral("TRANSPARENT_BACKGROUND"))->isChecked()); });
    for (auto [menu, key] : kStyles) {
        const QString menuName = QLatin1String(menu);
        on({menu}, [this, menuName] { SetStyle(menuName, Item(menuName)->isChecked()); });
        on({key}, [this, menuName, key = QString::fromLatin1(key)] { SetStyle(menuName, Item(key)->isChecked()); });
    }
    for (int16_t i = 0; i < 6; ++i) {
        on({kPositions[i].menu, kPositions[i].key}, [this, i] { PlaceText(i); });
    }
    on({"POSITION"}, [this] { PlaceText(TextPosition); });
    on({"mnuFormatCenterHorizontally", "CENTER_HORIZONTALLY"}, [this] { CenterHorizontally(); });
    on({"mnuFormatCenterVertically", "CENTER_VERTICALLY"}, [this] { CenterVertically(); });
    // Opening the format menu takes the focus from the edit box.
    connect(findChild<QMenu*>(QStringLiteral("mnuFormat")), &QMenu::aboutToShow, this, [this] { LeaveTextBox(); });

    connect(cboFonts, &QComboBox::activated, this, [this](int row) { ApplyFontName(cboFonts->itemText(row)); });
    connect(cboSize, &QComboBox::activated, this, [this](int row) { ApplyFontSize(cboSize->itemText(row)); });
    auto click = [this](QmPicture* box, void (frmAddText::*choose)()) {
        connect(box, &QmPicture::MouseUp, this, [this, box, choose](Qt::MouseButton button, Qt::KeyboardModifiers, int x, int y) {
            if (button == Qt::LeftButton && box->rect().contains(x, y)) {
                LeaveTextBox();
                (this->*choose)();
            }
        });
    };
    click(picColorDisplay, &frmAddText::ChooseFontColor);
    click(picBackColorDisplay, &frmAddText::ChooseBackColor);

    connect(imgDrag, &QmImageBox::MouseMove, this, [this](Qt::MouseButtons buttons, Qt::KeyboardModifiers, int x, int y) {
        if (buttons == Qt::NoButton) {
            DragOffsetX = x;
            DragOffsetY = y;
            Panel(QStringLiteral("STATUS"))->setText(QStringLiteral("Click to type your text"));
        }
    });
    connect(imgDrag, &QmImageBox::MouseDown, this, [this](Qt::MouseButton button, Qt::KeyboardModifiers, int x, int y) {
        if (button != Qt::LeftButton)
            return;
        DragOffsetX = x;
        DragOffsetY = y;
        m_dragging = true;
        imgDrag->setCursor(Qt::ClosedHandCursor);
    });
    connect(imgDrag, &QmImageBox::MouseUp, this, [this](Qt::MouseButton button, Qt::KeyboardModifiers, int x, int y) {
        if (button == Qt::LeftButton && m_dragging)
            imgDrag_MouseUp(x, y);
    });
    connect(picWorkspace, &QmPicture::KeyDown, this, [this](int key, Qt::KeyboardModifiers shift) { NudgeText(key, shift); });
    connect(picWorkspace, &QmPicture::MouseMove, this, [this](Qt::MouseButtons, Qt::KeyboardModifiers, int, int) {
        Panel(QStringLiteral("STATUS"))->setText(QStringLiteral("Click to move text using the direction keys"));
    });
    connect(hsbr, &QScrollBar::valueChanged, this, [this] { LayOutWorkspace(); });
    connect(vsbr, &QScrollBar::valueChanged, this, [this] { LayOutWorkspace(); });
}

void frmAddText::SetToolBarIcons()
{
    for (const char* key : {"NEW", "SAVE", "TEXT", "BOLD", "ITALIC", "UNDERLINE", "STRIKETHROUGH", "TRANSPARENT_BACKGROUND",
                            "CENTER_HORIZONTALLY", "CENTER_VERTICALLY"})
        Item(QLatin1String(key))->setIcon(QmIcon(QLatin1String(key)));
    for (const PositionDef& position : kPositions)
        Item(QLatin1String(position.key))->setIcon(QmIcon(QLatin1String(position.image)));
    Item(QStringLiteral("POSITION"))->setIcon(QmIcon(QStringLiteral("TOP_LEFT")));
}

void frmAddText::FillFonts()
{
    cboFonts->clear();
    cboFonts->addItems(QFontDatabase::families());
}

void frmAddText::Form_Load()
{
    QmPointer::Hourglass();
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        // Each opening starts from the form as it was laid out.
        TextLeft = TextTop = 0;
        TextFile.clear();
        KeyRed = KeyGreen = KeyBlue = 0;
        setWindowTitle(QStringLiteral("Add Text"));
        txtText->hide();
        picWorkspace->resize(m_designSize);
        picWorkspaceBack->resize(m_designSize);
        picWorkspace->SetPicture({});
        picWorkspaceBack->SetBackColor(kBlack); // the key colour of a first save that no rule chooses
        hsbr->setValue(0);
        vsbr->setValue(0);
        FillFonts();
        cboSize->clear();
        for (int size = 7; size <= 72; ++size)
            cboSize->addItem(QString::number(size));
        cboSize->setCurrentText(QStringLiteral("8"));
        SetToolBarIcons();

        // The frame under the slider as the backdrop, at the movie's size. The two
        // starts cancel: the frame is taken at the slider's time within the stream.
        auto& tl = Eng<ITWTimeline>();
        const int32_t video = TrackCollection.Item(1);
        const int16_t seq = moduleTimeline::GetSequenceNumberFromPos(video, SliderPosition);
        if (seq >= 0) {
            int32_t firstStart = 0, secondStart = 0, stop = 0;
            tl.GetSourceTimes(video, seq, firstStart, stop);
            tl.GetSourceTimes(video, seq, secondStart, stop);
            const int32_t stream = tl.GetSourceStream(video, seq);
            picWorkspace->resize(ProjectWidth, ProjectHeight);
            picWorkspaceBack->resize(ProjectWidth, ProjectHeight);
            const double seconds = (SliderPosition - firstStart + secondStart) / 1000.0;
            Eng<ITWPreview>().DrawKeyFrame(stream, seconds, picWorkspaceBack->hDC(), ProjectWidth, ProjectHeight);
            picWorkspace->SetPicture(picWorkspaceBack->Image());
        }
        Panel(QStringLiteral("IMAGE_DIMENSION"))
            ->setText(QStringLiteral("%1 x %2").arg(picWorkspace->ScaleWidth()).arg(picWorkspace->ScaleHeight()));
        mnuFileNew_Click();
    });
    QmPointer::Normal();
}

void frmAddText::mnuFileNew_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuFileNew_Click"), [this] {
        QFont font(QStringLiteral("Arial"));
        font.setPointSize(16);
        picWorkspace->setFont(font);
        cboFonts->setCurrentText(font.family());
        cboSize->setCurrentText(QStringLiteral("16"));
        picBackColorDisplay->SetBackColor(kWhite);
        picWorkspace->SetBackColor(kWhite);
        picColorDisplay->SetBackColor(kBlack);
        picWorkspace->ForeColor = kBlack;
        for (auto [menu, key] : kStyles)
            SetStyle(QLatin1String(menu), false);
        SetTransparent(false);
        Item(QStringLiteral("POSITION"))->setIcon(QmIcon(QStringLiteral("TOP_LEFT")));
        Item(QStringLiteral("POSITION"))->setToolTip(QStringLiteral("Position Text - Top Left"));
        TextPosition = 0;
        txtText->setPlainText(QString());
        CenterHorizontally();
        CenterVertically();
        OnTextChange();
    });
}

void frmAddText::SetStyle(const QString& menuName, bool on)
{
    for (auto [menu, key] : kStyles) {
        if (menuName != QLatin1String(menu))
            continue;
        Item(menuName)->setChecked(on);
        Item(QLatin1String(key))->setChecked(on);
        QFont font = picWorkspace->font();
        if (menuName.endsWith(u"Bold"))
            font.setBold(on);
        else if (menuName.endsWith(u"Italic"))
            font.setItalic(on);
        else if (menuName.endsWith(u"Underline"))
            font.setUnderline(on);
        else
            font.setStrikeOut(on);
        picWorkspace->setFont(font);
    }
    OnTextChange();
}

void frmAddText::SetTransparent(bool on)
{
    Item(QStringLiteral("mnuFormatTransparentBackground"))->setChecked(on);
    Item(QStringLiteral("TRANSPARENT_BACKGROUND"))->setChecked(on);
    OnTextChange();
}

void frmAddText::ApplyFontName(const QString& name)
{
    QmTrap::Run(kModule, QStringLiteral("cboFonts_Click"), [this, &name] {
        QFont font = picWorkspace->font();
        font.setFamily(name);
        picWorkspace->setFont(font);
        OnTextChange();
    });
}

void frmAddText::ApplyFontSize(const QString& size)
{
    QmTrap::Run(
        kModule, QStringLiteral("cboSize_Click"),
        [this, &size] {
            bool ok = false;
            const double points = size.trimmed().toDouble(&ok);
            if (!ok || points <= 0)
                throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
            QFont font = picWorkspace->font();
            font.setPointSizeF(points);
            picWorkspace->setFont(font);
            OnTextChange();
        },
        // A size that is no number leaves the font as it is.
        [](const QmError& e) { return e.Number() == QmErr::TypeMismatch; });
}

void frmAddText::ChooseFont()
{
    QmTrap::Run(
        kModule, QStringLiteral("mnuFormatFont_Click"),
        [this] {
            const QFont current = picWorkspace->font();
            QmDialogs::FontChoice initial{current.family(), current.pointSizeF(), current.bold(), current.italic(),
                                          current.underline(), current.strikeOut(), picColorDisplay->BackColor()};
            const QmDialogs::FontChoice chosen = QmDialogs::ShowFont(initial);
            QFont font = current;
            font.setFamily(chosen.name);
            font.setPointSizeF(chosen.size);
            picWorkspace->setFont(font);
            cboFonts->setCurrentText(chosen.name);
            cboSize->setCurrentText(QString::number(chosen.size));
            picColorDisplay->SetBackColor(chosen.color);
            picWorkspace->ForeColor = chosen.color;
            SetStyle(QStringLiteral("mnuFormatFontStyleBold"), chosen.bold);
            SetStyle(QStringLiteral("mnuFormatFontStyleItalic"), chosen.italic);
            SetStyle(QStringLiteral("mnuFormatFontStyleUnderline"), chosen.underline);
            SetStyle(QStringLiteral("mnuFormatFontStyleStrikethrough"), chosen.strikethru);
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmAddText::ChooseFontColor()
{
    QmTrap::Run(
        kModule, QStringLiteral("mnuFormatFontColor_Click"),
        [this] {
            const int32_t color = QmDialogs::ShowColor(picColorDisplay->BackColor());
            picColorDisplay->SetBackColor(color);
            picWorkspace->ForeColor = color;
            OnTextChange();
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmAddText::ChooseBackColor()
{
    QmTrap::Run(
        kModule, QStringLiteral("mnuFormatBackgroundColor_Click"),
        [this] {
            picBackColorDisplay->SetBackColor(QmDialogs::ShowColor(picBackColorDisplay->BackColor()));
            OnTextChange();
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmAddText::OnTextChange()
{
    QmTrap::Run(kModule, QStringLiteral("OnTextChange"), [this] {
        const QString text = Text();
        const QSize size = TextSize(text, picWorkspace->font());
        if (txtText->isHidden()) {
            picWorkspace->Cls();
            imgDrag->setGeometry(TextLeft, TextTop, size.width() + 1, size.height() + 1);
            DrawText(picWorkspace, text, TextLeft, TextTop,
                     Item(QStringLiteral("mnuFormatTransparentBackground"))->isChecked(), picBackColorDisplay->BackColor());
        }
        txtText->setGeometry(imgDrag->x(), imgDrag->y(), size.width() + 1, size.height() + 1);
        ShowTextPosition();
    });
}

void frmAddText::OnFormatText()
{
    QmTrap::Run(kModule, QStringLiteral("OnFormatText"), [this] {
        if (Text().trimmed().isEmpty())
            txtText->setPlainText(QStringLiteral("Sample Text"));
        txtText->setGeometry(imgDrag->geometry());
        QPalette palette = txtText->palette();
        palette.setColor(QPalette::Text, QmColors::ToQColor(picColorDisplay->BackColor()));
        palette.setColor(QPalette::Base, QmColors::ToQColor(picBackColorDisplay->BackColor()));
        txtText->setPalette(palette);
        txtText->setFont(picWorkspace->font());
        txtText->document()->setDocumentMargin(0);
        // The box grows with what is typed, so that it always covers the text.
        const QSize size = TextSize(Text(), txtText->font());
        txtText->resize(std::max(imgDrag->width(), size.width() + 1) + QFontMetrics(txtText->font()).averageCharWidth(),
                        std::max(imgDrag->height(), size.height() + 1));
        txtText->show();
        txtText->raise();
        txtText->setFocus();
        txtText->selectAll();
    });
}

void frmAddText::LeaveTextBox()
{
    if (txtText->isHidden())
        return;
    txtText->hide();
    OnTextChange();
}

void frmAddText::PlaceText(int16_t position)
{
    QmTrap::Run(kModule, QStringLiteral("PlaceText"), [this, position] {
        const QSize size = TextSize(Text(), picWorkspace->font());
        const int32_t w = picWorkspace->ScaleWidth(), h = picWorkspace->ScaleHeight();
        const int32_t right = w - 1 - size.width();
        const int32_t bottom = h - 1 - size.height();
        const int32_t middle = QmNumbers::CLng(h / 2.0 - imgDrag->height() / 2.0);
        const int32_t places[6][2] = {{0, 0}, {right, 0}, {0, bottom}, {right, bottom}, {0, middle}, {right, middle}};
        TextLeft = places[position][0];
        TextTop = places[position][1];
        TextPosition = position;
        QAction* button = Item(QStringLiteral("POSITION"));
        button->setIcon(QmIcon(QLatin1String(kPositions[position].image)));
        button->setToolTip(QLatin1String(kPositions[position].tip));
        OnTextChange();
    });
}

void frmAddText::CenterHorizontally()
{
    TextLeft = QmNumbers::CLng(picWorkspace->ScaleWidth() / 2.0 - imgDrag->width() / 2.0);
    OnTextChange();
}

void frmAddText::CenterVertically()
{
    TextTop = QmNumbers::CLng(picWorkspace->ScaleHeight() / 2.0 - imgDrag->height() / 2.0);
    OnTextChange();
}

void frmAddText::ShowTextPosition()
{
    Panel(QStringLiteral("TEXT_POSITION"))->setText(QStringLiteral("%1 x %2").arg(TextLeft).arg(TextTop));
}

void frmAddText::MoveTextTo(int32_t left, int32_t top)
{
    TextLeft = left;
    TextTop = top;
    OnTextChange();
}

void frmAddText::imgDrag_MouseUp(int x, int y)
{
    m_dragging = false;
    imgDrag->setCursor(Qt::SizeAllCursor);
    QmTrap::Run(kModule, QStringLiteral("imgDrag_DragDrop"), [this, x, y] {
        if (imgDrag->rect().contains(x, y)) {
            // Dropped on itself: where it was grabbed, it was a click.
            if (x == DragOffsetX && y == DragOffsetY)
                OnFormatText();
            else
                MoveTextTo(TextLeft + x - DragOffsetX, TextTop + y - DragOffsetY);
            return;
        }
        const QPoint on = imgDrag->mapTo(picWorkspace, QPoint(x, y));
        if (picWorkspace->rect().contains(on))
            MoveTextTo(on.x() - DragOffsetX, on.y() - DragOffsetY);
    });
}

void frmAddText::NudgeText(int key, Qt::KeyboardModifiers shift)
{
    QmTrap::Run(kModule, QStringLiteral("picWorkspace_KeyDown"), [this, key, shift] {
        const bool fine = shift & Qt::ShiftModifier;
        const int32_t step = fine ? 1 : 5;
        if (key == Qt::Key_Left && TextLeft >= 1)
            MoveTextTo(TextLeft - step, TextTop);
        else if (key == Qt::Key_Up && TextTop >= 1)
            MoveTextTo(TextLeft, TextTop - step);
        else if (key == Qt::Key_Right && imgDrag->width() + TextLeft < picWorkspace->ScaleWidth())
            MoveTextTo(TextLeft + step, TextTop);
        else if (key == Qt::Key_Down && imgDrag->height() + TextTop < picWorkspace->ScaleHeight())
            MoveTextTo(TextLeft, TextTop + step);
        Panel(QStringLiteral("STATUS"))
            ->setText(fine ? QStringLiteral("Ready")
                           : QStringLiteral("Use the 'Shift' key with the direction keys to nudge text"));
    });
}

bool frmAddText::OnFileSaveClick()
{
    return QmTrap::Value<bool>(
        kModule, QStringLiteral("OnFileSaveClick"), false,
        [this] {
            if (!ExtractFileName(TextFile).trimmed().isEmpty()) {
                SaveBitmapToFile(TextFile);
                return true;
            }
            SaveAsAsked(QStringLiteral("Untitled"));
            return true;
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmAddText::mnuFileSaveas_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("mnuFileSaveas_Click"),
        [this] { SaveAsAsked(TextFile.isEmpty() ? QStringLiteral("Untitled") : TextFile); },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmAddText::SaveAsAsked(const QString& name)
{
    QmDialogs::FileRequest request;
    request.fileName = name;
    request.filter = QStringLiteral("Bitmap File|*.bmp");
    request.defaultExt = QStringLiteral("bmp");
    request.initDir = WorkingFolder;
    request.flags = QmDialogs::Flag::OverwritePrompt;
    const QString file = QmDialogs::ShowSave(request).fileName;
    SaveBitmapToFile(file);
    TextFile = file;
    setWindowTitle(ExtractFileName(file) + QStringLiteral(" - ") + QStringLiteral("Add Text"));
}

void frmAddText::SaveBitmapToFile(const QString& file)
{
    // Drawn anew in the twin, so that the backdrop stays out of the file.
    QmPicture* twin = picWorkspaceBack;
    twin->Cls();

    // The key colour that suits the text and background colours; the last rule that
    // holds wins, and with none the key stays as it was.
    const int32_t fore = picColorDisplay->BackColor();
    const int32_t back = picBackColorDisplay->BackColor();
    if ((fore == kBlack && back == kWhite) || (back == kBlack && fore == kWhite)) {
        twin->SetBackColor(kBlue);
        KeyBlue = 255;
    }
    if (fore == kBlue || back == kBlue) {
        twin->SetBackColor(kRed);
        KeyRed = 255;
        KeyGreen = 0;
        KeyBlue = 0;
    }
    if (fore == kRed || back == kRed) {
        twin->SetBackColor(kBlack);
        KeyRed = KeyGreen = KeyBlue = 0;
    }

    const bool transparent = Item(QStringLiteral("mnuFormatTransparentBackground"))->isChecked();
    QFont font = picWorkspace->font();
    // Letters that meet the key colour keep hard edges, so that the key takes all of
    // what surrounds them.
    if (transparent || back == twin->BackColor())
        font.setStyleStrategy(QFont::NoAntialias);
    twin->setFont(font);
    twin->ForeColor = fore;
    const QSize size = TextSize(Text(), font);
    imgDrag->resize(size.width() + 1, size.height() + 1);
    DrawText(twin, Text(), TextLeft, TextTop, transparent, back);
    if (!Eng<ITWPreview>().SaveSnapFrame(twin->Image(), file, twin->ScaleWidth(), twin->ScaleHeight()))
        throw QmError(QmErr::PathFileAccess, QStringLiteral("Path/File access error"));
}

void frmAddText::AddBitmapToMediaList(const QString& file)
{
    QmTrap::Run(kModule, QStringLiteral("AddBitmapToMediaList"), [this, &file] {
        const int32_t handle = Eng<ITWCoreRoot>().OpenFile(file);
        moduleTarnwick::LastOpenedExtension = QStringLiteral("bmp");
        moduleTarnwick::OpenStreams(handle);
        moduleTarnwick::AppendToTWListView(handle);

        ModuleHistory::RemoveDisabledEntries();
        ModuleHistory::AddOperationToHistory(QStringLiteral("Overlay"));
        auto& tl = Eng<ITWTimeline>();
        auto& media = Eng<ITWMediaFiles>();
        for (int32_t stream : StreamCollection) {
            if (media.GetStreamFile(stream) != handle || !media.IsVideoStream(stream))
                continue;
            // After the last overlay, keyed on the colour the bitmap was saved with.
            if (tl.AppendSource(OverlayTrack, stream, -1))
                moduleTimeline::AddNewKeyTransition(OverlayTrack, KeyRed, KeyGreen, KeyBlue);
        }
        ModuleHistory::StoreCurrentTLImage();
        ++ModuleHistory::HistoryIndex;
        ModuleHistory::RearrangeHistoryCollection();

        ModuleTreeView::AddSource(ExtractFileName(file), QStringLiteral("SOURCE"), OverlayTrack);
        moduleTimeline::RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
        ModuleTWPreview::UpdatePreview();
        ProjectModified = true;
        QmCommands::RefreshStates();
    });
}

void frmAddText::LayOutWorkspace()
{
    // A workspace larger than its frame scrolls in it.
    const QRect inside = fmeWorkspace->contentsRect();
    hsbr->setRange(0, std::max(0, picWorkspace->width() - inside.width()));
    vsbr->setRange(0, std::max(0, picWorkspace->height() - inside.height()));
    hsbr->setPageStep(std::max(1, inside.width()));
    vsbr->setPageStep(std::max(1, inside.height()));
    picWorkspace->move(inside.left() - hsbr->value(), inside.top() - vsbr->value());
}

bool frmAddText::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == fmeWorkspace && event->type() == QEvent::Resize) {
        LayOutWorkspace();
    } else if (watched == fmeWorkspace && event->type() == QEvent::MouseMove) {
        Panel(QStringLiteral("STATUS"))->setText(QStringLiteral("Ready"));
    } else if (watched == picWorkspace && event->type() == QEvent::MouseButtonPress) {
        LeaveTextBox();
    } else if (watched == txtText && event->type() == QEvent::FocusOut) {
        // Leaving the edit box ends typing, but not another window taking the focus.
        if (static_cast<QFocusEvent*>(event)->reason() != Qt::ActiveWindowFocusReason)
            LeaveTextBox();
    } else if (watched == txtText && event->type() == QEvent::KeyRelease) {
        // The box grows with what is typed.
        const QSize size = TextSize(Text(), txtText->font());
        const int pad = QFontMetrics(txtText->font()).averageCharWidth();
        if (txtText->width() < size.width() + 1 + pad || txtText->height() < size.height() + 1)
            txtText->resize(std::max(txtText->width(), size.width() + 1 + pad), std::max(txtText->height(), size.height() + 1));
    } else if (event->type() == QEvent::KeyPress
               && (watched == cboFonts->lineEdit() || watched == cboSize->lineEdit())) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (watched == cboFonts->lineEdit())
                ApplyFontName(cboFonts->currentText());
            else
                ApplyFontSize(cboSize->currentText());
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void frmAddText::closeEvent(QCloseEvent* event)
{
    LeaveTextBox();
    QMainWindow::closeEvent(event);
}
