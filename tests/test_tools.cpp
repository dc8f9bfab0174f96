// The media tools on the real program: Add Text's workspace and the bitmap it saves,
// with its key colour, on the overlay track and keyed in a rendered frame; the key
// colour dialogue with its boxes, sliders, primary colours and dropper, through undo and
// redo; the stretch mode dialogue on a wide picture; and the menu entries that open them.
#include "QmTestSupport.h"
#include "QmPixels.h"

#include "core/QmDialogs.h"
#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmPicture.h"
#include "core/QmTrap.h"
#include "engine/ITWKeyTransition.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "history/ModuleHistory.h"
#include "core/QmVideoSurface.h"
#include "media/frmMediaList.h"
#include "preview/frmPreview.h"
#include "shell/frmTools.h"
#include "timeline/moduleTimeline.h"
#include "tools/frmAddText.h"
#include "tools/frmKeyColor.h"
#include "tools/frmStretchMode.h"
#include "tools/frmTakeSnap.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSet>
#include <QSlider>

using namespace QmShared;
using QmTest::Main;
using QmTest::Tl;

using QmTest::Near;
using QmTest::Rgb;

namespace {

void Run(const char* command)
{
    Main()->RunCommand(QString::fromLatin1(command));
}

void SelectFiles(const QStringList& names)
{
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    for (int row = 0; row < list->Count(); ++row)
        list->SetSelected(row, names.contains(list->Text(row)));
}

// Files from the media list to the video track, one after another, or to the overlay.
void AddToVideo(const QStringList& names)
{
    for (const QString& name : names) {
        SelectFiles({name});
        Run("mnuEditAddToTimeline");
    }
}

void AddToOverlay(const QString& name)
{
    SelectFiles({name});
    Run("mnuEditAddToOverlay");
}

TarnwickTimeline& Renderer()
{
    return dynamic_cast<TarnwickTimeline&>(*QmShared::Engine);
}

// The overlay's key transitions as the engine keeps them.
QString Keys()
{
    QStringList parts;
    for (const auto& t : Renderer().Model().At(OverlayTrack).transitions) {
        QString part = QStringLiteral("%1-%2 %3,%4,%5").arg(t.start).arg(t.stop).arg(t.keyRed).arg(t.keyGreen).arg(t.keyBlue);
        for (const auto& [name, value] : t.parameters)
            part += u' ' + name + u'=' + QString::number(value);
        parts << part;
    }
    return parts.join(QStringLiteral("; "));
}

QString Times(int32_t track)
{
    QStringList parts;
    int32_t start = 0, stop = 0;
    for (int16_t seq = 0; Tl().GetSourceTimes(track, seq, start, stop); ++seq)
        parts << QStringLiteral("%1-%2").arg(start).arg(stop);
    return parts.join(u' ');
}

QStringList History()
{
    QmListView* rows = frmTools::instance()->lvwHistory;
    QStringList texts;
    for (int r = 0; r < rows->Count(); ++r)
        texts << rows->Text(r);
    return texts;
}

// The distinct colours of a picture.
QSet<QRgb> Colours(const QImage& image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            colours.insert(image.pixel(x, y) | 0xFF000000u);
    return colours;
}

// The box around the pixels of one colour.
QRect BoundsOf(const QImage& image, QRgb colour)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if ((image.pixel(x, y) | 0xFF000000u) == (colour | 0xFF000000u))
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

frmAddText* AddText()
{
    return frmAddText::instance();
}

QAction* TextItem(const char* name)
{
    return AddText()->Item(QString::fromLatin1(name));
}

// Add Text's edit box opened, the text typed over the sample, and the box left by the
// next command.
void TypeText(const QString& text)
{
    TextItem("TEXT")->trigger();
    QVERIFY(AddText()->txtText->isVisible());
    AddText()->txtText->selectAll();
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (i > 0)
            QTest::keyClick(AddText()->txtText, Qt::Key_Return);
        QTest::keyClicks(AddText()->txtText, lines[i]);
    }
}

QSize TextSizeIn(const QFont& font, const QStringList& lines)
{
    const QFontMetrics metrics(font);
    int w = 0;
    for (const QString& line : lines)
        w = std::max(w, metrics.horizontalAdvance(line));
    return {w, static_cast<int>(lines.size()) * metrics.height()};
}

// A colour dialogue's answer, 0x00BBGGRR.
void AnswerColour(int32_t colour)
{
    QmScript::AnswerDialog(colour);
}

void AnswerSave(const QString& path)
{
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{path, 1}));
}

constexpr int32_t kBlueColour = 0xFF0000;
constexpr int32_t kRedColour = 0x0000FF;
constexpr int32_t kGreenColour = 0x00FF00;

} // namespace

class TestTools : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void menuEntriesFollowTheTimeline();
    void workspaceShowsTheFrameAndPlacesTheText();
    void savedBitmapKeysSuitTheColours();
    void textGoesOnTheOverlayAndKeysCleanly();
    void keyColourFromBoxesSlidersPrimariesAndDropper();
    void stretchModesThroughTheDialogue();
    void snapIsTheMovieFrameAtTheSlider();
    void snapNamesSizesAndTracks();

private:
    QStringList m_reported;
    QTemporaryDir m_folder;
};

void TestTools::initTestCase()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reported << module + u'.' + function + QStringLiteral(": ") + error.Description();
    });
    if (!QmTest::StartMainWindow(1400, 900))
        return;
    QString answer = QStringLiteral(QM_FIXTURE_DIR);
    for (const char* name : {"red.avi", "blue.avi", "greenkey.avi", "wide.avi"})
        answer += QChar(u'\0') + QString::fromLatin1(name);
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{answer, 4}));
    Run("mnuFileOpen");
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 4);
}

