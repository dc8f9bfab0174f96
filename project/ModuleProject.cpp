#include "project/ModuleProject.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmStatus.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/QmXml.h"
#include "core/moduleUtilities.h"
#include "editing/moduleEdit.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWProjectStore.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "preview/ModuleTWPreview.h"
#include "preview/frmPreview.h"
#include "project/ModuleRecovery.h"
#include "project/frmNewProject.h"
#include "shell/ModuleSettings.h"
#include "shell/QmCommands.h"
#include "shell/QmMenuArray.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QFileInfo>
#include <QElapsedTimer>
#include <QTimer>

#include <limits>

using namespace QmShared;
using moduleUtilities::ExtractFileName;

namespace ModuleProject {

namespace {

const QString kModule = QStringLiteral("ModuleProject");
const QString kUntitled = QStringLiteral("Media List - Project: Untitled");
// The msxml3.dll of Quillmont's messages: the component that reads and writes projects.
const QString kComponentMissing =
    QStringLiteral("A component required by Quillmont to handle Projects (msxml3.dll) is missing. ");

void SetCaption(const QString& caption)
{
    frmMediaList::instance()->setWindowTitle(caption);
}

QString NamedCaption(const QString& path)
{
    return QStringLiteral("Media List - Project: ") + ExtractFileName(path);
}

void Info(const QString& text)
{
    MsgBox(text, QmMsgBox::Icon::Information);
}

// What a file that is no project, or a broken one, raises in the readers: error 9,
// whose message the load's trap gives.
[[noreturn]] void Malformed()
{
    throw QmError(QmErr::SubscriptOutOfRange, QStringLiteral("The project file holds what no project can."));
}

// Attribute number index of an element as text, or as a whole number in low..high;
// error 9 when it is missing or no such number.
QString AttributeText(pugi::xml_node element, int index)
{
    try {
        return QmXml::Value(QmXml::AttributeAt(element, index));
    } catch (const QmError&) {
        Malformed();
    }
}

int64_t AttributeNumber(pugi::xml_node element, int index, int64_t low, int64_t high)
{
    try {
        return QmXml::Number(QmXml::AttributeAt(element, index), low, high);
    } catch (const QmError&) {
        Malformed();
    }
}

// One round trip of a Store routine: the document loaded afresh from ProjectFilePath,
// an element added to its root, the document saved.
template <class Add>
void RoundTrip(const Add& add)
{
    pugi::xml_document document;
    QmXml::Load(document, ProjectFilePath);
    add(QmXml::Root(document));
    QmXml::Save(document, ProjectFilePath);
}

// Elements of a view, one each.
void AppendMediaList(pugi::xml_node root, const QStringList& files)
{
    pugi::xml_node list = root.append_child("MediaList");
    for (const QString& file : files)
        list.append_child("File").append_attribute("Src") = file.toUtf8().constData();
}

void AppendPropertySettings(pugi::xml_node root, const QList<ProjectView::KeyColor>& keys)
{
    if (keys.isEmpty())
        return;
    pugi::xml_node settings = root.append_child("PropertySettings");
    for (const ProjectView::KeyColor& key : keys) {
        pugi::xml_node rgb = settings.append_child("RGB");
        rgb.append_attribute("Index") = key.index;
        rgb.append_attribute("Red") = key.red;
        rgb.append_attribute("Blue") = key.blue;
        rgb.append_attribute("Green") = key.green;
    }
}

void AppendZoomFactor(pugi::xml_node root, int16_t zoom)
{
    root.append_child("ZoomFactor").append_attribute("Value") = zoom;
}

void AppendSelectionSliders(pugi::xml_node root, const ProjectView& view)
{
    pugi::xml_node sliders = root.append_child("SelectionSliders");
    sliders.append_attribute("Visible") = view.selectionShown ? 1 : 0;
    sliders.append_attribute("Start") = view.selectionShown ? view.selStart : 0;
    sliders.append_attribute("End") = view.selectionShown ? view.selEnd : 0;
}

void AppendPreviewDimension(pugi::xml_node root, int16_t width, int16_t height)
{
    pugi::xml_node dimension = root.append_child("PreviewDimension");
    dimension.append_attribute("Width") = width;
    dimension.append_attribute("Height") = height;
}

QStringList MediaFiles()
{
    QStringList files;
    for (int32_t file : FileCollection)
        files << moduleTarnwick::FileNameOf(file, 260);
    return files;
}

QList<ProjectView::KeyColor> KeyColors()
{
    QList<ProjectView::KeyColor> keys;
    auto& key = Eng<ITWKeyTransition>();
    const int16_t n = Eng<ITWTimeline>().GetTransitionCount(OverlayTrack);
    for (int16_t seq = 0; seq < n; ++seq)
        keys.append({seq, key.GetKeyRed(OverlayTrack, seq), key.GetKeyBlue(OverlayTrack, seq),
                     key.GetKeyGreen(OverlayTrack, seq)});
    return keys;
}

// The program emptied, as before a load and after a failed one: timeline, media list,
// timeline list, history, zoom, selection, player and file facts.
void EmptyProgram()
{
    ModuleHistory::EmptyTimeline();
    moduleTarnwick::CloseAllMediaFiles();
    ModuleTreeView::EmptyTreeView();
    ModuleHistory::EmptyHistory();
    TimelineView::SetZoom(0);
    TimelineView::SetSelection(SelStartPosition, SelEndPosition, false);
    ModuleTWPreview::UpdatePreview();
    frmMediaList::instance()->ClearFileInformation();
}

void CloseFilePreview()
{
    frmMediaList* list = frmMediaList::instance();
    Eng<ITWFilePreview>().Close();
    list->tmFilePreview->stop();
    list->picPreviewSmall->ClearFrame();
}

// No project: the state a failed load leaves. The project open before is gone, so a
// save must not write over its file.
void NoProject()
{
    ProjectOpenFailed = true;
    ProjectSaved = false;
    SetCaption(kUntitled);
}

// After a load that failed: the program empty, and no project.
void EmptyAfterFailure()
{
    EmptyProgram();
    NoProject();
    // The newest project back on top of the recent list (where it is not there already).
    QmMenuArray& recent = mdiTarnwick::instance()->mnuFileRP();
    if (!ModuleSettings::NewRecentProject.isEmpty() && recent.Caption(0) != ModuleSettings::NewRecentProject)
        ModuleSettings::UpdateResentProjectMenu();
}

// The path of the project being loaded, which its file gets back at the end.
QString s_loading;

void RenameBack()
{
    if (!TemporaryProjectPath.isEmpty() && TemporaryProjectPath != s_loading && QFileInfo::exists(TemporaryProjectPath))
        QmXml::Rename(TemporaryProjectPath, s_loading);
}

// Whether a file holds a project: an XML document with an engine's root and a preview
// dimension.
bool HoldsProject(const QString& path)
{
    pugi::xml_document document;
    return QmXml::Load(document, path) && std::string(document.first_child().name()) == "mlt"
           && QmXml::FirstByTagName(document, "PreviewDimension");
}

// A project file missing under its name, found under its temporary one: Quillmont
// stopped between the two renames of a save or a load. The user may take it back.
void OfferInterruptedSave(const QString& path, const QString& temporary)
{
    if (temporary == path || QFileInfo::exists(path) || !QFileInfo::exists(temporary) || !HoldsProject(temporary))
        return;
    const QmMsgBox::Result answer =
        MsgBox(QStringLiteral("The project \"") + ExtractFileName(path) +
                   QStringLiteral("\" was not found, but \"") + ExtractFileName(temporary) +
                   QStringLiteral("\" beside it holds it as Quillmont last wrote it, before it stopped.\r\n\r\n"
                                  "Do you want to restore the project from it?"),
               QmMsgBox::Icon::Question, QmMsgBox::Buttons::YesNo);
    if (answer == QmMsgBox::Yes)
        QmXml::Rename(temporary, path);
}

// Lets the window repaint while a long load goes on, a few times a second: often enough
// to show the progress, seldom enough that painting costs the load little. The user's
// input waits for its end.
void KeepResponsive()
{
    static QElapsedTimer since;
    if (since.isValid() && since.elapsed() < 40)
        return;
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    since.start();
}

// The one file of a project's media list that is missing: the user may find it under
// the same name elsewhere. False when the load must stop (its message said why).
int32_t FindMissingFile(const QString& src)
{
    const QmMsgBox::Result answer =
        MsgBox(QStringLiteral("File \"") + src + QStringLiteral("\" not found. Do you want to search for this file yourself?"),
               QmMsgBox::Icon::Information, QmMsgBox::Buttons::YesNo);
    if (answer != QmMsgBox::Yes)
        return -1;
    const QString wanted = ExtractFileName(src);
    QmDialogs::FileRequest request;
    request.dialogTitle = QStringLiteral("Open File");
    const QStringList entries = moduleTarnwick::OpenFilter().split(u'|');
    request.filter = entries.mid(entries.size() - 4).join(u'|'); // "All supported Media Files", "All Files (*.*)"
    request.flags = 528388;
    request.maxFileSize = 3000;
    QString chosen;
    for (;;) {
        chosen = QmDialogs::ShowOpen(request).fileName; // Cancel raises 32755
        if (ExtractFileName(chosen) == wanted)
            break;
        Info(QStringLiteral("Please select the required file."));
    }
    if (!moduleTarnwick::CheckMediaFile(chosen))
        return 0;
    moduleTarnwick::LastOpenedExtension = chosen.split(u'.').last();
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(chosen);
    if (file == 0)
        throw QmError(QmErr::FileNotFound, QStringLiteral("File not found"));
    ProjectModified = true; // the project now differs from its file
    return file;
}

} // namespace

bool ProjectView::operator==(const ProjectView& other) const
{
    auto keysEqual = [](const QList<KeyColor>& a, const QList<KeyColor>& b) {
        if (a.size() != b.size())
            return false;
        for (int i = 0; i < a.size(); ++i)
            if (a[i].index != b[i].index || a[i].red != b[i].red || a[i].blue != b[i].blue || a[i].green != b[i].green)
                return false;
        return true;
    };
    return mediaFiles == other.mediaFiles && keysEqual(keyColors, other.keyColors) && zoom == other.zoom
           && selectionShown == other.selectionShown && selStart == other.selStart && selEnd == other.selEnd
           && bookmarks == other.bookmarks && width == other.width && height == other.height;
}

ProjectView CaptureView()
{
    ProjectView view;
    view.mediaFiles = MediaFiles();
    view.keyColors = KeyColors();
    view.zoom = TimelineView::Zoom();
    view.selectionShown = TimelineView::SelectionShown();
    if (view.selectionShown) {
        view.selStart = TimelineView::SelSliderTime(true);
        view.selEnd = TimelineView::SelSliderTime(false);
    }
    view.bookmarks = moduleBookmarks::VisibleBookmarkTimes();
    view.width = ProjectWidth;
    view.height = ProjectHeight;
    return view;
}

void AppendProjectElements(pugi::xml_node root, const ProjectView& view)
{
    AppendMediaList(root, view.mediaFiles);
    AppendPropertySettings(root, view.keyColors);
    AppendZoomFactor(root, view.zoom);
    AppendSelectionSliders(root, view);
    moduleBookmarks::AppendBookmarks(root, view.bookmarks);
    AppendPreviewDimension(root, view.width, view.height);
}

QString TemporaryName(const QString& path)
{
    QString name = path;
    return name.replace(QLatin1String("qpj"), QLatin1String("xml"));
}

// Writing.

void StoreMediaList(const QString& path)
{
    TemporaryProjectPath = TemporaryName(path);
    QmXml::Rename(path, TemporaryProjectPath);
    pugi::xml_document document;
    QmXml::Load(document, TemporaryProjectPath);
    AppendMediaList(QmXml::Root(document), MediaFiles());
    QmXml::Rename(TemporaryProjectPath, path);
    QmXml::Save(document, path);
    SavedFileCount = static_cast<int16_t>(frmMediaList::instance()->lvwMediaList->Count());
}

void AppendMediaListFiles()
{
    pugi::xml_document document;
    QmXml::Load(document, ProjectFilePath);
    pugi::xml_node list = QmXml::FirstByTagName(document, "MediaList");
    if (!list)
        throw QmError(QmErr::ObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
    const int rows = frmMediaList::instance()->lvwMediaList->Count();
    for (int position = SavedFileCount + 1; position <= rows; ++position)
        list.append_child("File").append_attribute("Src") =
            moduleTarnwick::FileNameOf(FileCollection.Item(position), 260).toUtf8().constData();
    QmXml::Save(document, ProjectFilePath);
    SavedFileCount = static_cast<int16_t>(rows);
}

void StorePropertySettings()
{
    const QList<ProjectView::KeyColor> keys = KeyColors();
    if (keys.isEmpty())
        return;
    RoundTrip([&](pugi::xml_node root) { AppendPropertySettings(root, keys); });
}

void StorePreviewDimensions()
{
    RoundTrip([](pugi::xml_node root) { AppendPreviewDimension(root, ProjectWidth, ProjectHeight); });
}

void StoreZoomFactor()
{
    RoundTrip([](pugi::xml_node root) { AppendZoomFactor(root, TimelineView::Zoom()); });
}

void StoreSelSliderPos()
{
    const ProjectView view = CaptureView();
    RoundTrip([&](pugi::xml_node root) { AppendSelectionSliders(root, view); });
}

// A full write: the engine's fresh file, then each element, in the order of the path
// that asks for it.
namespace {

void WriteAll(bool firstSave)
{
    Eng<ITWProjectStore>().SaveProject(ProjectFilePath);
    StoreMediaList(ProjectFilePath);
    StorePropertySettings();
    if (firstSave) {
        StoreZoomFactor();
        StoreSelSliderPos();
        moduleBookmarks::SetBookMarksToProject(ProjectFilePath);
        StorePreviewDimensions();
    } else {
        moduleBookmarks::SetBookMarksToProject(ProjectFilePath);
        StorePreviewDimensions();
        StoreZoomFactor();
        StoreSelSliderPos();
    }
}

// The body of SaveProject, its errors raised to the caller.
void SaveProjectBody()
{
    if (!ProjectSaved) {
        QmDialogs::FileRequest request;
        request.dialogTitle = QStringLiteral("Save Project");
        request.filter = QStringLiteral("Quillmont Project (QPJ)|*.qpj");
        request.flags = 0x80006;
        request.initDir = WorkingFolder;
        ProjectFilePath = QmDialogs::ShowSave(request).fileName;
        WriteAll(true);
        ProjectSaved = true;
        MediaListDirty = false;
        ProjectModified = false;
        ModuleSettings::NewRecentProject = ProjectFilePath;
        ModuleSettings::UpdateResentProjectMenu();
        SetCaption(NamedCaption(ProjectFilePath));
    }
    if (ProjectModified) {
        WriteAll(false);
        ProjectModified = false;
        MediaListDirty = false;
    } else if (MediaListDirty) {
        AppendMediaListFiles();
        MediaListDirty = false;
    }
}

// The save's trap: each error number its message. retryName: Save As asks again for a
// name where the name cannot be used.
bool SaveTrapped(bool retryName, bool& again)
{
    bool saved = false;
    again = false;
    SaveCancelled = false;
    QmTrap::Run(
        kModule, QStringLiteral("Save Project"),
        [&] {
            SaveProjectBody();
            saved = true;
            if (!ProjectModified && !MediaListDirty)
                ModuleRecovery::Discard();
        },
        [&](const QmError& e) {
            switch (e.Number()) {
            case QmErr::DialogCancelled:
                SaveCancelled = true;
                return true;
            case QmErr::CannotCreateObject:
                Info(QStringLiteral("Error saving project.\r\n\r\n") + kComponentMissing +
                     QStringLiteral("\r\n\r\nPlease re-install Quillmont."));
                return true;
            case QmErr::FileAlreadyExists:
                if (retryName) {
                    Info(QStringLiteral("Invalid Project Name. Please specify a different name."));
                    again = true;
                } else {
                    Info(QStringLiteral("A temporary support file by that name already exists. Please specify another "
                                        "filename."));
                }
                return true;
            case QmErr::FileNotFound:
                Info(QStringLiteral("File not found."));
                return true;
            case QmErr::AccessDenied:
                Info(QStringLiteral("Unable to save project. The project file is Read Only."));
                return true;
            case QmErr::PathFileAccess:
                Info(QStringLiteral("Path/File access error."));
                return true;
            case QmErr::ObjectNotSet:
            case QmErr::IllegalCall:
                QmTrap::Report(QStringLiteral("ModuleSettings"), QStringLiteral("SaveProject*"), e);
                Info(QStringLiteral("Unexpected error saving project."));
                return true;
            default:
                Info(QStringLiteral("Unexpected error saving project."));
                return false; // and to the log, under "Save Project"
            }
        });
    return saved;
}

} // namespace

bool SaveProject()
{
    bool again = false;
    return SaveTrapped(false, again);
}

// Reading.

bool GetPreviewDimensions(const QString& path)
{
    bool applied = false;
    QmTrap::Run(
        kModule, QStringLiteral("GetPreviewDimensions"),
        [&] {
            pugi::xml_document document;
            QmXml::Load(document, path);
            const pugi::xml_node dimension = QmXml::FirstByTagName(document, "PreviewDimension");
            if (!dimension)
                throw QmError(QmErr::ObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
            // A size no frame can have counts as a file that is no project.
            int16_t width = 0, height = 0;
            try {
                width = static_cast<int16_t>(QmXml::Number(QmXml::AttributeAt(dimension, 0), 1, 4096));
                height = static_cast<int16_t>(QmXml::Number(QmXml::AttributeAt(dimension, 1), 1, 4096));
            } catch (const QmError&) {
                throw QmError(QmErr::ObjectNotSet, QStringLiteral("The preview dimension is no size."));
            }
            Eng<ITWTimeline>().SetFrameSize(width, height);
            ProjectWidth = width;
            ProjectHeight = height;
            frmPreview::instance()->Resize();
            applied = true;
        },
        [](const QmError& e) {
            if (e.Number() != QmErr::ObjectNotSet)
                return false;
            Info(QStringLiteral("Invalid file format."));
            return true;
        });
    return applied;
}

int16_t GetZoomFactor(const QString& path)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    const pugi::xml_node zoom = QmXml::FirstByTagName(document, "ZoomFactor");
    if (!zoom)
        Malformed();
    // 0 is what a closed project leaves; anything below is no zoom.
    return static_cast<int16_t>(AttributeNumber(zoom, 0, 0, std::numeric_limits<int16_t>::max()));
}

void GetSelSliderPos(const QString& path)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    const pugi::xml_node sliders = QmXml::FirstByTagName(document, "SelectionSliders");
    if (!sliders)
        Malformed();
    if (AttributeText(sliders, 0).trimmed() != u"1")
        return;
    const int32_t start = static_cast<int32_t>(AttributeNumber(sliders, 1, 0, std::numeric_limits<int32_t>::max()));
    const int32_t end = static_cast<int32_t>(AttributeNumber(sliders, 2, 0, std::numeric_limits<int32_t>::max()));
    if (end <= start)
        Malformed();
    TimelineView::SetSelection(start, end, true);
}

namespace {

// The overlays' key colours, by position: the stored Index is not read.
void GetPropertySettings(const QString& path)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    const pugi::xml_node settings = QmXml::FirstByTagName(document, "PropertySettings");
    if (!settings)
        return;
    auto& key = Eng<ITWKeyTransition>();
    int16_t j = 0;
    for (pugi::xml_node rgb : settings.children()) {
        if (rgb.type() != pugi::node_element)
            continue;
        const auto part = [&](int index) {
            return static_cast<int16_t>(AttributeNumber(rgb, index, std::numeric_limits<int16_t>::min(),
                                                        std::numeric_limits<int16_t>::max()));
        };
        const int16_t red = part(1), blue = part(2), green = part(3);
        key.ClearKeyParameters(OverlayTrack, j);
        key.SetKeyParameter(OverlayTrack, j, QStringLiteral("KeyType"), 0);
        key.SetKeyColor(OverlayTrack, j, red, green, blue);
        if (j == std::numeric_limits<int16_t>::max())
            break;
        ++j;
    }
}

// The load's trap: each error number its message, and the program empty after it.
bool OpenTrapped(QString path)
{
    bool loaded = false;
    TemporaryProjectPath.clear();
    QmTrap::Run(
        kModule, QStringLiteral("Open Project"),
        [&] {
            QmPointer::Hourglass();
            ProjectOpenFailed = false;
            if (path.startsWith(u'"'))
                path = path.mid(1, path.size() - 2);
            path = path.trimmed();
            const QString temporary = TemporaryName(path);
            s_loading = path;
            OfferInterruptedSave(path, temporary);
            QmXml::Rename(path, temporary);
            TemporaryProjectPath = temporary;
            if (!GetPreviewDimensions(temporary)) {
                RenameBack();
                NoProject();
                QmPointer::Normal();
                return;
            }

            pugi::xml_document document;
            QmXml::Load(document, temporary);
            const pugi::xml_node list = QmXml::FirstByTagName(document, "MediaList");
            if (!list)
                Malformed();
            QStringList sources;
            for (pugi::xml_node file : list.children()) {
                if (file.type() != pugi::node_element)
                    continue;
                sources << AttributeText(file, 0).trimmed();
                if (!QFileInfo(sources.last()).isAbsolute()) // a media list names its files by full path
                    Malformed();
            }
            const int n = static_cast<int>(sources.size());
            if (n >= 2)
                QmStatus::Progress(1, n);
            for (int i = 0; i < n; ++i) {
                const QString& src = sources[i];
                QmStatus::Show(QStringLiteral("Opening file ") + QmNumbers::Format(i + 1, u"00") + QStringLiteral(" of ") +
                               QmNumbers::Format(n, u"00") + QStringLiteral(" (") + ExtractFileName(src) +
                               QStringLiteral(") from project \"") + ExtractFileName(path) + u'"');
                if (n >= 2)
                    QmStatus::Progress(i + 1, n);
                KeepResponsive();
                if (!moduleTarnwick::CheckMediaFile(src)) {
                    Info(QStringLiteral("Unable to open project."));
                    RenameBack();
                    moduleTarnwick::CloseAllMediaFiles();
                    NoProject();
                    QmPointer::Normal();
                    QmStatus::HideProgress();
                    return;
                }
                moduleTarnwick::LastOpenedExtension = src.split(u'.').last();
                int32_t file = Eng<ITWCoreRoot>().OpenFile(src);
                if (file == 0) {
                    file = FindMissingFile(src);
                    if (file < 0) {
                        Info(QStringLiteral("File \"") + src + QStringLiteral("\" missing. Unable to open project."));
                        RenameBack();
                        EmptyProgram();
                        CloseFilePreview();
                        NoProject();
                        QmPointer::Normal();
                        QmStatus::HideProgress();
                        return;
                    }
                    if (file == 0) { // refused by CheckMediaFile
                        Info(QStringLiteral("Unable to open project."));
                        RenameBack();
                        moduleTarnwick::CloseAllMediaFiles();
                        NoProject();
                        QmPointer::Normal();
                        QmStatus::HideProgress();
                        return;
                    }
                }
                moduleTarnwick::OpenStreams(file);
                moduleTarnwick::AppendToTWListView(file);
            }

            QmStatus::Show(QStringLiteral("Building Timeline (this may take some time)..."));
            KeepResponsive();
            Eng<ITWProjectStore>().LoadProject(temporary);
            GetPropertySettings(temporary);
            moduleBookmarks::GetBookMarkFromProject(temporary);
            TimelineView::SetZoom(GetZoomFactor(temporary));
            GetSelSliderPos(temporary);
            moduleTimeline::RenderAllBars();
            moduleScaleRenderer::AdjustScroll();
            ModuleTWPreview::UpdatePreview();
            if (!OpeningRecentProject) {
                QmMenuArray& recent = mdiTarnwick::instance()->mnuFileRP();
                bool listed = false;
                for (int i = 0; i < recent.Count() && !listed; ++i)
                    listed = recent.Caption(i) == path;
                if (!listed) {
                    ModuleSettings::NewRecentProject = path;
                    ModuleSettings::UpdateResentProjectMenu();
                }
            }
            ModuleTreeView::UpdateTreeView();
            QmXml::Rename(temporary, path);
            ProjectFilePath = path;
            ProjectSaved = true;
            SetCaption(NamedCaption(path));
            QmPointer::Normal();
            QmStatus::Show(QStringLiteral("Done"));
            QmStatus::HideProgress();
            loaded = true;
            ModuleRecovery::Discard();
        },
        [&](const QmError& e) {
            QmStatus::Show(QStringLiteral("Error"));
            QmPointer::Normal();
            QmStatus::HideProgress();
            bool handled = true;
            auto renameBack = [] { QmTrap::Run(kModule, QStringLiteral("Open Project*"), [] { RenameBack(); }); };
            switch (e.Number()) {
            case QmErr::DialogCancelled:
                Info(QStringLiteral("Unable to open project. One or more files in the project were not found."));
                renameBack();
                break;
            case QmErr::FileNotFound:
                Info(QStringLiteral("File not found. Unable to open project."));
                break;
            case QmErr::FileAlreadyExists:
                Info(QStringLiteral("File already exists. Unable to open project."));
                break;
            case QmErr::CannotCreateObject:
                Info(QStringLiteral("Error saving project.\r\n\r\n") + kComponentMissing +
                     QStringLiteral("\r\n\r\nPlease reinstall Quillmont."));
                break;
            case QmErr::SubscriptOutOfRange:
                Info(QStringLiteral("Unable to open project. Unexpected error."));
                renameBack();
                break;
            default:
                handled = false; // to the log, under "Open Project"
                renameBack();
                break;
            }
            EmptyAfterFailure();
            if (!handled)
                QmTrap::Report(kModule, QStringLiteral("Open Project"), e);
            return true;
        });
    return loaded;
}

} // namespace

