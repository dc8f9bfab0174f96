#include "media/moduleTarnwick.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmMsgBox.h"
#include "core/QmPointer.h"
#include "core/QmNumbers.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "core/QmStatus.h"
#include "editing/moduleEdit.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWStreamInfo.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "preview/ModuleTWPreview.h"
#include "shell/ModuleSettings.h"
#include "shell/QmMenuArray.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

using namespace QmShared;
using moduleUtilities::ExtractFileName;

namespace moduleTarnwick {

namespace {

const QString kModule = QStringLiteral("moduleTarnwick");

// The dialogue's flags: explorer look, several files, path and file must exist, no
// read-only box.
constexpr int32_t kOpenFlags = 530948;
// The dialogue's name buffer: names past it are too many.
constexpr int kNameBuffer = 3000;

QmListView* List()
{
    return frmMediaList::instance()->lvwMediaList;
}

void Hourglass(bool on)
{
    on ? QmPointer::Hourglass() : QmPointer::Normal();
}

void EndOfOpening()
{
    QmStatus::Show(QStringLiteral("Done"));
    Hourglass(false);
    QmStatus::HideProgress();
}

QString LastPieceAt(const QString& text, QChar separator)
{
    return text.split(separator).last();
}

// Whether the recent files menu holds the file already: by its bare name when several
// files were chosen, by its whole path when one was.
bool InRecentFiles(const QString& name, bool wholePath)
{
    QmMenuArray& menu = mdiTarnwick::instance()->mnuFileRF();
    for (int i = 0; i < menu.Count(); ++i) {
        const QString caption = menu.Caption(i);
        if (caption == u"Empty")
            return false;
        if (wholePath ? caption == name : ExtractFileName(caption) == name)
            return true;
    }
    return false;
}

void AddToRecentFiles(const QString& name, bool wholePath)
{
    if (mdiTarnwick::exists() && !InRecentFiles(name, wholePath))
        ModuleSettings::UpdateResentFileMenu();
}

// Every source of a stream of file, on every track: found, or removed.
bool WalkReferences(int32_t file, bool remove)
{
    auto& tl = Eng<ITWTimeline>();
    auto& media = Eng<ITWMediaFiles>();
    QList<int32_t> tracks;
    for (int32_t track : TrackCollection)
        tracks << track;
    tracks << OverlayTrack;
    bool found = false;
    for (int32_t stream : StreamCollection) {
        if (media.GetStreamFile(stream) != file)
            continue;
        for (int32_t track : tracks) {
            for (int16_t seq = 0; seq <= tl.GetSourceCount(track) - 1; ++seq) {
                if (tl.GetSourceStream(track, seq) != stream)
                    continue;
                if (!remove)
                    return true;
                tl.RemoveSource(track, seq);
                --seq; // the next source has moved into this place
                found = true;
            }
        }
    }
    return found;
}

QString ResultMessage(int32_t code)
{
    switch (static_cast<uint32_t>(code)) {
    case 0x80040217u:
        return QStringLiteral("No combination of intermediate filters could be found to make the connection.");
    case 0x80040218u:
        return QStringLiteral("No combination of filters could be found to render the stream of this media file.");
    case 0x8004022Fu:
        return QStringLiteral("The file format is invalid.");
    case 0x80040240u:
        return QStringLiteral("The media type of this file is not recognized.");
    case 0x80040241u:
        return QStringLiteral("The source filter for this media file could not be loaded.");
    case 0x80040265u:
        return QStringLiteral("Cannot play back the file: the format is not supported.");
    case 0x00040242u:
        return QStringLiteral("Some of the streams in this media file are in an unsupported format.");
    case 0x00040257u:
        return QStringLiteral("The video in this media file cannot be rendered.");
    case 0x00040258u:
        return QStringLiteral("The audio in this media file cannot be rendered.");
    default:
        return QStringLiteral("Unexpected error.");
    }
}

// One file of several; a file refused is told of and skipped.
void OpenOneOfSeveral(const QString& folder, const QString& name)
{
    LastOpenedExtension = LastPieceAt(name, u'.');
    const QString path = folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
    if (!CheckMediaFile(path))
        return;
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(path);
    if (file == 0) {
        MsgBox(QStringLiteral("Unable to open ") + path + u'.', QmMsgBox::Icon::Information);
        return;
    }
    OpenStreams(file);
    AppendToTWListView(file);
    AddToRecentFiles(name, false);
}

} // namespace

QString OpenFilter()
{
    return QStringLiteral("Video Files (*.aiff; *.asf; *.avi; *.mpeg; *.wmv)|*.aiff;*.asf;*.avi;*.mpeg;*.mpg;*.wmv|"
                          "Audio Files (*.au; *.midi; *.mp3; *.wav; *.wma)|*.au;*.midi;*.mid;*.mp3;*.wav;*.wma|"
                          "Image Files (*.bmp; *.gif; *.jpeg; *.tga)|*.bmp;*.gif;*.jpeg;*.jpg;*.tga|"
                          "All supported Media Files|*.aiff;*.asf;*.avi;*.mpeg;*.mpg;*.wmv;*.au;*.midi;*.mid;*.mp3;"
                          "*.wav;*.wma;*.bmp;*.gif;*.jpeg;*.jpg;*.tga|"
                          "All Files (*.*)|*.*");
}

QString FileNameOf(int32_t file, int32_t size)
{
    QString name;
    Eng<ITWCoreRoot>().GetFileName(file, size, name);
    return name.trimmed();
}

bool Init()
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("Init"), false, [] {
        FileCollection.Clear();
        StreamCollection.Clear();
        TrackCollection.Clear();
        return true;
    });
}