void TestTools::init()
{
    ModuleHistory::EmptyHistory();
    ModuleHistory::EmptyTimeline();
    ModuleHistory::StoreCurrentTLImage();
    moduleTimeline::ReInitLinkLockDisable();
    if (TimelineView::SelectionShown())
        moduleTimeline::ShowSelSliders(false);
    moduleTimeline::SetSliderPosition(0, false);
    ProjectWidth = 320;
    ProjectHeight = 240;
    Tl().SetFrameSize(320, 240);
    SelectFiles({});
    Main()->EnableOrDisableMenuItems();
    ProjectModified = false;
    QmScript::TakeDialogs();
    QmScript::TakeOpened();
}

void TestTools::cleanup()
{
    if (frmAddText::exists())
        AddText()->close();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    const QStringList reported = std::exchange(m_reported, {});
    QVERIFY2(reported.isEmpty(), qPrintable(reported.join(u'\n')));
}

void TestTools::menuEntriesFollowTheTimeline()
{
    auto enabled = [](const char* name) { return Main()->Item(QString::fromLatin1(name))->isEnabled(); };
    auto button = [](const char* key) { return Main()->ToolButton(QString::fromLatin1(key))->isEnabled(); };
    // Each entry has its command in the one table.
    for (const char* name : {"mnuToolsAddText", "mnuEditSetOverlayTransparency", "mnuEditStretchMode"})
        QVERIFY2(QmCommands::Has(QString::fromLatin1(name)), name);

    // An empty timeline: nothing to write over, key or fit.
    QVERIFY(!enabled("mnuToolsAddText") && !button("ADD_TEXT"));
    QVERIFY(!enabled("mnuEditSetOverlayTransparency") && !enabled("mnuEC_SetOverlayTransparency"));
    QVERIFY(!enabled("mnuEditStretchMode") && !button("SET_STRETCH_MODE"));

    // Video on its track: text can be added; the key colour waits for a selected overlay.
    AddToVideo({"blue.avi"});
    AddToOverlay("greenkey.avi");
    QVERIFY(enabled("mnuToolsAddText") && button("ADD_TEXT"));
    QVERIFY(!enabled("mnuEditSetOverlayTransparency") && !button("SET_OVERLAY_KEY_COLOR"));
    QVERIFY(!enabled("mnuEditStretchMode"));

    // A selected overlay turns on its key colour and the stretch entries with it.
    Tl().SetSourceSelected(OverlayTrack, 0, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(enabled("mnuEditSetOverlayTransparency") && enabled("mnuEC_SetOverlayTransparency")
            && button("SET_OVERLAY_KEY_COLOR"));
    QVERIFY(enabled("mnuEditStretchMode") && enabled("mnuEC_StretchMode") && button("SET_STRETCH_MODE"));
    // Not while the selection sliders show, nor on a locked overlay; a selected video
    // source still allows the stretch mode.
    TimelineView::SetSelection(500, 1500, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!enabled("mnuEditSetOverlayTransparency"));
    TimelineView::SetSelection(500, 1500, false);
    TimelineView::SetRowOption(TimelineView::RowKind::Overlay, 0, TimelineView::Option::Lock, true);
    Tl().SetSourceSelected(QmTest::Video(), 0, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!enabled("mnuEditSetOverlayTransparency") && !button("SET_OVERLAY_KEY_COLOR"));
    QVERIFY(enabled("mnuEditStretchMode") && button("SET_STRETCH_MODE"));

    // The toolbar's Add Text opens the editor.
    Main()->ToolButton(QStringLiteral("ADD_TEXT"))->trigger();
    QVERIFY(frmAddText::exists() && AddText()->isVisible());
    QCOMPARE(AddText()->windowTitle(), QStringLiteral("Add Text"));
}

void TestTools::workspaceShowsTheFrameAndPlacesTheText()
{
    // A project larger than the form's own workspace, the slider over red.
    ProjectWidth = 400;
    ProjectHeight = 300;
    Tl().SetFrameSize(400, 300);
    AddToVideo({"red.avi"});
    moduleTimeline::SetSliderPosition(1000, false);
    Run("mnuToolsAddText");
    frmAddText* f = AddText();
    QmPicture* work = f->picWorkspace;
    QCOMPARE(work->size(), QSize(400, 300));
    QCOMPARE(f->Panel(QStringLiteral("IMAGE_DIMENSION"))->text(), QStringLiteral("400 x 300"));
    QVERIFY2(Near(work->Image().pixel(390, 290), 255, 0, 0), qPrintable(Rgb(work->Image().pixel(390, 290))));
    // New: Arial 16, black on white, nothing ticked, the position button at top left.
    QCOMPARE(work->font().pointSize(), 16);
    QCOMPARE(f->cboSize->currentText(), QStringLiteral("16"));
    QCOMPARE(f->picColorDisplay->BackColor(), 0);
    QCOMPARE(f->picBackColorDisplay->BackColor(), 0xFFFFFF);
    QCOMPARE(f->Item(QStringLiteral("POSITION"))->toolTip(), QStringLiteral("Position Text - Top Left"));
    for (const char* name : {"BOLD", "ITALIC", "UNDERLINE", "STRIKETHROUGH", "TRANSPARENT_BACKGROUND",
                             "mnuFormatFontStyleBold", "mnuFormatTransparentBackground"})
        QVERIFY2(!TextItem(name)->isChecked(), name);

    // The edit box opens on a sample, and what is typed is drawn on leaving it.
    TextItem("TEXT")->trigger();
    QVERIFY(f->txtText->isVisible());
    QCOMPARE(f->Text(), QStringLiteral("Sample Text"));
    TypeText(QStringLiteral("Left\nLonger line"));
    TextItem("POSITION_TOP_LEFT")->trigger();
    QVERIFY(f->txtText->isHidden());
    QCOMPARE(f->Text(), QStringLiteral("Left\r\nLonger line"));
    const QSize text = TextSizeIn(work->font(), {"Left", "Longer line"});
    QCOMPARE(f->imgDrag->size(), text + QSize(1, 1));

    // The six places, each with its button picture's tip and the position panel.
    const int w = text.width(), h = text.height(), middle = qRound(150.0 - (h + 1) / 2.0);
    const struct
    {
        const char* key;
        int left, top;
        const char* tip;
    } places[] = {
        {"POSITION_TOP_RIGHT", 399 - w, 0, "Position Text - Top Right"},
        {"POSITION_BOTTOM_LEFT", 0, 299 - h, "Position Text - Bottom Left"},
        {"POSITION_BOTTOM_RIGHT", 399 - w, 299 - h, "Position Text - Bottom Right"},
        {"POSITION_CENTER_LEFT", 0, middle, "Position Text - Center Left"},
        {"mnuFormatPositionCenterRight", 399 - w, middle, "Position Text - Center Right"},
        {"mnuFormatPositionTopLeft", 0, 0, "Position Text - Top Left"},
    };
    for (const auto& place : places) {
        TextItem(place.key)->trigger();
        QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(place.left, place.top));
        QCOMPARE(f->imgDrag->pos(), QPoint(place.left, place.top));
        QCOMPARE(f->Item(QStringLiteral("POSITION"))->toolTip(), QString::fromLatin1(place.tip));
        QCOMPARE(f->Panel(QStringLiteral("TEXT_POSITION"))->text(), QStringLiteral("%1 x %2").arg(place.left).arg(place.top));
    }
    // The plain button repeats the last place; centring keeps it.
    TextItem("POSITION_BOTTOM_RIGHT")->trigger();
    f->TextLeft = f->TextTop = 7;
    TextItem("POSITION")->trigger();
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(399 - w, 299 - h));
    TextItem("CENTER_HORIZONTALLY")->trigger();
    TextItem("mnuFormatCenterVertically")->trigger();
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(qRound(200.0 - (w + 1) / 2.0), middle));
    QCOMPARE(f->TextPosition, int16_t(3));
    QCOMPARE(f->Item(QStringLiteral("POSITION"))->toolTip(), QStringLiteral("Position Text - Bottom Right"));

    // The arrow keys: 5 pixels, 1 with Shift; no further past the edges.
    TextItem("POSITION_TOP_LEFT")->trigger();
    QTest::keyClick(work, Qt::Key_Left);
    QTest::keyClick(work, Qt::Key_Up);
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(0, 0));
    QCOMPARE(f->Panel(QStringLiteral("STATUS"))->text(),
             QStringLiteral("Use the 'Shift' key with the direction keys to nudge text"));
    QTest::keyClick(work, Qt::Key_Down);
    QTest::keyClick(work, Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(1, 5));
    QCOMPARE(f->Panel(QStringLiteral("STATUS"))->text(), QStringLiteral("Ready"));
    TextItem("POSITION_BOTTOM_RIGHT")->trigger();
    const QPoint corner(f->TextLeft, f->TextTop);
    QTest::keyClick(work, Qt::Key_Right);
    QTest::keyClick(work, Qt::Key_Down);
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), corner); // the handle already reaches the edges

    // Dragging: a drop on the handle moves it by the way it went; a drop on the
    // workspace puts its grab point there; a drop where it was grabbed is a click.
    TextItem("POSITION_TOP_LEFT")->trigger();
    QTest::mousePress(f->imgDrag, Qt::LeftButton, {}, QPoint(4, 3));
    QTest::mouseRelease(f->imgDrag, Qt::LeftButton, {}, QPoint(14, 8));
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(10, 5));
    QTest::mousePress(f->imgDrag, Qt::LeftButton, {}, QPoint(4, 3));
    QTest::mouseRelease(f->imgDrag, Qt::LeftButton, {}, QPoint(w + 50, 100));
    QCOMPARE(QPoint(f->TextLeft, f->TextTop), QPoint(10 + w + 50 - 4, 5 + 100 - 3));
    QVERIFY(f->txtText->isHidden());
    QTest::mousePress(f->imgDrag, Qt::LeftButton, {}, QPoint(6, 6));
    QTest::mouseRelease(f->imgDrag, Qt::LeftButton, {}, QPoint(6, 6));
    QVERIFY(f->txtText->isVisible());
    QCOMPARE(f->txtText->geometry().topLeft(), f->imgDrag->pos());

    // The text over the backdrop: the workspace keeps the frame around the text.
    TextItem("POSITION_TOP_LEFT")->trigger();
    QCOMPARE(work->Image().pixel(2, 2), qRgb(255, 255, 255)); // the text's white box
    QVERIFY(Near(work->Image().pixel(w + 20, h + 20), 255, 0, 0));
    f->close();

    // With the slider over no source the workspace keeps its design size, no backdrop.
    moduleTimeline::SetSliderPosition(3000, false);
    Run("mnuToolsAddText");
    QCOMPARE(AddText()->picWorkspace->size(), QSize(320, 240));
    QCOMPARE(AddText()->picWorkspace->Image().pixel(300, 220), qRgb(255, 255, 255));
    QCOMPARE(AddText()->Panel(QStringLiteral("IMAGE_DIMENSION"))->text(), QStringLiteral("320 x 240"));
}