void OpenProject(QString path)
{
    OpenTrapped(std::move(path));
}

bool RestoreProject(const QString& copy, const QString& project, bool saved)
{
    OpeningRecentProject = true; // the copy's own name is no project to list
    const bool loaded = OpenTrapped(copy);
    OpeningRecentProject = false;
    if (!loaded)
        return false;
    ProjectFilePath = project;
    ProjectSaved = saved && !project.isEmpty();
    ProjectModified = true;
    MediaListDirty = true;
    ProjectStarted = true;
    SetCaption(project.isEmpty() ? kUntitled : NamedCaption(project));
    QmCommands::RefreshStates();
    return true;
}

// The commands.

namespace {

// The flags that keep a second load out, set for the span of one.
struct Opening
{
    Opening()
    {
        BusyOpening = true;
        ProjectLoadLock = true;
    }
    ~Opening()
    {
        BusyOpening = false;
        ProjectLoadLock = false;
    }
};

void RefreshMenus()
{
    QmCommands::RefreshStates();
}

} // namespace

void mnuFileNewProject_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuFileNewProject_Click"), [] {
        if (ProjectStarted) {
            if (!ProjectOpenFailed) {
                mnuFileCloseProject_Click();
                if (CloseCancelled) {
                    CloseCancelled = false;
                    return;
                }
            }
        }
        frmNewProject* form = frmNewProject::instance();
        QmModal::Exec(*form);
        form->close();
        frmPreview::instance()->Resize();
        RefreshMenus();
        ProjectStarted = true;
        ProjectSaved = false;
    });
}

