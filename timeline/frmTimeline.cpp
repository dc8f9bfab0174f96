#include "timeline/frmTimeline.h"

#include "core/QmColors.h"
#include "core/QmIcons.h"
#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmMsgBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "core/QmStatus.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "preview/frmPreview.h"
#include "preview/ModuleTWPreview.h"
#include "shell/frmTools.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QCheckBox>
#include <QHeaderView>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QSlider>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <utility>

using namespace QmShared;
using namespace moduleScaleRenderer;
using namespace moduleTimeline;

namespace {

const QString kModule = QStringLiteral("frmTimeline");

// The layout of the rows, in pixels.
constexpr int kLabelWidth = 150;  // where the rows' pictures start (lblHighlight)
constexpr int kScaleHeight = 40;
constexpr int kRowGap = 3;
constexpr int kMinRowHeight = 22;
constexpr int kOptionSize = 16;
constexpr int kDividerWidth = 5;
// The divider's limits were set in twips; 15 twips make a pixel on a standard screen.
constexpr int kDividerRightRoom = 11000 / 15;
constexpr int kDividerLeftLimit = 500 / 15;

const QColor kSliderColor(0xc5, 0x30, 0x30);
const QColor kSelectionColor(0x2b, 0x6c, 0xb0);

// The trap's name for an event of a row, with its values.
QString EventName(const char* row, const char* event, int16_t index, int x, int y)
{
    return QStringLiteral("%1_%2 - Index: %3, X: %4, Y: %5")
        .arg(QLatin1String(row), QLatin1String(event))
        .arg(index)
        .arg(x)
        .arg(y);
}

void MenuUpdate()
{
    QmCommands::RefreshStates();
}

QString Indexed(const char* name, int index)
{
    return QString::fromLatin1(name) + u'_' + QString::number(index);
}

// A thin line, drawn in its colour and letting the pointer through.
QWidget* MakeLine(QWidget* parent, const char* name, const QColor& color, int width)
{
    auto* line = new QWidget(parent);
    line->setObjectName(QString::fromLatin1(name));
    line->setAttribute(Qt::WA_TransparentForMouseEvents);
    line->setAutoFillBackground(true);
    QPalette palette = line->palette();
    palette.setColor(QPalette::Window, color);
    line->setPalette(palette);
    line->resize(width, 10);
    return line;
}

// A slider handle: a small flag pointing down at its time, 11 pixels wide.
QmImageBox* MakeHandle(QWidget* parent, const char* name, const QColor& color)
{
    auto* handle = new QmImageBox(parent);
    handle->setObjectName(QString::fromLatin1(name));
    handle->resize(11, 12);
    handle->setCursor(Qt::SizeHorCursor);
    handle->SetPainter([color](QPainter& painter, const QRect& r) {
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath flag;
        flag.moveTo(r.left() + 0.5, r.top() + 0.5);
        flag.lineTo(r.right() + 0.5, r.top() + 0.5);
        flag.lineTo(r.right() + 0.5, r.top() + 6.5);
        flag.lineTo(r.center().x() + 0.5, r.bottom() + 0.5);
        flag.lineTo(r.left() + 0.5, r.top() + 6.5);
        flag.closeSubpath();
        painter.fillPath(flag, color);
        painter.setPen(color.darker(150));
        painter.drawPath(flag);
    });
    return handle;
}

// The tinted shape of the selection inside a row's picture.
QWidget* MakeSelectionShape(QWidget* picture, const QString& name)
{
    auto* shape = new QWidget(picture);
    shape->setObjectName(name);
    shape->setAttribute(Qt::WA_TransparentForMouseEvents);
    shape->setStyleSheet(QStringLiteral("background: rgba(43, 108, 176, 70); border: 1px solid rgba(26, 73, 113, 170);"));
    shape->hide();
    return shape;
}

} // namespace

frmTimeline::frmTimeline()
{
    setObjectName(QStringLiteral("frmTimeline"));
    setWindowTitle(QStringLiteral("Timeline"));
    QFont small = font();
    small.setPointSizeF(8.0);
    setFont(small);

    tvwTimeline = new QTreeWidget(this);
    tvwTimeline->setObjectName(QStringLiteral("tvwTimeline"));
    tvwTimeline->setHeaderHidden(true);
    tvwTimeline->setIconSize(QSize(16, 16));
    tvwTimeline->setRootIsDecorated(true);
    tvwTimeline->setUniformRowHeights(true);
    // A left press selects, as a drag of the node begins with it.
    connect(tvwTimeline, &QTreeWidget::itemPressed, this, [this](QTreeWidgetItem* node) {
        if (QApplication::mouseButtons() & Qt::LeftButton)
            tvwTimeline_NodeClick(node);
    });
    // A node dragged onto another shuffles; the list never moves its own nodes.
    tvwTimeline->setDragEnabled(true);
    tvwTimeline->setDragDropMode(QAbstractItemView::DragDrop);
    tvwTimeline->setDefaultDropAction(Qt::CopyAction);
    tvwTimeline->viewport()->setAcceptDrops(true);
    tvwTimeline->viewport()->installEventFilter(this);
    tvwTimeline->setWhatsThis(QStringLiteral(
        "The timeline list: every track and the items on it, in order. Click an item to select it on the timeline."));

    picVerticalResize = new QWidget(this);
    picVerticalResize->setObjectName(QStringLiteral("picVerticalResize"));
    picVerticalResize->setCursor(Qt::SplitHCursor);
    picVerticalResize->installEventFilter(this);

    picTimelineBase = new QWidget(this);
    picTimelineBase->setObjectName(QStringLiteral("picTimelineBase"));
    picTimelineBase->setMouseTracking(true);
    picTimelineBase->setFocusPolicy(Qt::ClickFocus);
    picTimelineBase->installEventFilter(this);

    lblHighlight = new QLabel(picTimelineBase);
    lblHighlight->setObjectName(QStringLiteral("lblHighlight"));
    lblHighlight->setGeometry(kLabelWidth, 0, 1, 1);
    lblHighlight->hide();

    picScale = new QmPicture(picTimelineBase);
    picScale->setObjectName(QStringLiteral("picScale"));
    picScale->SetBackColor(0xFFFFFF);
    picScale->setFocusPolicy(Qt::ClickFocus);
    picScale->setWhatsThis(QStringLiteral(
        "The time scale. Click it to move the position slider there; the arrow keys move the slider (hold Shift for "
        "small steps). Markers and the selection sliders stand on it."));
    connect(picScale, &QmPicture::MouseDown, this,
            [this](Qt::MouseButton b, Qt::KeyboardModifiers s, int x, int y) { picScale_MouseDown(b, s, x, y); });
    connect(picScale, &QmPicture::MouseMove, this, [this](Qt::MouseButtons b, Qt::KeyboardModifiers, int x, int) {
        picScale_MouseMove(b, x);
    });
    connect(picScale, &QmPicture::KeyDown, this, [this](int key, Qt::KeyboardModifiers s) { Scale_KeyDown(key, s); });

    BuildRows();

    hsb = new QScrollBar(Qt::Horizontal, picTimelineBase);
    hsb->setObjectName(QStringLiteral("hsb"));
    hsb->setRange(0, 100);
    hsb->setSingleStep(1);
    hsb->setPageStep(10);
    hsb->setFocusPolicy(Qt::NoFocus); // the bar never keeps the focus
    hsb->setWhatsThis(QStringLiteral("Scrolls the timeline."));
    connect(hsb, &QScrollBar::valueChanged, this, [this] { hsb_Scroll(); });

    BuildSliders();
    BuildButtons();
    LoadBookmark();

    tmTimeline = new QTimer(this);
    tmTimeline->setObjectName(QStringLiteral("tmTimeline"));
    tmTimeline->setInterval(20);
    connect(tmTimeline, &QTimer::timeout, this, [this] { tmTimeline_Timer(); });

    resize(900, DesignHeight);
}