void TestTools::savedBitmapKeysSuitTheColours()
{
    AddToVideo({"red.avi"});
    Run("mnuToolsAddText");
    frmAddText* f = AddText();
    TypeText(QStringLiteral("Key\nKey"));
    TextItem("TRANSPARENT_BACKGROUND")->trigger();
    TextItem("mnuFormatFontStyleBold")->trigger();
    QVERIFY(TextItem("BOLD")->isChecked() && f->picWorkspace->font().bold());
    TextItem("mnuFormatPositionCenterLeft")->trigger();
    QVERIFY(TextItem("mnuFormatTransparentBackground")->isChecked());

    // Black on white, background transparent: the letters alone, on pure blue, in two
    // colours only: hard edges, so that the key takes everything around them.
    const QString path = m_folder.filePath(QStringLiteral("title.bmp"));
    AnswerSave(path);
    TextItem("SAVE")->trigger();
    const QList<QmScript::DialogRequest> asked = QmScript::TakeDialogs();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].filter, QStringLiteral("Bitmap File|*.bmp"));
    QVERIFY(asked[0].flags & QmDialogs::Flag::OverwritePrompt);
    QCOMPARE(f->TextFile, path);
    QCOMPARE(f->windowTitle(), QStringLiteral("title.bmp - Add Text"));
    QCOMPARE((QList<int>{f->KeyRed, f->KeyGreen, f->KeyBlue}), (QList<int>{0, 0, 255}));
    QImage saved(path);
    QCOMPARE(saved.size(), QSize(320, 240));
    QCOMPARE(Colours(saved), (QSet<QRgb>{qRgb(0, 0, 255), qRgb(0, 0, 0)}));
    const QSize text = TextSizeIn(f->picWorkspaceBack->font(), {"Key", "Key"});
    const QRect letters = BoundsOf(saved, qRgb(0, 0, 0));
    QVERIFY2(QRect(f->TextLeft, f->TextTop, text.width() + 1, text.height() + 1).contains(letters),
             qPrintable(QStringLiteral("%1,%2 %3x%4").arg(letters.x()).arg(letters.y()).arg(letters.width()).arg(letters.height())));
    QVERIFY(letters.width() > text.width() / 2);
    // Both lines start at the same left edge, the second one "E" high below the first.
    const int lineHeight = QFontMetrics(f->picWorkspaceBack->font()).height();
    const QRect first = BoundsOf(saved.copy(0, 0, 320, f->TextTop + lineHeight), qRgb(0, 0, 0));
    const QRect second = BoundsOf(saved.copy(0, f->TextTop + lineHeight, 320, 240 - f->TextTop - lineHeight), qRgb(0, 0, 0));
    QCOMPARE(second.left(), first.left());
    QCOMPARE(second.top() + f->TextTop + lineHeight - first.top(), lineHeight);

    // Without the tick the text's box is white, both corners included; the key around it.
    TextItem("mnuFormatTransparentBackground")->trigger();
    TextItem("SAVE")->trigger(); // the same file, without a question
    QVERIFY(QmScript::TakeDialogs().isEmpty());
    saved = QImage(path);
    const QRect box(QPoint(f->TextLeft, f->TextTop), QPoint(f->TextLeft + text.width(), f->TextTop + text.height()));
    QCOMPARE(BoundsOf(saved, qRgb(255, 255, 255)), box);
    QCOMPARE(saved.pixel(box.right() + 1, box.top()), qRgb(0, 0, 255));
    QCOMPARE(saved.pixel(box.left(), box.bottom() + 1), qRgb(0, 0, 255));

    // Blue letters: keyed on red. The backdrop never reaches the file.
    TextItem("TRANSPARENT_BACKGROUND")->trigger();
    AnswerColour(kBlueColour);
    TextItem("mnuFormatFontColor")->trigger();
    QCOMPARE(f->picWorkspace->ForeColor, kBlueColour);
    TextItem("SAVE")->trigger();
    QCOMPARE((QList<int>{f->KeyRed, f->KeyGreen, f->KeyBlue}), (QList<int>{255, 0, 0}));
    QCOMPARE(Colours(QImage(path)), (QSet<QRgb>{qRgb(255, 0, 0), qRgb(0, 0, 255)}));
    // Red letters: keyed on black.
    AnswerColour(kRedColour);
    QTest::mouseClick(f->picColorDisplay, Qt::LeftButton, {}, QPoint(5, 5));
    TextItem("SAVE")->trigger();
    QCOMPARE((QList<int>{f->KeyRed, f->KeyGreen, f->KeyBlue}), (QList<int>{0, 0, 0}));
    QCOMPARE(Colours(QImage(path)), (QSet<QRgb>{qRgb(0, 0, 0), qRgb(255, 0, 0)}));
    // Green on white: no rule holds, and the key stays as it was, black.
    AnswerColour(kGreenColour);
    TextItem("mnuFormatFontColor")->trigger();
    TextItem("SAVE")->trigger();
    QCOMPARE((QList<int>{f->KeyRed, f->KeyGreen, f->KeyBlue}), (QList<int>{0, 0, 0}));
    QCOMPARE(QImage(path).pixel(0, 0), qRgb(0, 0, 0));
    // After a red key, black on white turns only the blue part on: the picture is blue,
    // the key (255, 0, 255), as Quillmont has it.
    AnswerColour(kBlueColour);
    TextItem("mnuFormatFontColor")->trigger();
    TextItem("SAVE")->trigger();
    AnswerColour(0);
    TextItem("mnuFormatFontColor")->trigger();
    TextItem("SAVE")->trigger();
    QCOMPARE((QList<int>{f->KeyRed, f->KeyGreen, f->KeyBlue}), (QList<int>{255, 0, 255}));
    QCOMPARE(QImage(path).pixel(0, 0), qRgb(0, 0, 255));

    // A cancelled colour, Save As or font dialogue changes nothing; New keeps the file.
    QmScript::CancelDialog();
    TextItem("mnuFormatBackgroundColor")->trigger();
    QCOMPARE(f->picBackColorDisplay->BackColor(), 0xFFFFFF);
    QmScript::CancelDialog();
    TextItem("mnuFileSaveas")->trigger();
    QCOMPARE(f->TextFile, path);
    TextItem("NEW")->trigger();
    QCOMPARE(f->Text(), QString());
    QCOMPARE(f->TextFile, path);
    // The font dialogue's choice reaches the boxes, the ticks and the font.
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FontChoice{f->cboFonts->itemText(0), 30, false, true, true, false, kRedColour}));
    TextItem("mnuFormatFont")->trigger();
    QCOMPARE(f->cboSize->currentText(), QStringLiteral("30"));
    QCOMPARE(f->picWorkspace->font().pointSize(), 30);
    QVERIFY(TextItem("ITALIC")->isChecked() && TextItem("mnuFormatFontStyleUnderline")->isChecked());
    QVERIFY(!TextItem("BOLD")->isChecked() && f->picWorkspace->font().italic());
    QCOMPARE(f->picColorDisplay->BackColor(), kRedColour);
    QmScript::TakeDialogs();

    // A new window asks for its file; cancelled, Save and Add does nothing.
    f->close();
    Run("mnuToolsAddText");
    QmScript::CancelDialog();
    TextItem("mnuFileSaveAndAdd")->trigger();
    QCOMPARE(Times(OverlayTrack), QString());
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 4);
    QVERIFY(AddText()->isVisible());
    QmScript::TakeDialogs();
}