namespace {

// What File > Open Project does with the file chosen: offers to save the project open
// now, then opens the chosen one in its place.
void OpenChosenProject(const QString& path)
{
    if (ProjectModified) {
        const QString name = ProjectFilePath.isEmpty() ? QStringLiteral("Untitled.qpj") : ExtractFileName(ProjectFilePath);
        const QmMsgBox::Result answer = MsgBox(QStringLiteral("Save changes to ") + name + QStringLiteral(" ?"),
                                               QmMsgBox::Icon::Question, QmMsgBox::Buttons::YesNoCancel);
        if (answer == QmMsgBox::Cancel)
            return;
        if (answer == QmMsgBox::Yes)
            SaveProject();
    }
    // Only these two spellings of the extension are projects.
    const QString extension = path.split(u'.').last();
    if (extension != u"QPJ" && extension != u"qpj") {
        Info(QStringLiteral("Invalid File Format."));
        return;
    }
    EmptyProgram();
    const bool loaded = OpenTrapped(path);
    ProjectModified = false;
    ProjectStarted = true;
    if (!loaded)
        return; // a failure leaves no project, and nothing of it to name
    if (!moduleTimeline::IsTimelineEmpty())
        mdiTarnwick::instance()->SetItemEnabled(QStringLiteral("mnuViewSelectionSliders"), true);
    RefreshMenus();
    ProjectOpenFailed = false;
    SetCaption(NamedCaption(path));
}

bool OpenProjectFailed(const QmError& e)
{
    switch (e.Number()) {
    case QmErr::DialogCancelled:
        return true;
    case QmErr::FileAlreadyExists:
        Info(QStringLiteral("Unable to open Project, the Project file may be corrupt."));
        return true;
    case QmErr::BufferTooSmall:
        Info(QStringLiteral("Unable to open Project. Project path and/or filename is too long."));
        return true;
    default:
        return false;
    }
}

} // namespace