void frmTimeline::BuildRows()
{
    struct RowKind
    {
        QList<QmPicture*>* pictures;
        QList<QWidget*>* shapes;
        const char* picName;
        const char* shapeName;
        QList<QCheckBox*>* link;
        QList<QCheckBox*>* lock;
        QList<QCheckBox*>* disable;
        QList<QmImageBox*>* linkImage;
        QList<QmImageBox*>* lockImage;
        QList<QmImageBox*>* disableImage;
        const char* kind; // "Video", "Effect", "Overlay", "Audio"
        int rows;
    };
    const RowKind kinds[] = {
        {&picVideo, &shpVideoSel, "picVideo", "shpVideoSel", &chkLinkVideo, &chkLockVideo, &chkDisableVideo,
         &imgLinkVideo, &imgLockVideo, &imgDisableVideo, "Video", 1},
        {&picEffect, &shpEffectSel, "picEffect", "shpEffectSel", &chkLinkEffect, &chkLockEffect, &chkDisableEffect,
         &imgLinkEffect, &imgLockEffect, &imgDisableEffect, "Effect", 1},
        {&picOverlay, &shpOverlaySel, "picOverlay", "shpOverlaySel", &chkLinkOverlay, &chkLockOverlay,
         &chkDisableOverlay, &imgLinkOverlay, &imgLockOverlay, &imgDisableOverlay, "Overlay", 1},
        {&picAudio, &shpAudioSel, "picAudio", "shpAudioSel", &chkLinkAudio, &chkLockAudio, &chkDisableAudio,
         &imgLinkAudio, &imgLockAudio, &imgDisableAudio, "Audio", 2},
    };
    for (const RowKind& k : kinds) {
        const QString kind = QString::fromLatin1(k.kind);
        for (int i = 0; i < k.rows; ++i) {
            auto* pic = new QmPicture(picTimelineBase);
            pic->setObjectName(Indexed(k.picName, i));
            pic->SetBackColor(0xE4E4E4);
            pic->setFocusPolicy(Qt::ClickFocus);
            pic->setWhatsThis(QStringLiteral("A track of the timeline. Click an item to select it; hold Ctrl or "
                                             "Shift to select several."));
            // The audio rows' tip says "Video Track" as well: so it was written.
            pic->setToolTip(kind == u"Effect"    ? QStringLiteral("Effect Track")
                            : kind == u"Overlay" ? QStringLiteral("Overlay Track")
                                                 : QStringLiteral("Video Track"));
            k.pictures->append(pic);
            k.shapes->append(MakeSelectionShape(pic, Indexed(k.shapeName, i)));
            connect(pic, &QmPicture::MouseDown, this, [this, pic](Qt::MouseButton b, Qt::KeyboardModifiers s, int x, int y) {
                Row_MouseDown(pic, b, s, x, y);
            });
            connect(pic, &QmPicture::MouseMove, this, [this, pic](Qt::MouseButtons b, Qt::KeyboardModifiers, int x, int y) {
                Row_MouseMove(pic, b, x, y);
            });
            connect(pic, &QmPicture::MouseUp, this, [this, pic](Qt::MouseButton b, Qt::KeyboardModifiers s, int x, int y) {
                Row_MouseUp(pic, b, s, x, y);
            });
            connect(pic, &QmPicture::KeyDown, this, [this, pic](int key, Qt::KeyboardModifiers s) { Row_KeyDown(pic, key, s); });
            connect(pic, &QmPicture::DragDrop, this, [this, pic](int x, int y) { Row_OLEDragDrop(pic, x, y); });

            const QString rowName = kind == u"Audio" ? QStringLiteral("Audio %1").arg(i + 1) : kind;
            auto* label = new QLabel(rowName, picTimelineBase);
            QFont bold = label->font();
            bold.setBold(true);
            label->setFont(bold);
            if (kind == u"Video")
                label->setObjectName(QStringLiteral("lblVideo")), lblVideo = label;
            else if (kind == u"Effect")
                label->setObjectName(QStringLiteral("lblEffect")), lblEffect = label;
            else if (kind == u"Overlay")
                label->setObjectName(QStringLiteral("lblOverlay")), lblOverlay = label;
            else
                label->setObjectName(Indexed("lblAudio", i)), lblAudio.append(label);

            // The check boxes are the state; the user clicks the image boxes over them.
            auto makeOption = [&](QList<QCheckBox*>* boxes, QList<QmImageBox*>* images, const char* option,
                                  const QString& tip, const QString& picture) {
                auto* box = new QCheckBox(picTimelineBase);
                box->setObjectName(Indexed((QStringLiteral("chk") + QLatin1String(option) + kind).toLatin1(), i));
                box->hide();
                boxes->append(box);
                auto* image = new QmImageBox(picTimelineBase);
                image->setObjectName(Indexed((QStringLiteral("img") + QLatin1String(option) + kind).toLatin1(), i));
                image->resize(kOptionSize, kOptionSize);
                image->setToolTip(tip + u' ' + rowName);
                image->setCursor(Qt::PointingHandCursor);
                image->SetBlankShows(picture);
                images->append(image);
            };
            const bool audio = kind == u"Audio";
            makeOption(k.link, k.linkImage, "Link", QStringLiteral("Unlink"), QStringLiteral("LINK"));
            makeOption(k.lock, k.lockImage, "Lock", QStringLiteral("Unlock"), QStringLiteral("LOCK"));
            makeOption(k.disable, k.disableImage, "Disable", QStringLiteral("Hide"),
                       audio ? QStringLiteral("DISABLE_AUDIO") : QStringLiteral("DISABLE"));
            k.link->last()->setChecked(true);
            k.linkImage->last()->SetPicture(QStringLiteral("BLANK"));
            k.linkImage->last()->hide(); // link boxes show only with the selection sliders
            k.lockImage->last()->SetPicture(QStringLiteral("BLANK"));
            k.disableImage->last()->SetPicture(audio ? QStringLiteral("DISABLE_AUDIO") : QStringLiteral("DISABLE"));
        }
    }
    ConnectOptionBoxes();
}