void TestTools::textGoesOnTheOverlayAndKeysCleanly()
{
    // Blue then red on the video track; an overlay before the text, which follows it.
    AddToVideo({"blue.avi", "red.avi"});
    AddToOverlay("greenkey.avi");
    const QStringList before = History();
    moduleTimeline::SetSliderPosition(4500, false);
    Run("mnuToolsAddText");
    // Large bold letters, their size typed into the size box.
    AddText()->cboSize->setEditText(QStringLiteral("40"));
    QTest::keyClick(AddText()->cboSize->lineEdit(), Qt::Key_Return);
    QCOMPARE(AddText()->picWorkspace->font().pointSize(), 40);
    TextItem("BOLD")->trigger();
    TypeText(QStringLiteral("Quillmont"));
    TextItem("TRANSPARENT_BACKGROUND")->trigger();
    TextItem("mnuFormatCenterHorizontally")->trigger();
    AnswerSave(m_folder.filePath(QStringLiteral("overlay.bmp")));
    TextItem("mnuFileSaveAddAndClose")->trigger();
    QmScript::TakeDialogs();
    QVERIFY(!AddText()->isVisible());

    // In the media list, after the last overlay, keyed on blue; one history entry.
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    QCOMPARE(list->Count(), 5);
    QCOMPARE(list->Text(4), QStringLiteral("overlay.bmp"));
    QCOMPARE(Times(OverlayTrack), QStringLiteral("0-3000 3000-8000"));
    QCOMPARE(Keys(), QStringLiteral("0-3000 0,0,0 KeyType=0; 3000-8000 0,0,255 KeyType=0"));
    QCOMPARE(History(), before + QStringList{"Add to Overlay"});
    QVERIFY(ProjectModified);
    QVERIFY(Main()->Item(QStringLiteral("mnuEditUndo"))->isEnabled());

    // Rendered over red: around the letters the video, inside them black. Only pixels
    // next to a letter's pixel may be anything else: no fringe of key or blend beyond.
    const QImage bitmap(m_folder.filePath(QStringLiteral("overlay.bmp")));
    const QImage frame = Renderer().RenderFrame(4500);
    QCOMPARE(frame.size(), bitmap.size());
    auto letter = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < bitmap.width() && y < bitmap.height()
               && (bitmap.pixel(x, y) | 0xFF000000u) != qRgb(0, 0, 255);
    };
    int letters = 0, inked = 0, fringe = 0;
    QString firstFringe;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            bool nearLetter = false;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    nearLetter = nearLetter || letter(x + dx, y + dy);
            const QRgb shown = frame.pixel(x, y);
            if (letter(x, y) && letter(x - 1, y) && letter(x + 1, y) && letter(x, y - 1) && letter(x, y + 1)) {
                ++letters;
                inked += qGray(shown) < 60 ? 1 : 0;
            } else if (!nearLetter && !Near(shown, 255, 0, 0, 40)) {
                if (fringe++ == 0)
                    firstFringe = QStringLiteral("%1,%2 %3").arg(x).arg(y).arg(Rgb(shown));
            }
        }
    }
    QVERIFY2(letters > 50, qPrintable(QString::number(letters)));
    QVERIFY2(inked >= letters * 9 / 10, qPrintable(QStringLiteral("%1 of %2").arg(inked).arg(letters)));
    QVERIFY2(fringe == 0, qPrintable(QStringLiteral("%1 pixels, first %2").arg(fringe).arg(firstFringe)));

    // Undone, the text leaves the overlay; redone, it comes back with its key.
    Run("mnuEditUndo");
    QCOMPARE(Times(OverlayTrack), QStringLiteral("0-3000"));
    Run("mnuEditRedo");
    QCOMPARE(Keys(), QStringLiteral("0-3000 0,0,0 KeyType=0; 3000-8000 0,0,255 KeyType=0"));
}