void mnuFileOpenProject_Click()
{
    if (ProjectLoadLock)
        return;
    const Opening opening;
    QmTrap::Run(
        kModule, QStringLiteral("mnuFileOpenProject_Click"),
        [] {
            QmDialogs::FileRequest request;
            request.dialogTitle = QStringLiteral("Open Project");
            request.filter = QStringLiteral("Quillmont Project (*.qpj)|*.qpj");
            request.flags = 528388;
            request.maxFileSize = 3000;
            request.initDir = WorkingFolder;
            OpenChosenProject(QmDialogs::ShowOpen(request).fileName);
        },
        OpenProjectFailed);
}

bool OpenHandedProject(const QString& path)
{
    if (ProjectLoadLock || BusyOpening)
        return false;
    const Opening opening;
    QmTrap::Run(
        kModule, QStringLiteral("OpenHandedProject"),
        [&path] {
            if (!QFileInfo(path).isFile()) {
                Info(QStringLiteral("File not found."));
                return;
            }
            OpenChosenProject(path);
        },
        OpenProjectFailed);
    return true;
}

void mnuFileRP_Click(int index)
{
    // The project open now is dropped without a question.
    if (ProjectLoadLock)
        return;
    ProjectLoadLock = true;
    QmTrap::Run(kModule, QStringLiteral("mnuFileRP_Click"), [index] {
        const QString path = mdiTarnwick::instance()->mnuFileRP().Caption(index);
        EmptyProgram();
        OpeningRecentProject = true;
        OpenTrapped(path);
        OpeningRecentProject = false;
        RefreshMenus();
    });
    OpeningRecentProject = false;
    ProjectLoadLock = false;
}

