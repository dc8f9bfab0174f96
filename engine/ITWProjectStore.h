#pragma once

#include "engine/ITWObject.h"

#include <QByteArray>

#include <memory>

// A copy of the timeline taken at one moment, which can be written out later on any
// thread, as SaveProject writes it.
class ITWTimelineSnapshot
{
public:
    virtual ~ITWTimelineSnapshot() = default;

    // The document SaveProject would have written at that moment, as XML text.
    virtual QByteArray Document() const = 0;
    // Whether two snapshots hold the same timeline (tracks, items, media and frame size).
    virtual bool SameAs(const ITWTimelineSnapshot& other) const = 0;
};

// The timeline in a project file. The file is one MLT document: its root element (nothing
// before it) holds the graph the engine plays and renders, so that MLT's own tools render
// the project as Quillmont shows it, and the engine's own model of the timeline in
// elements MLT passes over, media named by path and stream number. The program adds its
// own elements to the root afterwards.
class ITWProjectStore : public ITWObject
{
public:
    // Creates or overwrites the file at path. A new file takes the old one's place only
    // once it is complete. A failure status for a file that cannot be written (0x80070005
    // read-only, 76 no such folder, 75 otherwise).
    virtual bool SaveProject(const QString& path) = 0;
    // Rebuilds the timeline from the file at path on the engine's tracks (in the order
    // they were made), over the media files open now: the files the document names are
    // taken in the order they were opened, which is the media list's. The tracks' link
    // and disable flags, and whether effects play, stay as they are: they follow the
    // timeline's own check boxes. Error 9, and the timeline as it was, when the file does
    // not hold a timeline that fits.
    virtual void LoadProject(const QString& path) = 0;
    // The timeline as it stands now; cheap enough to take after every edit.
    virtual std::shared_ptr<const ITWTimelineSnapshot> TakeSnapshot() = 0;
};