void OnFileOpenClick()
{
    QmTrap::Run(
        kModule, QStringLiteral("OnFileOpenClick"),
        [] {
            QmDialogs::FileRequest request;
            request.dialogTitle = QStringLiteral("Open File");
            request.filter = OpenFilter();
            request.filterIndex = 4;
            request.flags = kOpenFlags;
            request.maxFileSize = kNameBuffer;
            request.initDir = WorkingFolder;
            QmStatus::Show(QStringLiteral("Opening file..."));
            Hourglass(true);
            const QStringList parts = QmDialogs::ShowOpen(request).fileName.split(QChar(u'\0'));

            if (parts.size() > 1) {
                const QString folder = parts[0];
                const int total = static_cast<int>(parts.size()) - 1;
                QmStatus::Progress(0, total);
                for (int n = 1; n <= total; ++n) {
                    QmStatus::Show(QStringLiteral("Opening file ") + QmNumbers::Format(n, u"00") +
                                            QStringLiteral(" of ") + QmNumbers::Format(total, u"00") +
                                            QStringLiteral(" (") + parts[n] + u')');
                    QmStatus::Progress(n, total);
                    OpenOneOfSeveral(folder, parts[n]);
                }
            } else {
                // One file: a refusal ends the routine at once, the status text as it is.
                const QString path = parts[0];
                LastOpenedExtension = LastPieceAt(path, u'.');
                if (!CheckMediaFile(path)) {
                    Hourglass(false);
                    return;
                }
                const int32_t file = Eng<ITWCoreRoot>().OpenFile(path);
                if (file == 0) {
                    MsgBox(QStringLiteral("Unable to open file."), QmMsgBox::Icon::Information);
                    Hourglass(false);
                    return;
                }
                OpenStreams(file);
                AppendToTWListView(file);
                AddToRecentFiles(path, true);
            }

            EndOfOpening();
            frmMediaList* form = frmMediaList::instance();
            form->ClearMediaListSelections();
            if (List()->Count() > 0) {
                List()->SetSelected(List()->Count() - 1, true);
                List()->SetCurrentRow(List()->Count() - 1);
                form->OnLvwMediaListClick();
            }
        },
        [](const QmError& e) {
            EndOfOpening();
            switch (e.Number()) {
            case QmErr::InvalidProperty:
                QmTrap::Report(kModule, QStringLiteral("OnFileOpenClick*"), e);
                return true;
            case QmErr::ObjectNotSet:
            case QmErr::DialogCancelled:
                return true;
            case QmErr::BufferTooSmall:
                MsgBox(QStringLiteral("You have selected too many files to open. Please select fewer files."),
                       QmMsgBox::Icon::Information);
                return true;
            default:
                return false;
            }
        });
}

bool CheckMediaFile(const QString& path)
{
    const int32_t code = Eng<ITWCoreRoot>().GetFileError(path);
    // A missing path passes: the project reader finds such files itself.
    if (code == 0 || code == static_cast<int32_t>(0x80040216u) || code == static_cast<int32_t>(0x80070057u))
        return true;
    // Partial successes are refused like failures.
    MsgBox(QStringLiteral("Unable to open file - \"") + path + QStringLiteral("\".") + QStringLiteral("\r\n") +
               ResultMessage(code),
           QmMsgBox::Icon::Information);
    return false;
}