void frmTimeline::ConnectOptionBoxes()
{
    // A click on an image box flips its check box; the check box's change does the work.
    auto wire = [this](const QList<QCheckBox*>& boxes, const QList<QmImageBox*>& images, const QString& on,
                       const QString& off, const std::function<void(int, bool)>& changed) {
        for (int i = 0; i < boxes.size(); ++i) {
            QCheckBox* box = boxes[i];
            QmImageBox* image = images[i];
            connect(image, &QmImageBox::Click, this, [box, image, on, off] {
                box->setChecked(!box->isChecked());
                image->SetPicture(box->isChecked() ? on : off);
            });
            connect(box, &QCheckBox::toggled, this, [this, i, changed](bool value) {
                QmTrap::Run(kModule, QStringLiteral("OptionBox_Click"), [&] { changed(i, value); });
            });
        }
    };
    const QString link = QStringLiteral("LINK"), lock = QStringLiteral("LOCK"), blank = QStringLiteral("BLANK");
    const QString disable = QStringLiteral("DISABLE"), disableAudio = QStringLiteral("DISABLE_AUDIO");

    auto linkChanged = [](int32_t track, bool value, bool renderBars) {
        Eng<ITWTimeline>().SetTrackLink(track, value);
        ShowOrHideTrackSelections();
        if (renderBars)
            RenderAllBars();
        RenderAllSelections();
    };
    wire(chkLinkVideo, imgLinkVideo, link, blank, [=](int i, bool v) { linkChanged(VideoTrackOf(i), v, true); });
    wire(chkLinkAudio, imgLinkAudio, link, blank, [=](int i, bool v) { linkChanged(AudioTrackOf(i), v, true); });
    wire(chkLinkOverlay, imgLinkOverlay, link, blank, [=](int, bool v) { linkChanged(OverlayTrack, v, false); });
    wire(chkLinkEffect, imgLinkEffect, link, blank, [](int, bool) {
        ShowOrHideTrackSelections();
        RenderAllSelections();
    });

    // While a row is locked its link box cannot be changed.
    auto lockChanged = [](QCheckBox* linkBox, QmImageBox* linkImage, bool value) {
        ShowOrHideTrackSelections();
        RenderAllSelections();
        RenderAllBars();
        linkBox->setEnabled(!value);
        linkImage->setEnabled(!value);
    };
    wire(chkLockVideo, imgLockVideo, lock, blank, [=, this](int i, bool v) { lockChanged(chkLinkVideo[i], imgLinkVideo[i], v); });
    wire(chkLockAudio, imgLockAudio, lock, blank, [=, this](int i, bool v) { lockChanged(chkLinkAudio[i], imgLinkAudio[i], v); });
    wire(chkLockOverlay, imgLockOverlay, lock, blank,
         [=, this](int i, bool v) { lockChanged(chkLinkOverlay[i], imgLinkOverlay[i], v); });
    wire(chkLockEffect, imgLockEffect, lock, blank, [](int, bool) {
        ShowOrHideTrackSelections();
        RenderAllSelections();
        RenderEffectBars();
    });

    // The disable box shows BLANK when on. The engine enables effects where the box
    // disables them, so the effect row's sense is turned round.
    wire(chkDisableVideo, imgDisableVideo, blank, disable,
         [=](int i, bool v) { Eng<ITWTimeline>().SetTrackDisabled(VideoTrackOf(i), v); });
    wire(chkDisableAudio, imgDisableAudio, blank, disableAudio,
         [=](int i, bool v) { Eng<ITWTimeline>().SetTrackDisabled(AudioTrackOf(i), v); });
    wire(chkDisableOverlay, imgDisableOverlay, blank, disable,
         [](int, bool v) { Eng<ITWTimeline>().SetTrackDisabled(OverlayTrack, v); });
    wire(chkDisableEffect, imgDisableEffect, blank, disable, [](int, bool v) { Eng<ITWTimeline>().SetEffectsEnabled(!v); });
}

void frmTimeline::BuildSliders()
{
    imgScaleMarker = MakeLine(picScale, "imgScaleMarker", QColor(0x80, 0x80, 0x80), 1);
    imgScaleMarker->hide();

    imgStartSelSlider = MakeLine(picScale, "imgStartSelSlider", kSelectionColor, 1);
    imgEndSelSlider = MakeLine(picScale, "imgEndSelSlider", kSelectionColor, 1);
    imgScaleSlider = MakeLine(picScale, "imgScaleSlider", kSliderColor, 1);
    picStartSelSlider = MakeLine(picTimelineBase, "picStartSelSlider", kSelectionColor, 1);
    picEndSelSlider = MakeLine(picTimelineBase, "picEndSelSlider", kSelectionColor, 1);
    picSlider = MakeLine(picTimelineBase, "picSlider", kSliderColor, 1);

    imgStartSelHandle = MakeHandle(picScale, "imgStartSelHandle", QColor(0x2f, 0x85, 0x5a));
    imgEndSelHandle = MakeHandle(picScale, "imgEndSelHandle", QColor(0xdd, 0x6b, 0x20));
    imgSliderHandle = MakeHandle(picScale, "imgSliderHandle", kSliderColor);
    for (QWidget* hidden : {static_cast<QWidget*>(imgStartSelHandle), static_cast<QWidget*>(imgEndSelHandle),
                            imgStartSelSlider, imgEndSelSlider, picStartSelSlider, picEndSelSlider})
        hidden->hide();

    for (QmImageBox* handle : {imgSliderHandle, imgStartSelHandle, imgEndSelHandle}) {
        connect(handle, &QmImageBox::MouseDown, this,
                [this, handle](Qt::MouseButton b, Qt::KeyboardModifiers, int x, int) { Handle_MouseDown(handle, b, x); });
        connect(handle, &QmImageBox::MouseMove, this,
                [this, handle](Qt::MouseButtons b, Qt::KeyboardModifiers, int x, int) { Handle_MouseMove(handle, b, x); });
        connect(handle, &QmImageBox::MouseUp, this,
                [this, handle](Qt::MouseButton b, Qt::KeyboardModifiers, int, int) { Handle_MouseUp(handle, b); });
    }
}

void frmTimeline::BuildButtons()
{
    auto make = [this](QToolButton*& button, const char* name, const char* icon, const QString& tip,
                       const QString& command) {
        button = new QToolButton(picTimelineBase);
        button->setObjectName(QString::fromLatin1(name));
        button->setIcon(QmIcon(QString::fromLatin1(icon)));
        button->setIconSize(QSize(16, 16));
        button->setToolTip(tip);
        button->setAutoRaise(true);
        button->resize(24, 24);
        button->setWhatsThis(tip);
        connect(button, &QToolButton::clicked, this, [command] {
            if (mdiTarnwick::exists())
                mdiTarnwick::instance()->RunCommand(command);
        });
    };
    make(cmdZoomIn, "cmdZoomIn", "ZOOM_IN", QStringLiteral("Zoom In"), QStringLiteral("mnuToolsZoomIn"));
    make(cmdZoomOut, "cmdZoomOut", "ZOOM_OUT", QStringLiteral("Zoom Out"), QStringLiteral("mnuToolsZoomOut"));
    make(cmdSelSliders, "cmdSelSliders", "SEL_SLIDERS", QStringLiteral("Show/Hide Selection Sliders"),
         QStringLiteral("cmdSelSliders"));
    make(cmdAddBookmark, "cmdAddBookmark", "ADD_BOOKMARK", QStringLiteral("Add Marker"),
         QStringLiteral("mnuToolsAddBookmark"));
    make(cmdRemoveBookmark, "cmdRemoveBookmark", "REMOVE_BOOKMARK", QStringLiteral("Remove Marker"),
         QStringLiteral("mnuToolsRemoveBookmark"));
}