void OpenCommandLine(const QString& commandLine)
{
    if (commandLine.isEmpty() || commandLine == u"%1")
        return;
    BusyOpening = true;
    QApplication::processEvents();
    // A shell hands a path as it was typed, often relative to where it was typed.
    QString path = commandLine;
    if (path.startsWith(u'"'))
        path = path.mid(1, path.size() - 2);
    OpenTrapped(QFileInfo(path.trimmed()).absoluteFilePath());
    BusyOpening = false;
    RefreshMenus();
}

void mnuFileCloseProject_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuFileCloseProject_Click"), [] {
        if (MsgBox(QStringLiteral("Are you sure you want to close the current project?"), QmMsgBox::Icon::Question,
                   QmMsgBox::Buttons::YesNo)
            == QmMsgBox::No) {
            CloseCancelled = true;
            return;
        }
        if (ProjectModified || MediaListDirty) {
            const QmMsgBox::Result answer = MsgBox(QStringLiteral("Do you want to save your changes?"),
                                                   QmMsgBox::Icon::Question, QmMsgBox::Buttons::YesNo,
                                                   QStringLiteral("Save Project"));
            if (answer == QmMsgBox::Yes) {
                // A save that did not happen keeps the project open rather than lose it.
                if (!SaveProject() || ProjectModified) {
                    CloseCancelled = true;
                    return;
                }
            } else {
                ProjectModified = false;
            }
        }
        EmptyProgram();
        moduleEdit::ClearSourceClips();
        moduleEdit::ClearEffectClips();
        moduleEdit::ClearTransitionClips();
        CloseFilePreview();
        moduleBookmarks::RemoveBookmarks();
        ProjectOpenFailed = true;
        ProjectSaved = false;
        MediaListDirty = false;
        RefreshMenus();
        TimelineView::SetScrollValue(0);
        SetCaption(kUntitled);
        ModuleRecovery::Discard();
    });
}