QString GetMediaClass()
{
    LastOpenedExtension = LastOpenedExtension.trimmed().toLower();
    const QString& e = LastOpenedExtension;
    for (const char* video : {"asf", "aiff", "avi", "mpeg", "mpg", "wmv"})
        if (e == QLatin1String(video))
            return QStringLiteral("Video"); // aiff too: the dialogue's filter puts it there
    for (const char* audio : {"midi", "au", "mid", "mp3", "wav", "wma"})
        if (e == QLatin1String(audio))
            return QStringLiteral("Audio");
    for (const char* image : {"gif", "bmp", "jpeg", "jpg", "tga"})
        if (e == QLatin1String(image))
            return QStringLiteral("Image");
    return QStringLiteral("Video");
}

void OpenStreams(int32_t file)
{
    QmTrap::Run(kModule, QStringLiteral("OpenStreams"), [&] {
        FirstStreamOfFile = true;
        auto& media = Eng<ITWMediaFiles>();
        for (int16_t index = 0;; ++index) {
            const int32_t stream = media.OpenStream(file, index);
            if (stream == 0)
                break;
            StreamCollection.Add(stream);
            FillTWListView(stream);
        }
    });
}

void FillTWListView(int32_t stream)
{
    QmTrap::Run(kModule, QStringLiteral("FillTWListView"), [&] {
        auto& info = Eng<ITWStreamInfo>();
        Eng<ITWMediaFiles>().SelectStream(stream);
        const bool isVideo = info.IsVideo();
        const bool isAudio = info.IsAudio();
        const QString mediaClass = GetMediaClass();
        const QString icon = mediaClass == u"Audio" ? QStringLiteral("AUDIO")
                             : mediaClass == u"Image" ? QStringLiteral("IMAGE")
                                                      : QStringLiteral("VIDEO");
        QmListView* list = List();
        if (FirstStreamOfFile) {
            CurrentListItem = list->AddItem(list->Count(), QString(), icon);
            FirstStreamOfFile = false;
        }
        if (!isVideo && !isAudio)
            return;
        const int row = CurrentListItem;
        const QString placeholder = QStringLiteral("     --");
        list->SetSubItem(row, 1, mediaClass);
        list->SetSubItem(row, 2, moduleUtilities::MilliSecondsToTimetypeAsString(QmNumbers::CLng(info.GetDuration() * 1000)));
        if (isVideo) {
            int32_t height = 0, width = 0;
            info.GetVideoSize(height, width);
            const double rate = info.GetFrameRate();
            QString text = QString::number(width) + QStringLiteral(" x ") + QString::number(height);
            if (rate != 0)
                text += QStringLiteral(", ") + QString::number(QmNumbers::CInt(rate)) + QStringLiteral("fps");
            list->SetSubItem(row, 3, text);
            if (list->SubItem(row, 4).isEmpty())
                list->SetSubItem(row, 4, placeholder);
        } else {
            list->SetSubItem(row, 4, QString::number(info.GetAudioSampleRate()) + QStringLiteral(" Hz"));
            if (list->SubItem(row, 3).isEmpty())
                list->SetSubItem(row, 3, placeholder);
        }
    });
}

void AppendToTWListView(int32_t file)
{
    QmTrap::Run(kModule, QStringLiteral("AppendToTWListView"), [&] {
        FileCollection.Add(file);
        const int row = FileCollection.Count() - 1;
        if (row < List()->Count())
            List()->SetText(row, ExtractFileName(FileNameOf(file, 256)));
    });
}

void RemoveFromTWListView(int32_t file)
{
    QmTrap::Run(kModule, QStringLiteral("RemoveFromTWListView"), [&] {
        const int position = FileCollection.IndexOf(file);
        if (position == 0)
            return;
        FileCollection.Remove(position);
        List()->RemoveItem(position - 1);
    });
}

void CloseStreams(int32_t file)
{
    QmTrap::Run(kModule, QStringLiteral("CloseStreams"), [&] {
        auto& root = Eng<ITWCoreRoot>();
        for (int32_t stream = root.GetFirstStream(file); stream != 0; stream = root.GetFirstStream(file)) {
            Eng<ITWMediaFiles>().CloseStream(stream);
            if (const int position = StreamCollection.IndexOf(stream))
                StreamCollection.Remove(position);
        }
    });
}