QmImageBox* frmTimeline::LoadBookmark()
{
    const int index = static_cast<int>(imgBookmark.size());
    auto* marker = new QmImageBox(picScale);
    marker->setObjectName(Indexed("imgBookmark", index));
    marker->resize(2 * moduleBookmarks::MarkerOffset + 1, 12);
    marker->SetPicture(QStringLiteral("BOOKMARK"));
    marker->hide();
    connect(marker, &QmImageBox::MouseDown, this, [this, marker](Qt::MouseButton b, Qt::KeyboardModifiers, int x, int y) {
        Bookmark_MouseDown(static_cast<int>(imgBookmark.indexOf(marker)), b, x, y);
    });
    connect(marker, &QmImageBox::MouseMove, this, [this, marker](Qt::MouseButtons b, Qt::KeyboardModifiers, int x, int y) {
        Bookmark_MouseMove(static_cast<int>(imgBookmark.indexOf(marker)), b, x, y);
    });
    connect(marker, &QmImageBox::MouseUp, this, [this] { m_bookmarkDragging = false; });
    imgBookmark.append(marker);
    return marker;
}

void frmTimeline::Load()
{
    if (m_loaded)
        return;
    m_loaded = true;
    InitTimeline();
    ArrangeRows();
    if (mdiTarnwick::exists()) {
        mdiTarnwick::instance()->Item(QStringLiteral("mnuViewSelectionSliders"))->setCheckable(true);
        mdiTarnwick::instance()->Item(QStringLiteral("mnuEC_SelSliders"))->setCheckable(true);
    }
}

void frmTimeline::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsZoomIn"), [] { ZoomIn(); });
    QmCommands::Register(QStringLiteral("mnuToolsZoomOut"), [] { ZoomOut(); });
    QmCommands::Register(QStringLiteral("mnuViewSelectionSliders"), [] { ToggleSelSliders(); });
    QmCommands::Register(QStringLiteral("cmdSelSliders"), [] {
        ToggleSelSliders();
        ProjectModified = true;
    });
    QmCommands::Register(QStringLiteral("mnuToolsAddBookmark"), [] {
        moduleBookmarks::AddBookmark();
        ProjectModified = true;
    });
    QmCommands::Register(QStringLiteral("mnuToolsRemoveBookmark"), [] {
        moduleBookmarks::RemoveSelectedBookmark();
        ProjectModified = true;
    });
    QmCommands::Register(QStringLiteral("mnueditclearmarkers"), [] {
        moduleBookmarks::RemoveBookmarks();
        ProjectModified = true;
    });
    QmCommands::Register(QStringLiteral("mnuEditStartSel"), [] { OnEditStartSelClick(); });
    QmCommands::Register(QStringLiteral("mnuEditEndSel"), [] { OnEditEndSelClick(); });
    QmCommands::Register(QStringLiteral("mnuViewTimelineList"), [] {
        frmTimeline* form = instance();
        const bool shown = mdiTarnwick::exists()
                           && mdiTarnwick::instance()->Item(QStringLiteral("mnuViewTimelineList"))->isChecked();
        form->tvwTimeline->setVisible(shown);
        form->picVerticalResize->setVisible(shown);
        form->ArrangeRows();
    });
    RegisterAddCommands();
    RegisterTrackCommands();
    ModuleTreeView::RegisterCommands();
}

void frmTimeline::ArrangeRows()
{
    const int listWidth = tvwTimeline->isHidden() ? 0 : m_listWidth;
    const int dividerWidth = tvwTimeline->isHidden() ? 0 : kDividerWidth;
    tvwTimeline->setGeometry(0, 0, listWidth, height());
    picVerticalResize->setGeometry(listWidth, 0, dividerWidth, height());
    picTimelineBase->setGeometry(listWidth + dividerWidth, 0, std::max(0, width() - listWidth - dividerWidth), height());

    const int trackWidth = std::max(50, picTimelineBase->width() - kLabelWidth - 4);
    picScale->setGeometry(kLabelWidth, 2, trackWidth, kScaleHeight);
    const int scrollHeight = hsb->sizeHint().height();
    const QList<QmPicture*> rows = {picVideo[0], picEffect[0], picOverlay[0], picAudio[0], picAudio[1]};
    const QList<QLabel*> labels = {lblVideo, lblEffect, lblOverlay, lblAudio[0], lblAudio[1]};
    const QList<QList<QmImageBox*>> options = {
        {imgLinkVideo[0], imgLockVideo[0], imgDisableVideo[0]},       {imgLinkEffect[0], imgLockEffect[0], imgDisableEffect[0]},
        {imgLinkOverlay[0], imgLockOverlay[0], imgDisableOverlay[0]}, {imgLinkAudio[0], imgLockAudio[0], imgDisableAudio[0]},
        {imgLinkAudio[1], imgLockAudio[1], imgDisableAudio[1]}};
    const int rowsTop = 2 + kScaleHeight + 2;
    const int room = picTimelineBase->height() - rowsTop - scrollHeight - 6;
    const int rowHeight = std::max(kMinRowHeight, room / static_cast<int>(rows.size()) - kRowGap);
    int y = rowsTop;
    for (int r = 0; r < rows.size(); ++r) {
        rows[r]->setGeometry(kLabelWidth, y, trackWidth, rowHeight);
        labels[r]->setGeometry(6, y, kLabelWidth - 70, rowHeight);
        for (int o = 0; o < 3; ++o)
            options[r][o]->move(kLabelWidth - 58 + o * 18, y + (rowHeight - kOptionSize) / 2);
        y += rowHeight + kRowGap;
    }
    const int rowsBottom = y - kRowGap;
    hsb->setGeometry(kLabelWidth, rowsBottom + 3, trackWidth, scrollHeight);

    // The check boxes lie under their image boxes.
    const QList<QList<QCheckBox*>*> boxes = {&chkLinkVideo, &chkLockVideo, &chkDisableVideo, &chkLinkEffect, &chkLockEffect,
                                             &chkDisableEffect, &chkLinkOverlay, &chkLockOverlay, &chkDisableOverlay,
                                             &chkLinkAudio, &chkLockAudio, &chkDisableAudio};
    const QList<QList<QmImageBox*>*> images = {&imgLinkVideo, &imgLockVideo, &imgDisableVideo, &imgLinkEffect,
                                               &imgLockEffect, &imgDisableEffect, &imgLinkOverlay, &imgLockOverlay,
                                               &imgDisableOverlay, &imgLinkAudio, &imgLockAudio, &imgDisableAudio};
    for (int k = 0; k < boxes.size(); ++k)
        for (int i = 0; i < boxes[k]->size(); ++i)
            (*boxes[k])[i]->setGeometry((*images[k])[i]->geometry());

    // Sliders: lines over the whole scale and over the rows, handles at the scale's foot.
    for (QWidget* line : {imgScaleSlider, imgStartSelSlider, imgEndSelSlider, imgScaleMarker})
        line->setGeometry(line->x(), 0, line->width(), kScaleHeight);
    for (QWidget* line : {picSlider, picStartSelSlider, picEndSelSlider})
        line->setGeometry(line->x(), rowsTop, line->width(), rowsBottom - rowsTop);
    for (QWidget* handle : {static_cast<QWidget*>(imgStartSelHandle), static_cast<QWidget*>(imgEndSelHandle),
                            static_cast<QWidget*>(imgSliderHandle)})
        handle->move(handle->x(), kScaleHeight - handle->height());

    const int buttonTop = 2 + (kScaleHeight - 24) / 2;
    int x = 2;
    for (QToolButton* button : {cmdZoomIn, cmdZoomOut, cmdSelSliders, cmdAddBookmark, cmdRemoveBookmark}) {
        button->move(x, buttonTop);
        x += 26;
    }
    for (QWidget* top : {picSlider, picStartSelSlider, picEndSelSlider})
        top->raise();

    if (TrackCollection.Count() == 0)
        return; // not loaded yet
    AdjustScroll();
    SetSliderPosition(SliderPosition, false);
    SetSelSliderPosition(SelStartPosition, true);
    SetSelSliderPosition(SelEndPosition, false);
    moduleBookmarks::UpdateBookmarks();
    RenderScale();
    RenderAllBars();
    ShowOrHideTrackSelections();
    RenderAllSelections();
}