void TestTools::keyColourFromBoxesSlidersPrimariesAndDropper()
{
    // Green with a red box at 100,80 120x80, over blue.
    AddToVideo({"blue.avi"});
    AddToOverlay("greenkey.avi");
    auto& key = QmShared::Eng<ITWKeyTransition>();
    QVERIFY(key.SetKeyColor(OverlayTrack, 0, 10, 20, 30));
    ModuleHistory::StoreCurrentTLImage();
    const QStringList before = History();

    // Nothing selected on the overlay: no dialogue.
    moduleTimeline::OnEditSetOverlayTransparencyClick();

    Tl().SetSourceSelected(OverlayTrack, 0, true);
    Main()->EnableOrDisableMenuItems();
    bool shown = false;
    QmScript::HandleModal([&](QDialog& dialog) {
        shown = true;
        auto& k = dynamic_cast<frmKeyColor&>(dialog);
        QCOMPARE(k.windowTitle(), QStringLiteral("Overlay Key Color"));
        // The present colour in both colour boxes, the boxes and the sliders.
        QCOMPARE(k.picCurrentColor->BackColor(), 10 | 20 << 8 | 30 << 16);
        QCOMPARE(k.picColorDisplay->BackColor(), 10 | 20 << 8 | 30 << 16);
        QCOMPARE((QStringList{k.txtRed->text(), k.txtGreen->text(), k.txtBlue->text()}), (QStringList{"10", "20", "30"}));
        QCOMPARE((QList<int>{k.sldRed->value(), k.sldGreen->value(), k.sldBlue->value()}), (QList<int>{10, 20, 30}));
        // The stream's first frame, whatever the slider shows.
        QVERIFY2(Near(k.picDisplay->Image().pixel(10, 10), 0, 255, 0), qPrintable(Rgb(k.picDisplay->Image().pixel(10, 10))));

        // The third primary colour, in the boxes and on the sliders.
        QTest::mouseClick(k.lblPrimaryColors[2], Qt::LeftButton);
        QCOMPARE((QStringList{k.txtRed->text(), k.txtGreen->text(), k.txtBlue->text()}), (QStringList{"255", "0", "0"}));
        QCOMPARE((QList<int>{k.sldRed->value(), k.sldGreen->value(), k.sldBlue->value()}), (QList<int>{255, 0, 0}));
        QCOMPARE(k.picColorDisplay->BackColor(), 0x0000FF);
        // A slider writes its box; a box beyond the slider's end comes back as 255;
        // a box holding no number leaves the colour as it was.
        k.sldGreen->setValue(64);
        QCOMPARE(k.txtGreen->text(), QStringLiteral("64"));
        QCOMPARE(k.KeyColorGreen, int16_t(64));
        k.txtBlue->setText(QStringLiteral("300"));
        QCOMPARE(k.txtBlue->text(), QStringLiteral("255"));
        QCOMPARE(k.KeyColorBlue, int16_t(255));
        k.txtBlue->setText(QStringLiteral("blue"));
        QCOMPARE(k.KeyColorBlue, int16_t(255));
        QCOMPARE(k.picColorDisplay->BackColor(), 255 | 64 << 8 | 255 << 16);

        // The dropper: moving without the button changes nothing; pressed, it picks the
        // pixel under it, and follows the drag.
        // (The dialogue is not on the screen: moves go to the surface itself.)
        auto move = [&k](QPoint at, Qt::MouseButtons buttons) {
            QMouseEvent event(QEvent::MouseMove, at, k.imgDisplay->mapToGlobal(at), Qt::NoButton, buttons, Qt::NoModifier);
            QApplication::sendEvent(k.imgDisplay, &event);
        };
        move(QPoint(10, 10), Qt::NoButton);
        QCOMPARE(k.txtRed->text(), QStringLiteral("255"));
        QTest::mousePress(k.imgDisplay, Qt::LeftButton, {}, QPoint(10, 10));
        const QRgb green = k.picDisplay->Image().pixel(10, 10);
        QCOMPARE((QStringList{k.txtRed->text(), k.txtGreen->text(), k.txtBlue->text()}),
                 (QStringList{QString::number(qRed(green)), QString::number(qGreen(green)), QString::number(qBlue(green))}));
        QCOMPARE(k.sldGreen->value(), qGreen(green));
        move(QPoint(160, 120), Qt::LeftButton);
        const QRgb red = k.picDisplay->Image().pixel(160, 120);
        QVERIFY2(Near(red, 255, 0, 0), qPrintable(Rgb(red)));
        QCOMPARE(k.txtRed->text(), QString::number(qRed(red)));
        QCOMPARE(k.picColorDisplay->BackColor(), qRed(red) | qGreen(red) << 8 | qBlue(red) << 16);
        QTest::mouseRelease(k.imgDisplay, Qt::LeftButton, {}, QPoint(160, 120));
        move(QPoint(10, 10), Qt::NoButton);
        QCOMPARE(k.txtRed->text(), QString::number(qRed(red)));

        // The key green, as the fourth primary; OK.
        QTest::mouseClick(k.lblPrimaryColors[3], Qt::LeftButton);
        k.cmdOK->click();
    });
    Run("mnuEditSetOverlayTransparency");
    QVERIFY(shown);
    QCOMPARE(Keys(), QStringLiteral("0-3000 0,255,0 KeyType=0"));
    QCOMPARE(History(), before + QStringList{"Set Overlay Key Color"});
    QVERIFY(ProjectModified);
    // The video shows through the green, the red box stays, in the preview at once.
    QVERIFY2(Near(frmPreview::instance()->picDisplay->Frame().pixel(10, 10), 0, 0, 255),
             qPrintable(Rgb(frmPreview::instance()->picDisplay->Frame().pixel(10, 10))));
    QVERIFY2(Near(Renderer().RenderFrame(1000).pixel(10, 10), 0, 0, 255), qPrintable(Rgb(Renderer().RenderFrame(1000).pixel(10, 10))));
    QVERIFY(Near(Renderer().RenderFrame(1000).pixel(160, 120), 255, 0, 0));

    // The colour goes and comes back with undo and redo.
    Run("mnuEditUndo");
    QCOMPARE(Keys(), QStringLiteral("0-3000 10,20,30 KeyType=0"));
    QVERIFY(Near(Renderer().RenderFrame(1000).pixel(10, 10), 0, 255, 0));
    Run("mnuEditRedo");
    QCOMPARE(Keys(), QStringLiteral("0-3000 0,255,0 KeyType=0"));
    QCOMPARE(History(), before + QStringList{"Set Key Color"}); // redo's own row text

    // Cancel, from the pop-up twin: the transition as it was, no entry.
    Tl().SetSourceSelected(OverlayTrack, 0, true);
    Main()->EnableOrDisableMenuItems();
    shown = false;
    QmScript::HandleModal([&shown](QDialog& dialog) {
        shown = true;
        auto& k = dynamic_cast<frmKeyColor&>(dialog);
        QCOMPARE(k.txtGreen->text(), QStringLiteral("255"));
        QTest::mouseClick(k.lblPrimaryColors[7], Qt::LeftButton);
        k.cmdCancel->click();
    });
    Main()->Item(QStringLiteral("mnuEC_SetOverlayTransparency"))->trigger();
    QVERIFY(shown);
    QCOMPARE(Keys(), QStringLiteral("0-3000 0,255,0 KeyType=0"));
    QCOMPARE(History(), before + QStringList{"Set Key Color"});
}