void mnuFileSaveProject_Click()
{
    SaveProject();
}

void mnuFileSaveProjectAs_Click()
{
    const bool modified = ProjectModified, dirty = MediaListDirty, saved = ProjectSaved;
    ProjectModified = false;
    MediaListDirty = false;
    ProjectSaved = false;
    bool again = true;
    bool written = false;
    while (again)
        written = SaveTrapped(true, again);
    if (!written && !ProjectSaved) {
        // Nothing was saved: the project is as it was, changes and name.
        ProjectModified = modified;
        MediaListDirty = dirty;
        ProjectSaved = saved;
    }
}

void RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuFileNewProject"), [] { mnuFileNewProject_Click(); });
    QmCommands::Register(QStringLiteral("mnuFileOpenProject"), [] { mnuFileOpenProject_Click(); });
    QmCommands::Register(QStringLiteral("mnuFileCloseProject"), [] { mnuFileCloseProject_Click(); });
    QmCommands::Register(QStringLiteral("mnuFileSaveProject"), [] { mnuFileSaveProject_Click(); });
    QmCommands::Register(QStringLiteral("mnuFileSaveProjectAs"), [] { mnuFileSaveProjectAs_Click(); });
}

void Install()
{
    mdiTarnwick::instance()->mnuFileRP().SetHandler([](int index) { mnuFileRP_Click(index); });
}

} // namespace ModuleProject