void frmTimeline::resizeEvent(QResizeEvent* event)
{
    QmPanel::resizeEvent(event);
    QmTrap::Run(kModule, QStringLiteral("Form_Resize"), [this] { ArrangeRows(); });
}

void frmTimeline::mouseMoveEvent(QMouseEvent* event)
{
    ClearScaleLine();
    QmPanel::mouseMoveEvent(event);
}

bool frmTimeline::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == picTimelineBase) {
        if (event->type() == QEvent::MouseMove) {
            DrawScaleLine(static_cast<QMouseEvent*>(event)->position().toPoint().x() - lblHighlight->x());
            QmStatus::Show(QStringLiteral("Ready"));
        } else if (event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            Scale_KeyDown(key->key(), key->modifiers());
        }
    } else if (watched == tvwTimeline->viewport()) {
        return tvwTimeline_DragEvent(event) || QmPanel::eventFilter(watched, event);
    } else if (watched == picVerticalResize) {
        // Only a mouse event is one: the divider gets paints and resizes too.
        if (event->type() == QEvent::MouseButtonPress) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            picVerticalResize_MouseDown(mouse->button(), mouse->position().toPoint().x());
        } else if (event->type() == QEvent::MouseMove) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            picVerticalResize_MouseMove(mouse->buttons(), mouse->position().toPoint().x());
        } else if (event->type() == QEvent::MouseButtonRelease) {
            picVerticalResize_MouseUp();
        }
    }
    return QmPanel::eventFilter(watched, event);
}

void frmTimeline::picScale_MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers, int x, int)
{
    QmTrap::Run(kModule, QStringLiteral("picScale_MouseDown"), [&] {
        if (button == Qt::LeftButton) {
            const int32_t pos = TimeAt(x);
            // The preview's seek bar holds the position within its own range.
            QSlider* seek = frmPreview::instance()->sldSeekBar;
            seek->setValue(pos);
            SetSliderPosition(seek->value(), false);
            ModuleTWPreview::SeekPreview(seek->value());
        } else if (button == Qt::RightButton && mdiTarnwick::exists()) {
            ShowMenuItems(0, 0);
            mdiTarnwick::instance()->mnuEditContext()->popup(QCursor::pos());
        }
    });
}

void frmTimeline::picScale_MouseMove(Qt::MouseButtons, int x)
{
    DrawScaleLine(x);
    QmStatus::Show(QStringLiteral("Ready"));
}

void frmTimeline::Scale_KeyDown(int key, Qt::KeyboardModifiers shift)
{
    QmTrap::Run(kModule, QStringLiteral("picScale_KeyDown"), [&] {
        if (key != Qt::Key_Left && key != Qt::Key_Right)
            return;
        const int32_t step = PixelsToMs((shift & Qt::ShiftModifier) ? 1 : 5);
        QSlider* seek = frmPreview::instance()->sldSeekBar;
        const int32_t now = GetSliderPosition();
        if (key == Qt::Key_Right && now + step <= seek->maximum())
            seek->setValue(now + step);
        else if (key == Qt::Key_Left && now - step >= seek->minimum())
            seek->setValue(now - step);
        SetSliderPosition(seek->value(), false);
        ModuleTWPreview::SeekPreview(seek->value());
    });
}

frmTimeline::Row frmTimeline::RowOf(const QmPicture* pic) const
{
    const auto at = [pic](const QList<QmPicture*>& pictures) { return static_cast<int16_t>(pictures.indexOf(pic)); };
    if (const int16_t i = at(picVideo); i >= 0)
        return {RowKind::Video, i, "picVideo"};
    if (const int16_t i = at(picEffect); i >= 0)
        return {RowKind::Effect, i, "picEffect"};
    if (const int16_t i = at(picOverlay); i >= 0)
        return {RowKind::Overlay, i, "picOverlay"};
    return {RowKind::Audio, at(picAudio), "picAudio"};
}

int32_t frmTimeline::TrackOf(const Row& row) const
{
    switch (row.kind) {
    case RowKind::Video:
    case RowKind::Effect:
        return VideoTrackOf(row.index);
    case RowKind::Overlay:
        return OverlayTrack;
    case RowKind::Audio:
        break;
    }
    return AudioTrackOf(row.index);
}

bool frmTimeline::HoverRow(const Row& row, int x, int y)
{
    switch (row.kind) {
    case RowKind::Video:
        return OnPicVideoMouseMove(x, y, row.index);
    case RowKind::Effect:
        return OnPicEffectMouseMove(x, y, row.index);
    case RowKind::Overlay:
        return OnPicOverlayMouseMove(x, y, row.index);
    case RowKind::Audio:
        break;
    }
    return OnPicAudioMouseMove(x, y, row.index);
}