void TestTools::stretchModesThroughTheDialogue()
{
    // A 640x360 picture in the 320x240 frame: blue, yellow bands at the sides, a 40x40
    // red box at the centre.
    AddToVideo({"wide.avi"});
    const int32_t video = QmTest::Video();
    Tl().SetSourceSelected(video, 0, true);
    const QStringList before = History();
    auto redWidth = [](const QImage& f) {
        int n = 0;
        for (int x = 0; x < f.width(); ++x)
            n += Near(f.pixel(x, 120), 255, 0, 0) ? 1 : 0;
        return n;
    };
    // Opens on the source's mode and shows its picture, then OK with another option.
    auto choose = [](QRadioButton* frmStretchMode::*option, const char* opensOn, const char* image,
                     bool wholeTrack = false) {
        QmScript::HandleModal([=](QDialog& dialog) {
            auto& s = dynamic_cast<frmStretchMode&>(dialog);
            QCOMPARE(s.windowTitle(), QStringLiteral("Stretch Mode"));
            QRadioButton* checked = nullptr;
            for (QRadioButton* o : {s.optStretch, s.optCrop, s.optPreserve, s.optStretchPreserve})
                checked = o->isChecked() ? o : checked;
            QVERIFY(checked);
            QCOMPARE(checked->objectName(), QString::fromLatin1(opensOn));
            QVERIFY(!s.chkApplyToEntireTrack->isChecked());
            (s.*option)->click();
            QCOMPARE(s.imgPreview->Picture(), QString::fromLatin1(image));
            s.chkApplyToEntireTrack->setChecked(wholeTrack);
            s.cmdOK->click();
        });
        Run("mnuEditStretchMode");
    };
    const QImage stretched = Renderer().RenderFrame(1000);
    choose(&frmStretchMode::optCrop, "optStretch", "CROP");
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(1));
    QImage f = Renderer().RenderFrame(1000);
    QVERIFY2(std::abs(redWidth(f) - 40) <= 3, qPrintable(QString::number(redWidth(f))));
    QVERIFY(Near(f.pixel(2, 120), 0, 0, 255));
    // The preview shows it at once: no yellow band at the side any more.
    QVERIFY2(Near(frmPreview::instance()->picDisplay->Frame().pixel(2, 120), 0, 0, 255),
             qPrintable(Rgb(frmPreview::instance()->picDisplay->Frame().pixel(2, 120))));

    choose(&frmStretchMode::optPreserve, "optCrop", "PRESERVE_ASPECT_RATIO");
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(2));
    f = Renderer().RenderFrame(1000);
    QVERIFY2(Near(f.pixel(160, 5), 0, 0, 0, 8), qPrintable(Rgb(f.pixel(160, 5))));
    QVERIFY(Near(f.pixel(2, 120), 255, 255, 0));

    // The fourth option is offered, and OK with it changes nothing.
    const QImage preserved = f;
    choose(&frmStretchMode::optStretchPreserve, "optPreserve", "PRESERVE_ASPECT_RATIO_NOLETTERBOX");
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(2));
    QCOMPARE(Renderer().RenderFrame(1000), preserved);

    choose(&frmStretchMode::optStretch, "optPreserve", "STRETCH");
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(0));
    f = Renderer().RenderFrame(1000);
    QVERIFY(Near(f.pixel(2, 120), 255, 255, 0) && Near(f.pixel(160, 2), 0, 0, 255));
    QCOMPARE(f, stretched);

    // A source in mode 3, from an older project, opens on its option; a mode past 3 on
    // Stretch with no picture.
    Tl().SetSourceStretchMode(video, 0, 3);
    choose(&frmStretchMode::optStretchPreserve, "optStretchPreserve", "PRESERVE_ASPECT_RATIO_NOLETTERBOX");
    QmScript::HandleModal([](QDialog& dialog) {
        auto& s = dynamic_cast<frmStretchMode&>(dialog);
        QVERIFY(s.optStretch->isChecked());
        QCOMPARE(s.imgPreview->Picture(), QString());
        s.cmdHelp->click();
        s.cmdCancel->click();
    });
    Tl().SetSourceStretchMode(video, 0, 7);
    Main()->Item(QStringLiteral("mnuEC_StretchMode"))->trigger();
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(7));
    const QStringList opened = QmScript::TakeOpened();
    QCOMPARE(opened.size(), 1);
    QVERIFY2(opened[0].endsWith(QStringLiteral("/3_7_03a_Setting_Stretch_Mode.htm")), qPrintable(opened[0]));

    // The whole track, with only an overlay selected: the overlay's sources change, the
    // video's do not.
    AddToOverlay("greenkey.avi");
    AddToOverlay("greenkey.avi");
    Tl().SetSourceStretchMode(video, 0, 0);
    Tl().SetSourceSelected(video, 0, false);
    Tl().SetSourceSelected(OverlayTrack, 1, true);
    Main()->EnableOrDisableMenuItems();
    choose(&frmStretchMode::optCrop, "optStretch", "CROP", true);
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(0));
    QCOMPARE(Tl().GetSourceStretchMode(OverlayTrack, 0), int16_t(1));
    QCOMPARE(Tl().GetSourceStretchMode(OverlayTrack, 1), int16_t(1));

    // No operation of the history.
    QCOMPARE(History(), (before + QStringList{"Add to Overlay", "Add to Overlay"}));
    // With nothing selected the dialogue opens on Stretch.
    Tl().SetSourceSelected(OverlayTrack, 1, false);
    QCOMPARE(frmStretchMode::GetFirstSelSourceStretchMode(), int16_t(0));
}