bool IsFileHandleReferenced(int32_t file)
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("IsFileHandleReferenced"), false,
                               [&] { return WalkReferences(file, false); });
}

void RemoveFileReferences(int32_t file)
{
    QmTrap::Run(kModule, QStringLiteral("RemoveFileReferences"), [&] {
        WalkReferences(file, true);
        moduleEdit::EmptyEffectsOfBareTracks();
    });
}

void OnFileCloseClick()
{
    QmTrap::Run(
        kModule, QStringLiteral("OnFileCloseClick"),
        [] {
            QmListView* list = List();
            bool closed = false;
            bool referencesRemoved = false;
            int count = list->Count();
            for (int position = 1; position <= count;) {
                if (!list->Selected(position - 1)) {
                    ++position;
                    continue;
                }
                const int32_t file = FileCollection.Item(position);
                if (IsFileHandleReferenced(file)) {
                    const QString name = ExtractFileName(FileNameOf(file, 260));
                    const QmMsgBox::Result answer = MsgBox(
                        QStringLiteral("The file - \"") + name + QStringLiteral("\" is being used by the timeline. ") +
                            QStringLiteral("If you delete this file, all references to it in the timeline will be ") +
                            QStringLiteral("permanently removed. Do you wish to proceed with the deletion?"),
                        QmMsgBox::Icon::Information, QmMsgBox::Buttons::YesNo);
                    if (answer == QmMsgBox::No) {
                        ++position;
                        continue;
                    }
                    RemoveFileReferences(file);
                    referencesRemoved = true;
                }
                if (!Eng<ITWCoreRoot>().CloseFile(file))
                    MsgBox(QStringLiteral("Unable to close file."), QmMsgBox::Icon::Information);
                CloseStreams(file);
                RemoveFromTWListView(file);
                closed = true;
                count = list->Count(); // the next row has moved up into this place
            }

            frmMediaList* form = frmMediaList::instance();
            if (closed) {
                Eng<ITWFilePreview>().Close();
                form->tmFilePreview->stop();
                form->picPreviewSmall->ClearFrame();
                form->ClearFileInformation();
            }
            ProjectModified = true;
            if (referencesRemoved) {
                moduleScaleRenderer::AdjustScroll();
                moduleScaleRenderer::RenderScale();
                moduleTimeline::RenderAllBars();
                ModuleTreeView::UpdateTreeView();
                // The player gives up the pieces that went with the file.
                ModuleTWPreview::UpdatePreview();
            }
            if (list->Count() == 0) {
                moduleEdit::ClearSourceClips();
                moduleEdit::ClearEffectClips();
                moduleEdit::ClearTransitionClips();
            }
        },
        [](const QmError& e) {
            if (e.Number() == QmErr::IndexOutOfBounds)
                return true; // a row past the end: the walk is over
            return false;
        });
}

void OpenResentFile(const QString& path)
{
    QmTrap::Run(kModule, QStringLiteral("OpenResentFile"), [&] {
        QmStatus::Show(QStringLiteral("Opening files..."));
        Hourglass(true);
        LastOpenedExtension = LastPieceAt(ExtractFileName(path), u'.');
        if (!CheckMediaFile(path)) {
            Hourglass(false);
            return;
        }
        const int32_t file = Eng<ITWCoreRoot>().OpenFile(path);
        if (file == 0) {
            Hourglass(false);
            MsgBox(QStringLiteral("File not found."), QmMsgBox::Icon::Information);
            FileNotFoundShown = true;
            return;
        }
        OpenStreams(file);
        AppendToTWListView(file);
        QmStatus::Show(QStringLiteral("Done"));
        Hourglass(false);
    });
}

void CloseAllMediaFiles()
{
    QmTrap::Run(kModule, QStringLiteral("CloseAllMediaFiles"), [] {
        auto& root = Eng<ITWCoreRoot>();
        auto& media = Eng<ITWMediaFiles>();
        for (int32_t file : FileCollection)
            root.CloseFile(file);
        for (int32_t stream : StreamCollection)
            media.CloseStream(stream);
        FileCollection.Clear();
        StreamCollection.Clear();
        List()->Clear();
    });
}

} // namespace moduleTarnwick