void frmTimeline::Row_MouseDown(QmPicture* pic, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)
{
    const Row row = RowOf(pic);
    QmTrap::Run(kModule, EventName(row.name, "MouseDown", row.index, x, y), [&] {
        ClickX = x;
        ClickShift = shift & Qt::ShiftModifier;
        ClickCtrl = shift & Qt::ControlModifier;
        switch (row.kind) {
        case RowKind::Video:
            OnPicMediaClick(row.index, true);
            break;
        case RowKind::Audio:
            OnPicMediaClick(row.index, false);
            break;
        case RowKind::Overlay:
            OnPicOverlayClick(row.index);
            break;
        case RowKind::Effect:
            OnPicEffectClick(row.index);
            break;
        }
        ClickShift = ClickCtrl = false;

        // A locked row can be selected on, but neither dragged nor given the pop-up.
        const int32_t track = TrackOf(row);
        const bool effects = row.kind == RowKind::Effect;
        if (effects ? moduleTWState::IsEffectLocked(track) : moduleTWState::IsTrackLocked(track))
            return;

        if (button == Qt::LeftButton) {
            auto& tl = Eng<ITWTimeline>();
            DragActive = true;
            DragLastX = static_cast<float>(x);
            const int32_t position = TimeAt(x);
            // In a gap DragSeq is -1, the read fails, and the times of the last press stay.
            if (effects) {
                DragSeq = GetSequenceNumberAtPosEffect(track, position);
                tl.GetEffectTimes(track, DragSeq, DragOrigStart, DragOrigStop);
            } else {
                DragSeq = GetSequenceNumberFromPos(track, position);
                tl.GetSourceTimes(track, DragSeq, DragOrigStart, DragOrigStop);
            }
            DragResize = HoverRow(row, x, y);
            if ((effects ? tl.GetEffectCount(track) : tl.GetSourceCount(track)) == 0)
                return;
            // The entry is made ahead of any change; the release takes it back if nothing moved.
            ModuleHistory::RemoveDisabledEntries();
            OpenHistoryEntry(DragResize ? QStringLiteral("Resize") : QStringLiteral("Move"));
            ProjectModified = true;
        } else if (button == Qt::RightButton && mdiTarnwick::exists()) {
            switch (row.kind) {
            case RowKind::Video:
                ShowMenuItems(1, row.index);
                break;
            case RowKind::Audio:
                ShowMenuItems(2, row.index);
                break;
            case RowKind::Effect:
                ShowMenuItems(2, -1);
                break;
            case RowKind::Overlay:
                ShowMenuItems(3, row.index);
                break;
            }
            mdiTarnwick::instance()->mnuEditContext()->popup(QCursor::pos());
        }
    });
}

void frmTimeline::Row_MouseMove(QmPicture* pic, Qt::MouseButtons buttons, int x, int y)
{
    const Row row = RowOf(pic);
    QmTrap::Run(kModule, EventName(row.name, "MouseMove", row.index, x, y), [&] {
        switch (row.kind) {
        case RowKind::Video:
            QmStatus::Show(QStringLiteral("Represents video sources over time"));
            break;
        case RowKind::Audio:
            QmStatus::Show(QStringLiteral("Represents audio sources over time"));
            break;
        case RowKind::Effect:
            QmStatus::Show(QStringLiteral("Represents various effects over time"));
            break;
        case RowKind::Overlay:
            QmStatus::Show(QStringLiteral("Represents overlay sources over time"));
            break;
        }
        DrawScaleLine(x);
        HoverRow(row, x, y);
        if (!(buttons & Qt::LeftButton) || !DragActive)
            return;
        int32_t delta = PixelsToMs(static_cast<int32_t>(static_cast<float>(x) - DragLastX));
        if (DragResize) {
            ResizeSelSources(delta);
        } else {
            // To the left only as far as the room before the first selected items.
            if (delta < 0)
                delta = std::max(delta, -GetSelMinLeftMoveLength());
            ShiftSelSources(delta);
        }
        RenderAllBars();
        AdjustScroll();
        DragLastX = static_cast<float>(x);
    });
}

void frmTimeline::Row_MouseUp(QmPicture* pic, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)
{
    const Row row = RowOf(pic);
    QmTrap::Run(kModule, EventName(row.name, "MouseUp", row.index, x, y), [&] {
        if (button != Qt::LeftButton || !DragActive)
            return;
        auto& tl = Eng<ITWTimeline>();
        const int32_t track = TrackOf(row);
        const bool effects = row.kind == RowKind::Effect;
        // A failed read (a press in a gap) leaves 0 and 0, to be compared with what the
        // press left.
        int32_t start = 0, stop = 0;
        if (effects)
            tl.GetEffectTimes(track, DragSeq, start, stop);
        else
            tl.GetSourceTimes(track, DragSeq, start, stop);
        if (start == DragOrigStart && stop == DragOrigStop) {
            if ((effects ? tl.GetEffectCount(track) : tl.GetSourceCount(track)) > 0)
                ModuleHistory::DeleteLastEntry();
            // A plain click on one of several selected items leaves it alone selected.
            if (!(shift & Qt::ControlModifier)) {
                ClearMFSTSubSelections();
                if (effects) {
                    tl.SetEffectSelected(track, DragSeq, true);
                } else {
                    tl.SetSourceSelected(track, DragSeq, true);
                    if (row.kind == RowKind::Overlay)
                        tl.SetTransitionSelected(track, DragSeq, true);
                }
                RenderAllBars();
            }
        } else {
            ModuleHistory::StoreCurrentTLImage();
            ModuleTWPreview::UpdatePreview();
        }
        MenuUpdate();
    });
    if (button == Qt::LeftButton)
        DragActive = false;
}

void frmTimeline::Row_KeyDown(QmPicture* pic, int key, Qt::KeyboardModifiers shift)
{
    const Row row = RowOf(pic);
    QmTrap::Run(kModule,
                QStringLiteral("%1_KeyDown - Index: %2, KeyCode: %3").arg(QLatin1String(row.name)).arg(row.index).arg(key),
                [&] {
                    int32_t step = 0;
                    if (shift & Qt::ShiftModifier) {
                        step = PixelsToMs(1);
                        QmStatus::Show(QStringLiteral("Ready"));
                    } else {
                        step = PixelsToMs(5);
                        QmStatus::Show(QStringLiteral("Use the 'Shift' key to nudge source(s) with the direction keys"));
                    }
                    // A nudge has no left limit and makes no history entry.
                    if (key == Qt::Key_Right)
                        ShiftSelSources(step);
                    else if (key == Qt::Key_Left)
                        ShiftSelSources(-step);
                    else
                        return;
                    RenderAllBars();
                    AdjustScroll();
                });
}

void frmTimeline::Row_OLEDragDrop(QmPicture* pic, int x, int y)
{
    const Row row = RowOf(pic);
    QmTrap::Run(kModule, EventName(row.name, "OLEDragDrop", row.index, x, y), [&] {
        using namespace moduleTWState;
        auto anyLocked = [] {
            for (int32_t track : TrackCollection)
                if (IsTrackLocked(track))
                    return true;
            return false;
        };
        switch (row.kind) {
        case RowKind::Audio:
            if (anyLocked()) {
                MsgBox(QStringLiteral("Track is locked"), QmMsgBox::Icon::Information);
                return;
            }
            if (row.index != 0)
                return; // the second audio row takes nothing
            AddToTimelineCommand();
            break;
        case RowKind::Video:
            if (anyLocked()) {
                MsgBox(QStringLiteral("Please unlock the audio and / or video track(s) before attempting to add this "
                                      "file to the timeline."),
                       QmMsgBox::Icon::Information);
                return;
            }
            AddToTimelineCommand();
            break;
        case RowKind::Effect:
            frmTools::instance()->OnAddClick(); // the effect chosen in the tools panel
            return;
        case RowKind::Overlay:
            if (IsTrackLocked(OverlayTrack)) {
                MsgBox(QStringLiteral("Track is locked"), QmMsgBox::Icon::Information);
                return;
            }
            if (IsVideoTrackEmpty())
                return;
            AddToOverlayCommand();
            break;
        }
        MenuUpdate();
    });
}