namespace {

frmTakeSnap* Snap()
{
    return frmTakeSnap::instance();
}

// The mean difference of two pictures' channels; 255 for pictures of other sizes.
double Difference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull())
        return 255.0;
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    return sum / (3.0 * a.width() * a.height());
}

// Opens Take Snap from its menu entry and runs what the dialogue is to do.
void TakeSnap(const std::function<void(frmTakeSnap&)>& inside)
{
    bool shown = false;
    QmScript::HandleModal([&](QDialog& dialog) {
        shown = true;
        QCOMPARE(dialog.objectName(), QStringLiteral("frmTakeSnap"));
        inside(*Snap());
        if (dialog.isVisible())
            Snap()->cmdCancel->click();
    });
    Run("mnuToolsTakeSnap");
    QVERIFY(shown);
}

} // namespace

void TestTools::snapIsTheMovieFrameAtTheSlider()
{
    // Blue under the keyed overlay, the slider a second in.
    AddToVideo({"blue.avi", "red.avi"});
    AddToOverlay("greenkey.avi");
    QVERIFY(Main()->Item(QStringLiteral("mnuToolsTakeSnap"))->isEnabled());
    moduleTimeline::SetSliderPosition(1000, false);
    const QImage preview = Renderer().RenderFrame(1000);
    const QString temporary = QDir(QDir::tempPath()).filePath(QStringLiteral("QMT_Snap.avi"));
    ProjectModified = false;
    const QStringList history = History();
    TakeSnap([&](frmTakeSnap& snap) {
        // The section was rendered to the temporary movie, whose first frame is drawn at
        // the project's size: the picture the preview shows there.
        QVERIFY(QFile::exists(temporary));
        QCOMPARE(snap.txtWidth->text(), QStringLiteral("320"));
        QCOMPARE(snap.txtHeight->text(), QStringLiteral("240"));
        const QImage drawn = snap.picWorkspace->Image().convertToFormat(QImage::Format_RGB32);
        QVERIFY2(Difference(drawn, preview.convertToFormat(QImage::Format_RGB32)) < 4.0,
                 qPrintable(QString::number(Difference(drawn, preview.convertToFormat(QImage::Format_RGB32)))));
        QVERIFY(!snap.imgWorkspace->pixmap().isNull());
        // OK writes the bitmap and drops the temporary movie.
        QCOMPARE(snap.txtSaveTo->text(), QDir::toNativeSeparators(WorkingFolder + QStringLiteral("/blue.bmp")));
        snap.txtSaveTo->setText(m_folder.filePath(QStringLiteral("snap.bmp")));
        snap.cmdOK->click();
    });
    QVERIFY(!QFile::exists(temporary));
    const QImage saved(m_folder.filePath(QStringLiteral("snap.bmp")));
    QCOMPARE(saved.size(), QSize(320, 240));
    QVERIFY(Difference(saved.convertToFormat(QImage::Format_RGB32), preview.convertToFormat(QImage::Format_RGB32)) < 4.0);
    // Taking a snap is no edit.
    QVERIFY(!ProjectModified);
    QCOMPARE(History(), history);
}

