#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <pugixml.hpp>

#include <cstdint>

// The project: one XML file with the extension "qpj". The engine writes the timeline
// into it (ITWProjectStore); this module adds what the engine does not know (the media
// list, the overlays' key colours, zoom, selection sliders, markers and frame size),
// reads it all back, and moves the program between its states: new, open, recent,
// close, save, save as, and a project named on the command line.
namespace ModuleProject {

// Once held by the main window; the commands here are their only users.
inline bool ProjectStarted = false;     // a project has been set up since start
inline bool CloseCancelled = false;     // the user refused to close
inline bool OpeningRecentProject = false;
inline bool SaveCancelled = false;      // the save dialogue was cancelled
// Rows in the media list at the last full write of MediaList; only a save sets it.
inline int16_t SavedFileCount = 0;
// The name the project file bears while it is worked on.
inline QString TemporaryProjectPath;

// What the program adds to the engine's document, as it stands: taken on the interface
// thread, written anywhere.
struct ProjectView
{
    struct KeyColor
    {
        int16_t index = 0;
        int32_t red = 0, blue = 0, green = 0;
    };
    QStringList mediaFiles;
    QList<KeyColor> keyColors; // one per transition on the overlay track
    int16_t zoom = 0;
    bool selectionShown = false;
    int32_t selStart = 0, selEnd = 0;
    QList<int32_t> bookmarks;
    int16_t width = 320, height = 240;
    bool operator==(const ProjectView& other) const;
};
ProjectView CaptureView();
// The elements of a view under root, in the order of a first save.
void AppendProjectElements(pugi::xml_node root, const ProjectView& view);

// The commands of the File menu and the recent projects' clicks; once, by the main window.
void RegisterCommands();
void Install();
// At start, once the main window shows: the project the command line names ("" and "%1"
// name none).
void OpenCommandLine(const QString& commandLine);
// A project another start of Quillmont handed over (opened from a file manager): opened
// as File > Open Project opens the file chosen. False, with nothing done, while another
// load is under way.
bool OpenHandedProject(const QString& path);

// The path with every "qpj" in it turned to "xml", as the file is named while it is
// worked on.
QString TemporaryName(const QString& path);

// Saves, asking for a name when the project has none. False when nothing was saved
// that should have been (cancelled, or failed with its message).
bool SaveProject();
// Loads a project into the emptied program; quotes around the path are dropped.
void OpenProject(QString path);
// Loads a recovery copy as the unsaved project it was: named as the project it belongs
// to (saved under that name when it had been), kept off the recent projects. False when
// it could not be loaded (the load's messages said why).
bool RestoreProject(const QString& copy, const QString& project, bool saved);

void StoreMediaList(const QString& path);
void AppendMediaListFiles();
void StorePropertySettings();
void StorePreviewDimensions();
bool GetPreviewDimensions(const QString& path);
void StoreZoomFactor();
int16_t GetZoomFactor(const QString& path);
void StoreSelSliderPos();
void GetSelSliderPos(const QString& path);

// The menu entries.
void mnuFileNewProject_Click();
void mnuFileOpenProject_Click();
void mnuFileCloseProject_Click();
void mnuFileSaveProject_Click();
void mnuFileSaveProjectAs_Click();
void mnuFileRP_Click(int index);

} // namespace ModuleProject