void frmTimeline::ShowMenuItems(int16_t context, int16_t index)
{
    QmTrap::Run(kModule, QStringLiteral("ShowMenuItems"), [&] {
        if (!mdiTarnwick::exists())
            return;
        mdiTarnwick* main = mdiTarnwick::instance();
        const QList<QAction*> entries = main->mnuEditContext()->actions();
        // Pop-up entries and separators by name; the Edit menu's own entries as well.
        auto show = [&](const char* name, bool visible) {
            const QString wanted = QString::fromLatin1(name);
            QAction* entry = main->Item(wanted);
            for (qsizetype i = 0; !entry && i < entries.size(); ++i)
                if (entries[i]->objectName() == wanted)
                    entry = entries[i];
            if (entry)
                entry->setVisible(visible);
        };
        struct Rule
        {
            std::initializer_list<const char*> shown;
            std::initializer_list<const char*> hidden;
        };
        static const Rule rules[] = {
            {{"mnuEC_ZoomIn", "mnuEC_ZoomOut", "s22", "mnuEC_AddMarker", "mnuEC_RemoveMarker"},
             {"s21", "mnuEC_Copy", "mnuEC_Cut", "mnuEC_Paste", "mnuEC_Delete", "mnuEC_Crop", "s23", "mnuEC_StretchMode",
              "sr1"}},
            {{"mnuEC_Copy", "mnuEC_Cut", "mnuEC_Paste", "mnuEC_Crop", "mnuEC_Delete", "s23", "mnuEC_StretchMode"},
             {"mnuEC_ZoomIn", "mnuEC_ZoomOut", "s22", "s21", "mnuEC_AddMarker", "mnuEC_RemoveMarker", "sr1",
              "mnuEC_SetOverlayTransparency", "mnuEditContextAddtoAudio1", "mnuEditContextAddtoAudio2"}},
            {{"mnuEC_Copy", "mnuEC_Cut", "mnuEC_Paste", "mnuEC_Crop", "mnuEC_Delete"},
             {"mnuEC_ZoomIn", "mnuEC_ZoomOut", "s22", "mnuEC_AddMarker", "mnuEC_RemoveMarker", "s23",
              "mnuEC_StretchMode", "sr1", "mnuEC_SetOverlayTransparency", "s21"}},
            {{"mnuEC_Copy", "mnuEC_Cut", "mnuEC_Paste", "mnuEC_Crop", "mnuEC_Delete", "s23", "mnuEC_StretchMode",
              "mnuEC_SetOverlayTransparency", "sr2", "mnuEC_SelSliders"},
             {"mnuEC_ZoomIn", "mnuEC_ZoomOut", "s22", "mnuEC_AddMarker", "mnuEC_RemoveMarker", "s21", "sr1", "s34",
              "mnuEditAddtoAudio1", "mnuEditAddtoAudio2", "mnuEditContextAddtoAudio1", "mnuEditContextAddtoAudio2"}},
        };
        if (context < 0 || context > 3)
            return;
        for (const char* name : rules[context].shown)
            show(name, true);
        for (const char* name : rules[context].hidden)
            show(name, false);
        if (context != 2)
            return;
        // An audio row offers the move to the other audio track; the effect row neither.
        if (index == 0 || index == 1) {
            show("mnuEditContextAddtoAudio2", index == 0);
            show("mnuEditContextAddtoAudio1", index == 1);
            show("s34", true);
        } else {
            show("s34", false);
        }
    });
}

void frmTimeline::hsb_Scroll()
{
    QmTrap::Run(kModule, QStringLiteral("hsb_Scroll"), [this] {
        if (TrackCollection.Count() == 0)
            return;
        if (!DraggingSlider)
            SetSliderPosition(SliderPosition, false);
        if (!DraggingStart)
            SetSelSliderPosition(SelStartPosition, true);
        if (!DraggingEnd)
            SetSelSliderPosition(SelEndPosition, false);
        moduleBookmarks::UpdateBookmarks();
        RenderScale();
        RenderAllBars();
        RenderAllSelections();
    });
}

void frmTimeline::Handle_MouseDown(QmImageBox* handle, Qt::MouseButton button, int x)
{
    if (button != Qt::LeftButton)
        return;
    Dragging = true;
    DragOffset = static_cast<float>(x);
    DraggingSlider = handle == imgSliderHandle;
    DraggingStart = handle == imgStartSelHandle;
    DraggingEnd = handle == imgEndSelHandle;
}

void frmTimeline::Handle_MouseMove(QmImageBox* handle, Qt::MouseButtons buttons, int x)
{
    QmTrap::Run(kModule, handle->objectName() + QStringLiteral("_MouseMove"), [&] {
        if (!(buttons & Qt::LeftButton) || !Dragging)
            return;
        ClearScaleLine();
        const float delta = DragOffset - static_cast<float>(x);
        const int newLeft = static_cast<int>(static_cast<float>(handle->x()) - delta);
        const int scaleWidth = picScale->ScaleWidth();
        const bool goingRight = delta <= 0;
        auto scroll = [this](bool right) {
            ScrollingRight = right;
            tmTimeline->start();
        };

        if (handle == imgSliderHandle) {
            QmStatus::Show(QStringLiteral("Reposition the slider"));
            if (goingRight ? newLeft >= scaleWidth - 5 : newLeft < -6)
                return scroll(goingRight);
            tmTimeline->stop();
            handle->move(newLeft, handle->y());
            PlaceHandleLines(handle, picSlider, imgScaleSlider);
            SliderPosition = GetSliderPosition();
            QmStatus::Show(moduleUtilities::MilliSecondsToTimetypeAsString(SliderPosition),
                                    QStringLiteral("SLIDER_POS"));
            ModuleTWPreview::OnSliderMove();
            return;
        }

        const bool start = handle == imgStartSelHandle;
        QmStatus::Show(start ? QStringLiteral("Reposition the start selection slider")
                          : QStringLiteral("Reposition the end selection slider"));
        const int otherLeft = (start ? imgEndSelHandle : imgStartSelHandle)->x();
        if (start) {
            if (goingRight) {
                if (newLeft >= otherLeft - 6) {
                    // too close to the end handle: no move, the lines are placed again
                } else if (newLeft >= scaleWidth - 5) {
                    if (newLeft >= otherLeft - 20)
                        tmTimeline->stop();
                    else
                        return scroll(true);
                } else {
                    tmTimeline->stop();
                    handle->move(newLeft, handle->y());
                }
            } else if (newLeft < -6) {
                return scroll(false);
            } else {
                tmTimeline->stop();
                handle->move(newLeft, handle->y());
            }
        } else {
            if (goingRight) {
                if (newLeft >= scaleWidth - 5)
                    return scroll(true);
                tmTimeline->stop();
                handle->move(newLeft, handle->y());
            } else if (newLeft <= otherLeft + 6) {
                // too close to the start handle
            } else if (newLeft < -6) {
                if (newLeft <= otherLeft + 20)
                    tmTimeline->stop();
                else
                    return scroll(false);
            } else {
                tmTimeline->stop();
                handle->move(newLeft, handle->y());
            }
        }
        PlaceHandleLines(handle, start ? picStartSelSlider : picEndSelSlider,
                         start ? imgStartSelSlider : imgEndSelSlider);
        RenderScale();
        RenderAllSelections();
        QSlider* seek = frmPreview::instance()->sldSeekBar;
        if (start) {
            SelStartPosition = GetSelSliderPosition(true);
            seek->setMinimum(SelStartPosition);
        } else {
            SelEndPosition = GetSelSliderPosition(false);
            seek->setMaximum(SelEndPosition);
        }
    });
}