void TestTools::snapNamesSizesAndTracks()
{
    // A file of two dots is named by the piece before its extension; the next snap of it
    // is numbered.
    QFile::copy(QmTest::Fixture(QStringLiteral("red.avi")), m_folder.filePath(QStringLiteral("my.clip.avi")));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{m_folder.filePath(QStringLiteral("my.clip.avi")), 1}));
    Run("mnuFileOpen");
    AddToVideo({"my.clip.avi"});
    AddToOverlay("greenkey.avi");
    WorkingFolder = m_folder.path();
    const QString first = m_folder.filePath(QStringLiteral("clip.bmp"));
    moduleTimeline::SetSliderPosition(500, false);
    TakeSnap([&](frmTakeSnap& snap) {
        QCOMPARE(QDir::fromNativeSeparators(snap.txtSaveTo->text()), first);
        // 2000 and beyond, or no number, brings the last size back; with the lock, the
        // height follows the width, and the picture is drawn again at that size.
        snap.txtWidth->setText(QStringLiteral("2000"));
        QCOMPARE(snap.txtWidth->text(), QStringLiteral("320"));
        snap.txtWidth->setText(QStringLiteral("x"));
        QCOMPARE(snap.txtWidth->text(), QStringLiteral("320"));
        snap.txtWidth->setText(QStringLiteral("640"));
        QCOMPARE(snap.txtHeight->text(), QStringLiteral("480"));
        QCOMPARE(snap.picWorkspace->Image().size(), QSize(640, 480));
        QVERIFY(Near(snap.picWorkspace->Image().pixel(320, 240), 255, 0, 0));
        // Without the lock only the width changes.
        snap.chkLockAspectRatio->setChecked(false);
        snap.txtWidth->setText(QStringLiteral("200"));
        QCOMPARE(snap.txtHeight->text(), QStringLiteral("480"));
        QCOMPARE(snap.picWorkspace->Image().size(), QSize(200, 480));
        // An empty name cannot be saved.
        snap.txtSaveTo->clear();
        QVERIFY(!snap.cmdOK->isEnabled());
        snap.txtSaveTo->setText(first);
        QVERIFY(snap.cmdOK->isEnabled());
        snap.cmdOK->click();
    });
    QCOMPARE(QImage(first).size(), QSize(200, 480));
    TakeSnap([&](frmTakeSnap& snap) {
        QCOMPARE(QDir::fromNativeSeparators(snap.txtSaveTo->text()), m_folder.filePath(QStringLiteral("clip1.bmp")));
        // Each opening starts from the project's size.
        QCOMPARE(snap.txtWidth->text(), QStringLiteral("320"));
        QCOMPARE(snap.txtHeight->text(), QStringLiteral("240"));
    });

    // The overlay switched off is left out of the picture; the video switched off too
    // leaves nothing to draw but black.
    moduleTimeline::SetSliderPosition(500, false);
    QImage withOverlay, without;
    TakeSnap([&](frmTakeSnap& snap) { withOverlay = snap.picWorkspace->Image(); });
    TimelineView::SetRowOption(TimelineView::RowKind::Overlay, 0, TimelineView::Option::Disable, true);
    TakeSnap([&](frmTakeSnap& snap) { without = snap.picWorkspace->Image(); });
    QVERIFY(Difference(withOverlay, without) > 10.0);
    QVERIFY(Near(without.pixel(40, 40), 255, 0, 0));
    QVERIFY(Near(without.pixel(160, 120), 255, 0, 0));
    TimelineView::SetRowOption(TimelineView::RowKind::Overlay, 0, TimelineView::Option::Disable, false);
}

QM_TEST_MAIN(TestTools)
#include "test_tools.moc"