void frmTimeline::Handle_MouseUp(QmImageBox* handle, Qt::MouseButton button)
{
    if (button != Qt::LeftButton || !Dragging)
        return;
    tmTimeline->stop();
    Dragging = false;
    if (handle == imgSliderHandle) {
        DraggingSlider = false;
    } else if (handle == imgStartSelHandle) {
        DraggingStart = false;
        MenuUpdate();
    } else {
        DraggingEnd = false;
        MenuUpdate();
        QSlider* seek = frmPreview::instance()->sldSeekBar;
        seek->setMinimum(SelStartPosition);
        seek->setMaximum(SelEndPosition);
    }
}

void frmTimeline::tmTimeline_Timer()
{
    if (ScrollingRight && hsb->value() < hsb->maximum())
        hsb->setValue(hsb->value() + 1);
    else if (!ScrollingRight && hsb->value() > 0)
        hsb->setValue(hsb->value() - 1);
}

void frmTimeline::tvwTimeline_NodeClick(QTreeWidgetItem* node)
{
    QmTrap::Run(kModule, QStringLiteral("tvwTimeline_NodeClick"), [&] {
        ClearMFSTSubSelections();
        QTreeWidgetItem* trackNode = node ? node->parent() : nullptr;
        if (!trackNode || !trackNode->parent())
            return; // the root or a track node
        auto& tl = Eng<ITWTimeline>();
        const auto seq = static_cast<int16_t>(trackNode->indexOfChild(node));
        const QString track = trackNode->text(0);
        if (track == u"Effects") {
            tl.SetEffectSelected(TrackCollection.Item(1), seq, true);
        } else if (track == u"Overlays") {
            tl.SetSourceSelected(OverlayTrack, seq, true);
            tl.SetTransitionSelected(OverlayTrack, seq, true);
        } else {
            tl.SetSourceSelected(ModuleTreeView::TagOf(trackNode), seq, true);
        }
        MenuUpdate();
        RenderAllBars();
    });
}

bool frmTimeline::tvwTimeline_DragEvent(QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        m_dragNode = tvwTimeline->itemAt(static_cast<QMouseEvent*>(event)->position().toPoint());
        return false;
    }
    if (event->type() != QEvent::Drop)
        return false; // the list takes only its own nodes' drags over it
    auto* drop = static_cast<QDropEvent*>(event);
    const QStringList own = tvwTimeline->model()->mimeTypes();
    if (!own.isEmpty() && drop->mimeData()->hasFormat(own.first())) {
        // A copy, so that the dragging list removes nothing when the drag ends.
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        tvwTimeline_OLEDragDrop(tvwTimeline->itemAt(drop->position().toPoint()));
    }
    return true;
}

void frmTimeline::tvwTimeline_OLEDragDrop(QTreeWidgetItem* dropNode)
{
    // The list is rebuilt by what the drop does: the remembered node goes at once. A
    // node the list no longer holds was rebuilt away since its press.
    QTreeWidgetItem* dragNode = std::exchange(m_dragNode, nullptr);
    bool held = false;
    for (QTreeWidgetItemIterator it(tvwTimeline); *it && !held; ++it)
        held = *it == dragNode;
    ModuleTreeView::OnNodeDragDrop(held ? dragNode : nullptr, dropNode);
}

void frmTimeline::picVerticalResize_MouseDown(Qt::MouseButton button, int x)
{
    if (button != Qt::LeftButton)
        return;
    m_dividerPressX = x;
    m_dividerDragging = true;
}

void frmTimeline::picVerticalResize_MouseMove(Qt::MouseButtons buttons, int x)
{
    if (!(buttons & Qt::LeftButton) || !m_dividerDragging)
        return;
    const int delta = m_dividerPressX - x;
    const int newLeft = picVerticalResize->x() - delta;
    if (delta <= 0 ? newLeft >= width() - kDividerRightRoom : newLeft < kDividerLeftLimit)
        return;
    picVerticalResize->move(newLeft, 0);
}

void frmTimeline::picVerticalResize_MouseUp()
{
    if (!m_dividerDragging)
        return;
    m_dividerDragging = false;
    QmTrap::Run(kModule, QStringLiteral("picVerticalResize_MouseUp"), [this] {
        m_listWidth = picVerticalResize->x();
        ArrangeRows();
    });
}

void frmTimeline::Bookmark_MouseDown(int index, Qt::MouseButton button, int x, int y)
{
    QmTrap::Run(kModule,
                QStringLiteral("imgBookmark_MouseDown - Index: %1, X: %2, Y: %3").arg(index).arg(x).arg(y), [&] {
                    using namespace moduleBookmarks;
                    if (button != Qt::LeftButton || index < 0)
                        return;
                    if (SelectedBookmark < imgBookmark.size())
                        imgBookmark[SelectedBookmark]->SetPicture(QStringLiteral("BOOKMARK"));
                    imgBookmark[index]->SetPicture(QStringLiteral("BOOKMARKSEL"));
                    SelectedBookmark = static_cast<int16_t>(index);
                    m_bookmarkPressX = x;
                    m_bookmarkDragging = true;
                });
}

void frmTimeline::Bookmark_MouseMove(int index, Qt::MouseButtons buttons, int x, int y)
{
    QmTrap::Run(kModule,
                QStringLiteral("imgBookmark_MouseMove - Index: %1, X: %2, Y: %3").arg(index).arg(x).arg(y), [&] {
                    QmStatus::Show(QStringLiteral("Reposition the marker slider"));
                    if (!(buttons & Qt::LeftButton) || !m_bookmarkDragging || index < 0)
                        return;
                    QmImageBox* marker = imgBookmark[index];
                    const int left = std::clamp(marker->x() + x - m_bookmarkPressX,
                                                -moduleBookmarks::MarkerOffset,
                                                picScale->ScaleWidth() - moduleBookmarks::MarkerOffset - 1);
                    marker->move(left, marker->y());
                    if (index < moduleBookmarks::BookmarkTimes.size())
                        moduleBookmarks::BookmarkTimes[index] =
                            TimeAt(left + moduleBookmarks::MarkerOffset);
                });
}
